/// @file
/// What a board with a given layout would lose of one unit's file.
#ifndef TALSTORE_UNIT_REPORT_H
#define TALSTORE_UNIT_REPORT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ReferenceHost.h"
#include "board/Restore.h"
#include "board/StoredPaths.h"
#include "files/PrivateDirectory.h"
#include "formats/StorageFile.h"

namespace tal::talstore {

/// Something of a file that a board does not get as it is.
struct UnitLoss {
    std::string kind;  ///< How the variable ends, or "ignored".
    std::string path;
    std::string reason;      ///< As for this file alone.
    std::string cause = {};  ///< What it has in common with other files; empty when the reason is the same for all.
    std::optional<std::uint64_t> bytesInFile = {};  ///< When the size is the reason.
    std::optional<std::uint64_t> bytesInLayout = {};
    /// Whether the unit had another value than it gets; none when the layout before does not have the variable, or is
    /// not known.
    std::optional<bool> differs = {};
    std::string accepted = {};  ///< Why it is fine that this is lost; empty when nobody has decided on it.

    [[nodiscard]] const std::string& Cause() const { return cause.empty() ? reason : cause; }
};

struct UnitReport {
    std::string file;
    std::string archive;  ///< The name of the one that it is in; empty when it is in none.
    /// Of the file's name, or of its archive's, where that is not UTF-8; empty otherwise.
    std::string nameBytes;
    std::string problem;  ///< Why it cannot be read; there is nothing else then.
    std::string format;
    std::uint64_t size = 0;
    std::uint64_t channel = 0;
    std::string damage;  ///< Why a reader stops before the end of the file, or the retrieve fails; mostly empty.
    std::array<std::uint64_t, kOutcomeCount> counts = {};  ///< Of the layout's variables, by outcome.
    std::vector<UnitLoss> losses;

    [[nodiscard]] bool IsReadable() const { return problem.empty(); }
    [[nodiscard]] bool LosesNothing() const { return IsReadable() && losses.empty() && damage.empty(); }
    /// Where it stands among others: those of an archive stand together, in the order in which they are in it.
    [[nodiscard]] const std::string& Order() const {
        return !nameBytes.empty() ? nameBytes : archive.empty() ? file : archive;
    }
    /// @param ofFile, ofArchive  As they are on the disk, the second one empty for none.
    void SetNames(const std::string& ofFile, const std::string& ofArchive);
};

/// Judges one file after another.
class UnitJudge {
public:
    /// @param layout  Is used for every file.
    /// @param before  What the units run, to compare values; null when that is not known.
    UnitJudge(host::Database& layout, host::Database* before) : layout_(layout), before_(before) {}

    [[nodiscard]] UnitReport Judge(const StorageFile& file, std::uint32_t channel);

private:
    host::Database& layout_;
    host::Database* before_;
    KnownPaths paths_;
    std::shared_ptr<const PrivateDirectory> directory_ = PrivateDirectory::Shared();
};

/// For another process.
[[nodiscard]] std::string Packed(const UnitReport& unit);
[[nodiscard]] UnitReport UnpackedUnit(std::string_view bytes);

}  // namespace tal::talstore

#endif
