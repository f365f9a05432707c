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
#include "files/PrivateDirectory.h"
#include "formats/StorageFile.h"

namespace tal::talstore {

/// Something of a file that a board does not get as it is.
struct UnitLoss {
    std::string kind;  ///< How the variable ends, or "ignored".
    std::string path;
    std::string reason;  ///< As for this file alone.
    std::string cause;   ///< What it has in common with other files; empty when the reason is the same for all.
    std::optional<std::uint64_t> bytesInFile;  ///< When the size is the reason.
    std::optional<std::uint64_t> bytesInLayout;

    [[nodiscard]] const std::string& Cause() const { return cause.empty() ? reason : cause; }
};

struct UnitReport {
    std::string file;
    std::string problem;  ///< Why it cannot be read; there is nothing else then.
    std::string format;
    std::uint64_t size = 0;
    std::uint64_t channel = 0;
    std::string damage;  ///< Why a reader stops before the end of the file, or the retrieve fails; mostly empty.
    std::array<std::uint64_t, kOutcomeCount> counts = {};  ///< Of the layout's variables, by outcome.
    std::vector<UnitLoss> losses;

    [[nodiscard]] bool IsReadable() const { return problem.empty(); }
    [[nodiscard]] bool LosesNothing() const { return IsReadable() && losses.empty() && damage.empty(); }
};

/// Judges one file after another.
class UnitJudge {
public:
    /// @param layout  Is used for every file.
    explicit UnitJudge(host::Database& layout) : layout_(layout) {}

    [[nodiscard]] UnitReport Judge(const StorageFile& file, std::uint32_t channel);

private:
    host::Database& layout_;
    std::shared_ptr<const PrivateDirectory> directory_ = PrivateDirectory::Shared();
};

/// For another process.
[[nodiscard]] std::string Packed(const UnitReport& unit);
[[nodiscard]] UnitReport UnpackedUnit(std::string_view bytes);

}  // namespace tal::talstore

#endif
