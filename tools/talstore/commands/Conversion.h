/// @file
/// A storage file in another format, or for another layout.
#ifndef TALSTORE_CONVERSION_H
#define TALSTORE_CONVERSION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "ReferenceHost.h"
#include "board/CarryOver.h"
#include "board/Losses.h"
#include "board/Restore.h"
#include "commands/Commands.h"
#include "formats/StorageFile.h"

namespace tal::talstore {

struct ConversionJob {
    StorageFile input;
    std::string output;  ///< Its name.
    Format format;       ///< Of the output.
    std::uint32_t channel = 0;
    bool replacesInput = false;
};

struct Conversion {
    int status = 0;                    ///< An ExitStatus.
    std::optional<std::string> bytes;  ///< Of the output; none when it is not to be written.
    std::string out;                   ///< What is to be printed once it is written.
    std::string err;
};

/// For another process.
[[nodiscard]] std::string Packed(const Conversion& conversion);
[[nodiscard]] Conversion UnpackedConversion(std::string_view bytes);

void PrintConversion(const Console& console, const Conversion& conversion);

/// Converts one file after another. Copies in other processes do so, too.
class Converter {
public:
    /// Tells which renames are of nothing. Throws InputError, host::DescriptionError.
    Converter(const ConvertOptions& options, const Console& console);

    /// @param isOneOfSeveral  Whether each answer has a line.
    /// Throws InputError.
    [[nodiscard]] Conversion Convert(const ConversionJob& job, bool isOneOfSeveral);

private:
    struct Reading;
    struct Result;

    [[nodiscard]] Reading Read(const ConversionJob& job);
    void CarryInto(Reading& reading);
    [[nodiscard]] std::size_t FilledCount(const Reading& reading, const RestoreReport& after) const;
    /// @return why the output must not be written; null when it may be.
    static const char* HindranceOf(const ConversionJob& job, const Reading& reading, const ReadBack& after);
    static nlohmann::ordered_json JsonOf(const Result& result);
    static void Print(const Console& console, const Result& result);

    const ConvertOptions& options_;
    const Console& style_;
    Renames renames_;
    std::unique_ptr<host::Database> before_;  ///< Of the inputs' board; null when it has the outputs' layout.
    std::unique_ptr<host::Database> after_;   ///< What is stored.
    std::unique_ptr<host::Database> back_;    ///< What a board has of that.
};

}  // namespace tal::talstore

#endif
