/// @file
/// PATH=VALUE on the command line.
#ifndef TALSTORE_SETTINGS_H
#define TALSTORE_SETTINGS_H

#include <string>
#include <utility>
#include <vector>

#include "ReferenceHost.h"

namespace tal::talstore {

/// @param option  What to call it when it is wrong: "--set "; empty for an operand.
/// @return the path and the text. Throws UseError when the layout has no such variable.
[[nodiscard]] std::pair<std::string, std::string> ParseSetting(host::Database& layout, const std::string& setting,
                                                               const std::string& option);

/// Gives the variables these values and marks them as retrieved, so that it shows when one gets lost. Throws
/// InputError.
void ApplySettings(host::Database& layout, const std::vector<std::string>& settings);

}  // namespace tal::talstore

#endif
