#include "board/ProviderSession.h"

#include <algorithm>
#include <fstream>

#include "files/InputError.h"
#include "files/Interrupt.h"
#include "files/WholeFile.h"

namespace tal::talstore {

namespace {

constexpr std::size_t kLongestFileName = 79;

std::string NameForProvider(const FormatInfo* format, StorageLocation number, std::string_view fileName) {
    if (format != nullptr) {
        const auto location = std::find_if(format->locations.begin(), format->locations.end(),
                                           [&](const Location& candidate) { return candidate.number == number; });
        if (location != format->locations.end() && location->fixedFileName != nullptr) {
            return location->fixedFileName;
        }
    }
    std::string name = std::filesystem::path(fileName).filename().string();
    const bool isUsable = !name.empty() && name != "." && name != "..";
    return isUsable ? name.substr(0, kLongestFileName) : "storage";
}

/// The session's directory is the working directory while an operation runs.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::filesystem::path& path) : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(path);
    }
    ~WorkingDirectory() {
        std::error_code ignored;
        std::filesystem::current_path(before_, ignored);
    }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    std::filesystem::path before_;
};

void WriteFile(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw InputError(path.string() + ": could not be written");
    }
}

/// Speaks of the user's file where a provider speaks of one whose name is fixed.
void NameTheUsersFile(std::vector<TraceRecord>& trace, const std::string& fixedName, const std::string& userName) {
    for (TraceRecord& record : trace) {
        for (std::size_t place = 0; (place = record.message.find(fixedName, place)) != std::string::npos;
             place += userName.size()) {
            record.message.replace(place, fixedName.size(), userName);
        }
    }
}

/// Some readers keep something of the file before. A board that has just started has nothing.
void ForgetEarlierFiles(const IStorageProvider& provider, const FormatInfo& format) {
    // Beside the working directory, where it stays for the next time.
    const std::string file = std::string("../forgettable") + format.ending;
    if (!std::filesystem::exists(file)) {
        WriteFile(file, format.forgettableFile);
    }
    format.setFileNames(file.c_str());
    host::Database nothing;
    provider.RetrieveAll(0, nothing.Handle(), 0);
}

}  // namespace

const std::vector<ProviderInfo>& Providers() {
    static const std::vector<ProviderInfo> providers = [] {
        std::vector<ProviderInfo> rows;
        for (const FormatInfo& format : Formats()) {
            rows.push_back({format.name, std::string(format.summary) + "; " + LocationsText(format), &format,
                            format.getInterface});
        }
        rows.push_back({"xml-read-only", "XML documents, stores are ignored", &InfoOf(Format::Xml),
                        CReadOnlyXmlFileStorageProvider_GetInterface});
        rows.push_back({"board", "fourteen variables from the board, no files", nullptr,
                        ReadOnlyZorBspStorageProvider_getInterface});
        rows.push_back({"dummy", "does nothing and succeeds", nullptr, CDummyStorageProvider_GetInterface});
        return rows;
    }();
    return providers;
}

const ProviderInfo* FindProvider(std::string_view name) {
    const auto found = std::find_if(Providers().begin(), Providers().end(),
                                    [&](const ProviderInfo& provider) { return provider.name == name; });
    return found == Providers().end() ? nullptr : &*found;
}

const ProviderInfo& ProviderOf(Format format) {
    return *FindProvider(NameOf(format));
}

ProviderSession::ProviderSession(const ProviderInfo& provider, StorageLocation location, std::uint32_t channel,
                                 std::string_view fileName)
    : provider_(provider),
      location_(location),
      channel_(channel),
      userName_(std::filesystem::path(fileName).filename().string()),
      fileName_(NameForProvider(provider.format, location, fileName)),
      filesPath_(directory_->Path() / "files") {
    std::filesystem::create_directory(filesPath_);
}

ProviderSession::~ProviderSession() {
    std::error_code ignored;
    std::filesystem::remove(filesPath_ / fileName_, ignored);
}

StoreRun ProviderSession::Store(host::Database& database) const {
    const std::filesystem::path file = filesPath_ / fileName_;
    std::filesystem::remove(file);
    StoreRun stored = {Drive(&IStorageProvider::StoreAll, database, nullptr), std::nullopt};
    if (std::filesystem::exists(file)) {
        stored.bytes = ReadWholeFile(file.string());
    }
    return stored;
}

Run ProviderSession::Retrieve(std::string_view bytes, host::Database& database, Expected* expected) const {
    WriteFile(filesPath_ / fileName_, bytes);
    return Drive(&IStorageProvider::RetrieveAll, database, expected);
}

Run ProviderSession::Drive(Operation operation, host::Database& database, Expected* expected) const {
    const WorkingDirectory directory(filesPath_);
    IStorageProvider* provider = nullptr;
    const QBFResult obtained = provider_.getInterface(&provider);
    if (QBF_IsFailure(obtained)) {
        return {obtained, {}, {}, {}};
    }
    provider->Initialize(location_);
    if (provider_.format != nullptr) {
        if (provider_.format->forgettableFile != nullptr) {
            ForgetEarlierFiles(*provider, *provider_.format);
        }
        // Initialize has set the default names.
        provider_.format->setFileNames(fileName_.c_str());
    }
    CSecureBinaryFileStorageProvider_SetChannelNumber(channel_);
    TraceCapture capture(keptRecords_);
    Witness witness(database, capture, expected, provider_.format != nullptr && provider_.format->hasTexts);
    const QBFResult result = (provider->*operation)(location_, database.Handle(), channel_);
    StopIfInterrupted();
    std::vector<TraceRecord> trace = capture.Take();
    if (fileName_ != userName_ && !userName_.empty()) {
        NameTheUsersFile(trace, fileName_, userName_);
    }
    return {result, capture.FirstOperation(), std::move(trace), witness.Take()};
}

}  // namespace tal::talstore
