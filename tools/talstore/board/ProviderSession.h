/// @file
/// Drives the library's own providers, so that whatever the tool says is what a board does.
#ifndef TALSTORE_PROVIDER_SESSION_H
#define TALSTORE_PROVIDER_SESSION_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "ReferenceHost.h"
#include "board/TraceCapture.h"
#include "board/Witness.h"
#include "files/PrivateDirectory.h"
#include "formats/Formats.h"

namespace tal::talstore {

struct ProviderInfo {
    const char* name;
    std::string summary;
    const FormatInfo* format;  ///< Null: the provider has no files.
    QBFResult (*getInterface)(IStorageProvider** provider);
};

/// One of each format, and those that have another configuration or no files.
[[nodiscard]] const std::vector<ProviderInfo>& Providers();

/// @return null when there is none of that name.
[[nodiscard]] const ProviderInfo* FindProvider(std::string_view name);

/// The read-write provider of the format.
[[nodiscard]] const ProviderInfo& ProviderOf(Format format);

/// One operation's result and trace, and what the host has seen of it.
struct Run {
    QBFResult result = QBF_OK;
    std::string operation;  ///< As the operation calls itself in the trace.
    std::vector<TraceRecord> trace;
    Seen seen;
};

/// What a store does, and what it leaves.
struct StoreRun {
    Run run;
    std::optional<std::string> bytes;  ///< None when it has written no file.
};

/// A provider at one location with a file of its own, away from the user's files: providers keep at most 79 characters
/// of a name, truncate before they write, and have fixed names for some locations. All sessions share one directory,
/// where no file outlives its operation in any use.
class ProviderSession {
public:
    /// @param fileName  The user's file, whose last part the provider and its trace get to see.
    ProviderSession(const ProviderInfo& provider, StorageLocation location, std::uint32_t channel,
                    std::string_view fileName);
    /// Takes the file away.
    ~ProviderSession();
    ProviderSession(const ProviderSession&) = delete;
    ProviderSession& operator=(const ProviderSession&) = delete;

    [[nodiscard]] const ProviderInfo& Provider() const { return provider_; }
    [[nodiscard]] std::uint32_t Channel() const { return channel_; }

    /// Runs from here on keep their whole trace instead of their failures only.
    void KeepWholeTrace() { keptRecords_ = KeptRecords::All; }

    [[nodiscard]] StoreRun Store(host::Database& database) const;
    /// @param bytes     Of the file; not looked at by a provider that has none.
    /// @param expected  Null when nothing is known of the file.
    [[nodiscard]] Run Retrieve(std::string_view bytes, host::Database& database, Expected* expected = nullptr) const;

private:
    using Operation = QBFResult (*IStorageProvider::*)(StorageLocation, CDatabase*, unsigned long);

    [[nodiscard]] Run Drive(Operation operation, host::Database& database, Expected* expected) const;

    const ProviderInfo& provider_;
    StorageLocation location_;
    std::uint32_t channel_;
    std::string userName_;
    std::string fileName_;
    KeptRecords keptRecords_ = KeptRecords::Failures;
    std::shared_ptr<const PrivateDirectory> directory_ = PrivateDirectory::Shared();
    std::filesystem::path filesPath_;  ///< The working directory of the operations.
};

}  // namespace tal::talstore

#endif
