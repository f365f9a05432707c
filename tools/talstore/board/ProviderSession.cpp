#include "board/ProviderSession.h"

#include <algorithm>
#include <fstream>

#include "files/InputError.h"
#include "files/Interrupt.h"
#include "files/WholeFile.h"

namespace tal::talstore {

namespace {

constexpr std::size_t kLongestFileName = 79;

void SetXmlFileNames(const char* name) {
    CXmlFileStorageProviderBase_SetStorageFilenames(name, name, name, name, name, name, name, name, name, name);
}

void SetBinaryFileNames(const char* name) {
    CBinaryFileStorageProvider_SetStorageFilenames(name, name, name);
}

void SetSecureFileNames(const char* name) {
    CSecureBinaryFileStorageProvider_SetStorageFilenames(name, name, name);
}

void SetNoFileNames(const char* /*name*/) {}

/// The secure provider has one fixed name for the locations 1 and 2.
std::string NameForProvider(const ProviderInfo& provider, StorageLocation location, std::string_view fileName) {
    if (provider.format == Format::Secure && (location == 1 || location == 2)) {
        return "storage_calibration_database.sbin";
    }
    std::string name = std::filesystem::path(fileName).filename().string();
    const bool isUsable = !name.empty() && name != "-" && name != "." && name != "..";
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

constexpr char kEmptyDocument[] = "empty.xml";

/// The XML reader keeps the path of the last region between documents. A board that has just started has none.
void ForgetEarlierDocuments(const IStorageProvider& provider, void (*setFileNames)(const char* name)) {
    setFileNames((std::filesystem::path("..") / kEmptyDocument).c_str());
    host::Database nothing;
    provider.RetrieveAll(0, nothing.Handle(), 0);
}

}  // namespace

const std::vector<ProviderInfo>& Providers() {
    static const std::vector<ProviderInfo> providers = {
        {"xml", "XML documents; locations 0 and 3 to 11, of which 7, 8 and 11 are read-only", Format::Xml,
         CXmlFileStorageProvider_GetInterface, SetXmlFileNames},
        {"xml-read-only", "XML documents, stores are ignored", Format::Xml,
         CReadOnlyXmlFileStorageProvider_GetInterface, SetXmlFileNames},
        {"binary", "raw images; locations 0, 3 and 6", Format::Binary, CBinaryFileStorageProvider_GetInterface,
         SetBinaryFileNames},
        {"secure", "self-describing records; locations 0, 1, 2, 3 and 6", Format::Secure,
         CSecureBinaryFileStorageProvider_GetInterface, SetSecureFileNames},
        {"board", "fourteen variables from the board, no files", std::nullopt,
         ReadOnlyZorBspStorageProvider_getInterface, SetNoFileNames},
        {"dummy", "does nothing and succeeds", std::nullopt, CDummyStorageProvider_GetInterface, SetNoFileNames},
    };
    return providers;
}

const ProviderInfo* FindProvider(std::string_view name) {
    const auto found = std::find_if(Providers().begin(), Providers().end(),
                                    [&](const ProviderInfo& provider) { return provider.name == name; });
    return found == Providers().end() ? nullptr : &*found;
}

const ProviderInfo& ProviderOf(Format format) {
    return *std::find_if(Providers().begin(), Providers().end(),
                         [&](const ProviderInfo& provider) { return provider.format == format; });
}

ProviderSession::ProviderSession(const ProviderInfo& provider, StorageLocation location, std::uint32_t channel,
                                 std::string_view fileName)
    : provider_(provider),
      location_(location),
      channel_(channel),
      fileName_(NameForProvider(provider, location, fileName)),
      filesPath_(directory_.Path() / "files") {
    std::filesystem::create_directory(filesPath_);
    if (provider.format == Format::Xml) {
        WriteFile(directory_.Path() / kEmptyDocument, "<storage><region name=\"\"></region></storage>");
    }
}

void ProviderSession::PutFile(std::string_view bytes) const {
    WriteFile(filesPath_ / fileName_, bytes);
}

std::optional<std::string> ProviderSession::TakeFile() const {
    const std::filesystem::path file = filesPath_ / fileName_;
    return std::filesystem::exists(file) ? std::optional(ReadWholeFile(file.string())) : std::nullopt;
}

Run ProviderSession::Store(host::Database& database) const {
    return Drive(&IStorageProvider::StoreAll, database);
}

Run ProviderSession::Retrieve(host::Database& database) const {
    return Drive(&IStorageProvider::RetrieveAll, database);
}

Run ProviderSession::Drive(Operation operation, host::Database& database) const {
    const WorkingDirectory directory(filesPath_);
    IStorageProvider* provider = nullptr;
    const QBFResult obtained = provider_.getInterface(&provider);
    if (QBF_IsFailure(obtained)) {
        return {obtained, {}, {}};
    }
    provider->Initialize(location_);
    if (provider_.format == Format::Xml) {
        ForgetEarlierDocuments(*provider, provider_.setFileNames);
    }
    // Initialize has set the default names.
    provider_.setFileNames(fileName_.c_str());
    CSecureBinaryFileStorageProvider_SetChannelNumber(channel_);
    TraceCapture capture;
    Witness witness(database, capture);
    const QBFResult result = (provider->*operation)(location_, database.Handle(), channel_);
    StopIfInterrupted();
    return {result, capture.Take(), witness.Take()};
}

}  // namespace tal::talstore
