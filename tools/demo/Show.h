/// How the demo prints what it sees.
#ifndef TAL_TOOLS_DEMO_SHOW_H
#define TAL_TOOLS_DEMO_SHOW_H

#include <cstddef>
#include <functional>
#include <string>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "ReferenceHost.h"

namespace tal::demo {

void ShowHeading(const std::string& text);

/// Prints what is expected and whether it is so.
/// @return `holds`
bool Expect(bool holds, const std::string& what);

/// "QBF_OK" or "failed with 0x8000".
[[nodiscard]] std::string ResultText(QBFResult result);

void ShowFirstLines(const std::string& fileName, std::size_t lineCount);
void ShowFirstBytes(const std::string& fileName, std::size_t byteCount);

/// What became of a variable in a retrieve: "restored", "default" or "untouched".
[[nodiscard]] std::string StateText(const host::Variable& variable);

/// Whether a variable of the database belongs into a table.
using Selection = std::function<bool(const host::Variable&)>;

/// Prints path, type, value and state of the selected variables, at most `rowLimit` of them, and counts the rest.
void ShowVariables(host::Database& database, std::size_t rowLimit, const Selection& isSelected);

/// Prints how many variables were restored, have their default, or were left untouched.
void ShowSummary(host::Database& database);

/// The variables that hold a value of their own.
[[nodiscard]] bool HoldsValue(const host::Variable& variable);

/// How many of the selected variables there are.
[[nodiscard]] std::size_t Count(host::Database& database, const Selection& isSelected);

}  // namespace tal::demo

#endif
