/// @file
/// Who watches what a provider does with a database.
///
///     struct Marks final : tal::host::DatabaseObserver {
///         void OnMark(const tal::host::Variable& variable, bool retrieved) noexcept override { ... }
///     };
///     database.SetObserver(&marks);
///     provider->RetrieveAll(0, database.Handle(), 0);
#ifndef TAL_HOST_DATABASE_OBSERVER_H
#define TAL_HOST_DATABASE_OBSERVER_H

#include <string_view>

namespace tal::host {

class Variable;

/// Sees the calls of the contract that tell what becomes of a variable, each when it is made and in that order; calls
/// with a null argument fail and are not seen. An observer only overrides what it wants to know.
///
/// In a retrieve by path, everything between two look-ups concerns the variable that the first of them found. A raw
/// image looks nothing up: there a variable is read in its place, its address first and its mark last. The address of
/// an object variable is asked for in order to enter it.
class DatabaseObserver {
public:
    DatabaseObserver() = default;
    DatabaseObserver(const DatabaseObserver&) = delete;
    DatabaseObserver& operator=(const DatabaseObserver&) = delete;
    virtual ~DatabaseObserver() = default;

    /// CDatabase_GetVariableByPath. `path` is valid during the call; `found` is null when it is not registered.
    virtual void OnLookUp(std::string_view path, const Variable* found) noexcept;
    /// CVariable_GetContentAddress: from now on the content may change.
    virtual void OnContentAddress(const Variable& variable) noexcept;
    /// CVariable_SetRetrieved: with `retrieved`, the provider says that the content has been restored.
    virtual void OnMark(const Variable& variable, bool retrieved) noexcept;
    /// CDatabase_SetNotRetrievedVariablesToDefault, before the first variable gets its default.
    virtual void OnDefaulting() noexcept;
};

}  // namespace tal::host

#endif
