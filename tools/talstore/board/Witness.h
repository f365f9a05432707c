/// @file
/// What a retrieve does with a database, seen by the host. Traces tell reasons and decide nothing.
#ifndef TALSTORE_WITNESS_H
#define TALSTORE_WITNESS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "DatabaseObserver.h"
#include "ReferenceHost.h"
#include "board/TraceCapture.h"

namespace tal::talstore {

/// An item of a document or a secure file, from the provider's look-up on.
struct LookUp {
    std::string unregisteredPath;    ///< Empty when a variable was found.
    const host::Variable* variable;  ///< Null when the path is not registered.
    std::size_t firstRecord;         ///< Index of the first trace record that may be about it.
    const char* operation;           ///< That has looked it up, as it calls itself in the trace.
    bool isMarked;                   ///< Whether it has been marked as retrieved before the next look-up.

    [[nodiscard]] const std::string& Path() const { return variable == nullptr ? unregisteredPath : variable->Path(); }
};

/// What the host has seen of one operation.
struct Seen {
    std::vector<LookUp> lookUps;
    bool hasMarked = false;    ///< Whether any variable has been marked as retrieved.
    bool isDefaulted = false;  ///< Whether the variables that are not marked have got their defaults.
};

/// Observes the database while it lives.
class Witness final : public host::DatabaseObserver {
public:
    Witness(host::Database& database, const TraceCapture& capture);
    ~Witness() override;

    void OnLookUp(std::string_view path, const host::Variable* found) noexcept override;
    void OnMark(const host::Variable& variable, bool retrieved) noexcept override;
    void OnDefaulting() noexcept override;

    [[nodiscard]] Seen Take() { return std::move(seen_); }

private:
    host::Database& database_;
    const TraceCapture& capture_;
    Seen seen_;
};

}  // namespace tal::talstore

#endif
