/// @file
/// What several commands print in the same way, for people and for programs.
#ifndef TALSTORE_REPORT_H
#define TALSTORE_REPORT_H

#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ReferenceHost.h"
#include "board/Losses.h"
#include "board/Restore.h"
#include "commands/Console.h"
#include "commands/PathFilter.h"
#include "commands/Table.h"
#include "formats/Finding.h"
#include "formats/StorageFile.h"

namespace tal::talstore {

using Json = nlohmann::ordered_json;

/// Prints the answer with the schema that it follows, indented by two spaces; each of several answers in one line of
/// its own. Bytes that are not UTF-8 become U+FFFD.
void PrintAnswer(const Console& console, const std::string& command, Json answer, std::size_t answerCount = 1);

/// Goes on with the next file after one that cannot be read.
/// @return the worst of the exit statuses.
[[nodiscard]] int ForEachFile(const std::vector<std::string>& names, const Console& console,
                              const std::function<int(const std::string& name)>& command);

/// Bytes in hexadecimal, a long run of zeros as "00 x44".
[[nodiscard]] std::string PaddedHex(std::string_view bytes);

/// "12:5" in a document, "byte 120" elsewhere.
[[nodiscard]] std::string PlaceText(const Place& place);
[[nodiscard]] Json PlaceJson(const Place& place);

[[nodiscard]] const char* NameOf(Severity severity);
[[nodiscard]] Json FindingsJson(const std::vector<Finding>& findings);
void PrintFindings(const Console& console, const std::vector<Finding>& findings);

/// The findings from that severity on, one per line on the error stream: "talstore: FILE: PLACE: PATH: MESSAGE".
void TellFindings(const Console& console, const std::string& fileName, const std::vector<Finding>& findings,
                  Severity lowest = Severity::Warning);

/// The patterns that match nothing, one per line on the error stream.
void TellUnmatched(const Console& console, const std::string& fileName, const PathFilter& filter);

/// "secure binary file, 1234 bytes, 45 variables"
[[nodiscard]] std::string Describe(const StorageFile& file, const StoredContents& contents);

[[nodiscard]] Json TraceJson(const std::vector<TraceRecord>& trace);
/// One record per line: its code, its operation, its message.
void PrintTrace(const Console& console, const std::vector<TraceRecord>& trace);

[[nodiscard]] Colour ColourOf(Outcome outcome);
/// "40 restored, 1 refused, 3 ignored"
[[nodiscard]] std::string CountsText(const RestoreReport& report);
[[nodiscard]] Json CountsJson(const RestoreReport& report);

[[nodiscard]] Json LossesJson(const std::vector<Loss>& losses);
void AddLosses(Table& table, const std::vector<Loss>& losses);

/// Where a command prints that writes the file: what goes to standard output must stay a storage file.
[[nodiscard]] Console BesideFile(const Console& console, const std::string& fileName);

/// @return null when no layout is given. Throws host::DescriptionError.
[[nodiscard]] std::unique_ptr<host::Database> LoadLayout(const std::string& fileName);

/// Ignores nothing: every name has to be known. Throws InputError.
[[nodiscard]] std::optional<Format> ParseFormat(const std::string& name);

}  // namespace tal::talstore

#endif
