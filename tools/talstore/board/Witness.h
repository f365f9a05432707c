/// @file
/// What a retrieve does with a database, seen by the host. Traces tell reasons and decide nothing.
#ifndef TALSTORE_WITNESS_H
#define TALSTORE_WITNESS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "DatabaseObserver.h"
#include "ReferenceHost.h"
#include "board/Fillers.h"
#include "board/TraceCapture.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

/// An item of a document or a secure file, from the provider's look-up on.
struct LookUp {
    const host::Variable* variable;  ///< Null when the path is not registered.
    std::uint32_t firstRecord;       ///< Index of the first trace record that may be about it.
    std::uint32_t setWords;          ///< How many words of a BOOL or BOOL_ARRAY have been set, from the first on.
    bool isMarked;                   ///< Whether it has been marked as retrieved before the next look-up.
};

/// What the host has seen of one operation.
struct Seen {
    std::vector<LookUp> lookUps;
    std::vector<std::string> unregisteredPaths;  ///< One for each look-up that finds nothing.
    bool hasMarked = false;                      ///< Whether any variable has been marked as retrieved.
    bool isDefaulted = false;                    ///< Whether the variables that are not marked have got their defaults.
};

/// What is known of the file before it is retrieved.
struct Expected {
    const StoredContents& contents;
    Fillers& fillers;
};

/// Observes the database while it lives.
class Witness final : public host::DatabaseObserver {
public:
    /// @param expected   Null when nothing is known.
    /// @param hasTexts   Whether the words of a BOOL come from texts, which are true or false or set nothing.
    Witness(host::Database& database, const TraceCapture& capture, Expected* expected, bool hasTexts);
    ~Witness() override;

    // NOLINTNEXTLINE(bugprone-exception-escape)
    void OnLookUp(std::string_view path, const host::Variable* found) noexcept override;
    void OnMark(const host::Variable& variable, bool retrieved) noexcept override;
    void OnDefaulting() noexcept override;

    [[nodiscard]] Seen Take();

private:
    void WatchWords(const host::Variable& variable);
    void CountSetWords();

    host::Database& database_;
    const TraceCapture& capture_;
    Expected* expected_;
    bool hasTexts_;
    Seen seen_;
    const host::Variable* watched_ = nullptr;  ///< The BOOL or BOOL_ARRAY that has been looked up last.
    std::vector<std::uint32_t> wordsBefore_;   ///< What it held before.
};

}  // namespace tal::talstore

#endif
