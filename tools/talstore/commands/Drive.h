/// @file
/// What the commands share that drive one provider.
#ifndef TALSTORE_DRIVE_H
#define TALSTORE_DRIVE_H

#include "board/ProviderSession.h"
#include "commands/Commands.h"
#include "commands/Report.h"
#include "commands/ResultCodes.h"

namespace tal::talstore {

/// Throws InputError.
[[nodiscard]] const ProviderInfo& ProviderNamed(const std::string& name);

/// The provider that the user names, or else the one of the file's format. Throws InputError.
[[nodiscard]] const ProviderInfo& ChooseProvider(const DriveOptions& options, std::optional<Format> format);

/// Provider, location, result and, if it is asked for, the trace.
[[nodiscard]] Json RunJson(const ProviderInfo& provider, const DriveOptions& options, const Run& run);
/// The trace, or the failures for people who have not asked for it.
void PrintRun(const Console& console, const DriveOptions& options, const Run& run);

}  // namespace tal::talstore

#endif
