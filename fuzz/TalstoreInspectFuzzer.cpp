/// Any bytes as a file that talstore is asked about.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "DatabaseDescription.h"
#include "DatabaseObserver.h"
#include "FuzzBasics.h"
#include "board/Restore.h"
#include "commands/Commands.h"
#include "files/InputError.h"
#include "files/PrivateDirectory.h"

namespace {

using tal::fuzz::Require;
using tal::talstore::CommonOptions;
using tal::talstore::Console;
using tal::talstore::ConvertOptions;
using tal::talstore::Fate;
using tal::talstore::Format;
using tal::talstore::LayoutOptions;

constexpr char kLayout[] = R"({"regions": [
  {"name": "R", "objects": [
    {"name": "O", "variables": [
      {"name": "u8", "type": "U8", "default": 5},
      {"name": "u32", "type": "U32", "default": 7},
      {"name": "flag", "type": "BOOL", "default": true},
      {"name": "text", "type": "STRING", "count": 8, "default": "north"},
      {"name": "words", "type": "U16_ARRAY", "count": 2, "default": [1, 2]},
      {"name": "real", "type": "FLOAT", "default": 1.5},
      {"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [
        {"name": "wide", "type": "DOUBLE", "default": 0.1}]}},
      {"name": "A", "type": "OBJECT_ARRAY", "objects": [
        {"name": "A0", "variables": [{"name": "lane", "type": "CHAR", "default": 65}]}]}]},
    {"name": "Fixed", "writable": false, "variables": [{"name": "id", "type": "S32", "default": -9}]}]},
  {"name": "CalibrationTabRf3", "objects": [
    {"name": "O.Channel3", "variables": [{"name": "channel.3.gain", "type": "S8", "default": -1}]}]}]})";

/// The file, the description and whatever the tool itself puts down.
class Files {
public:
    Files() : layout_(folder_.Path() / "layout.json"), file_(folder_.Path() / "file") {
        Require(setenv("TMPDIR", folder_.Path().c_str(), 1) == 0, "the tool works in the folder");
        // All runs share it as long as there is one that has not ended.
        directory_ = tal::talstore::PrivateDirectory::Shared();
        std::ofstream(layout_) << kLayout;
    }

    void Put(const std::string& bytes) const { std::ofstream(file_, std::ios::binary) << bytes; }

    [[nodiscard]] const std::string& Layout() const { return layout_; }
    [[nodiscard]] const std::string& File() const { return file_; }
    [[nodiscard]] std::string Output() const { return folder_.Path() / "output"; }

private:
    tal::fuzz::MemoryFolder folder_;
    std::shared_ptr<const tal::talstore::PrivateDirectory> directory_;
    std::string layout_;
    std::string file_;
};

/// Runs a command, as `run(console)`, whose command line is not built anew for each input: that takes longer than all
/// the rest.
/// @return what it prints.
template <class Run>
std::string Printed(const Run& run, int worstStatus) {
    constexpr std::size_t kTerminalWidth = 60;
    std::ostringstream out;
    std::ostringstream err;
    const tal::talstore::Console console = {out, err, true, kTerminalWidth};
    try {
        const int status = run(console);
        Require(status >= 0 && status <= worstStatus, "the command ends as it should: " + err.str());
    } catch (const tal::talstore::InputError& error) {
        Require(worstStatus == 2, std::string("the command takes the file: ") + error.what());
    }
    return out.str();
}

/// A raw binary file says nothing without a layout.
int WorstStatusWithoutLayout(Format format) {
    return format == Format::Binary ? 2 : 1;
}

CommonOptions WithLayout(const Files& files, Format format, std::uint32_t channel) {
    return {true, files.Layout(), NameOf(format), channel};
}

void RequireJson(const std::string& printed) {
    Require(nlohmann::json::accept(printed), "programs get JSON");
}

void ShowAlone(const Files& files, Format format) {
    Printed(
        [&](const Console& console) {
            return Show({{}, {files.File()}}, console);
        },
        WorstStatusWithoutLayout(format));
}

void CheckAlone(const Files& files, Format format) {
    Printed(
        [&](const Console& console) {
            return Check({{}, {files.File()}}, console);
        },
        WorstStatusWithoutLayout(format));
}

template <std::uint32_t Channel>
void ShowWithLayout(const Files& files, Format format) {
    RequireJson(Printed(
        [&](const Console& console) {
            return Show({WithLayout(files, format, Channel), {files.File()}}, console);
        },
        1));
}

template <std::uint32_t Channel>
void CheckWithLayout(const Files& files, Format format) {
    RequireJson(Printed(
        [&](const Console& console) {
            return Check({WithLayout(files, format, Channel), {files.File()}}, console);
        },
        1));
}

/// A host of its own, which keeps every look-up, whether a mark followed, and whether the library complained.
class Watched final : public tal::host::DatabaseObserver {
public:
    struct Entry {
        std::string path;
        const tal::host::Variable* variable;
        bool isMarked;
        bool isRefused;
    };

    void OnLookUp(std::string_view path, const tal::host::Variable* found) noexcept override {
        KeepComplaints();
        entries.push_back({std::string(path), found, false, false});
    }
    void OnMark(const tal::host::Variable& variable, bool retrieved) noexcept override {
        if (looksUp) {
            Require(!entries.empty() && entries.back().variable == &variable, "a mark follows its look-up");
            entries.back().isMarked = retrieved;
        } else {
            entries.push_back({variable.Path(), &variable, retrieved, false});
        }
    }

    /// What is traced between two look-ups is about the first of them, but for the elements of a document that begin
    /// after it.
    void KeepComplaints() {
        const std::vector<tal::talstore::TraceRecord> records = capture.Take();
        if (!entries.empty()) {
            entries.back().isRefused = std::any_of(records.begin(), records.end(), [](const auto& record) {
                return record.operation == "CXmlFileStorageProviderBase_UpdateVariable" ||
                       record.operation == "CSecureBinaryFileStorageProvider_PrepareForVariableUpdate";
            });
        }
    }

    bool looksUp = true;
    std::vector<Entry> entries;
    tal::talstore::TraceCapture capture{tal::talstore::KeptRecords::Failures};
};

/// @return the name of a file in memory; each call replaces what the last one has left.
std::string FileInMemory(std::string_view bytes) {
    static const int file = memfd_create("fuzz", 0);
    Require(file >= 0 && ftruncate(file, 0) == 0, "a file in memory can be made");
    Require(pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()), "and written");
    return "/proc/self/fd/" + std::to_string(file);
}

/// What the library does with the file, when it has just started, for a host that nothing else has to do with.
void Retrieve(const std::string& bytes, Format format, tal::host::Database& layout) {
    const tal::talstore::ProviderInfo& provider = tal::talstore::ProviderOf(format);
    IStorageProvider* operations = nullptr;
    provider.getInterface(&operations);
    operations->Initialize(0);
    CSecureBinaryFileStorageProvider_SetChannelNumber(0);
    if (provider.format->forgettableFile != nullptr) {
        tal::host::Database nothing;
        provider.format->setFileNames(FileInMemory(provider.format->forgettableFile).c_str());
        operations->RetrieveAll(0, nothing.Handle(), 0);
    }
    provider.format->setFileNames(FileInMemory(bytes).c_str());
    operations->RetrieveAll(0, layout.Handle(), 0);
}

/// The tool's verdict on every item is what an observed host sees.
void CompareWithLibrary(const Files& files, const std::string& bytes, Format format) {
    // To read the description takes longer than to retrieve a file.
    static const auto layout = tal::host::LoadDatabaseFromText(kLayout);
    static const auto other = tal::host::LoadDatabaseFromText(kLayout);
    const tal::talstore::StorageFile file = {files.File(), bytes, format};
    const tal::talstore::StoredContents contents = Inspect(file, layout.get());
    const tal::talstore::ProviderSession session(tal::talstore::ProviderOf(format), 0, 0, file.name);
    const tal::talstore::RestoreReport report = Restore(session, file, contents, *layout);
    Require(layout->GuardsIntact(), "nothing is written beside a variable");
    Require(report.items.size() == contents.items.size(), "every item has a fate");

    other->ResetToDefaults();
    Watched watched;
    watched.looksUp = format != Format::Binary;
    other->SetObserver(&watched);
    Retrieve(bytes, format, *other);
    other->SetObserver(nullptr);
    watched.KeepComplaints();
    std::size_t next = 0;
    for (const std::size_t index : contents.handedOn) {
        const tal::talstore::ItemReport& item = report.items[index];
        Require(item.BoardPath() == contents.items[index].path, "the library looks up what the tool says");
        const bool isSeen = next < watched.entries.size() && watched.entries[next].path == item.BoardPath();
        Require(isSeen || item.fate == Fate::Dropped, "the host sees every item that the tool says it does");
        if (isSeen) {
            const Watched::Entry& entry = watched.entries[next++];
            Require((item.fate == Fate::Taken) == entry.isMarked, "what is taken is marked");
            Require((item.fate == Fate::Ignored) == (entry.variable == nullptr), "what is ignored is not found");
            Require((item.fate == Fate::Refused) == entry.isRefused, "what is refused is traced as such");
        }
    }
    for (const auto& variable : report.variables) {
        const tal::host::Variable& same = other->At(variable.variable->Path());
        Require(variable.variable->Retrieved() == same.Retrieved(), "both hosts end alike");
    }
}

void CompareWithItself(const Files& files, Format format) {
    const std::string printed = Printed(
        [&](const Console& console) {
            return Diff({WithLayout(files, format, 0), files.File(), files.File()}, console);
        },
        1);
    const nlohmann::json counts = nlohmann::json::parse(printed).at("counts");
    for (const auto& [kind, count] : counts.items()) {
        Require(kind == "same" || count == 0, "a file is the same as itself");
    }
}

void ConvertToDocument(const Files& files, Format format) {
    ConvertOptions options = {WithLayout(files, format, 0), {{files.File(), files.Output()}}, "xml"};
    options.isForced = true;
    Printed([&](const Console& console) { return Convert(options, console); }, 1);
}

void MakeLayout(const Files& files, Format format) {
    if (format != Format::Xml) {
        return;
    }
    LayoutOptions options;
    options.file = files.File();
    Printed([&](const Console& console) { return Layout(options, console); }, 1);
    options.withDefaults = true;
    const std::string description = Printed([&](const Console& console) { return Layout(options, console); }, 1);
    static_cast<void>(tal::host::LoadDatabaseFromText(description));
}

using Look = void (*)(const Files& files, Format format);
constexpr Look kLooks[] = {ShowAlone,         CheckAlone,         ShowWithLayout<0>,
                           ShowWithLayout<3>, CheckWithLayout<0>, CheckWithLayout<3>,
                           CompareWithItself, ConvertToDocument,  MakeLayout};

/// One look per input leaves time for many inputs, of which those that have led on are tried again and again. What is
/// kept is looked at in every way.
void LookAt(const Files& files, const std::string& bytes, Format format) {
    if (!tal::fuzz::isReplay) {
        kLooks[std::hash<std::string>()(bytes) % std::size(kLooks)](files, format);
        return;
    }
    for (const Look look : kLooks) {
        look(files, format);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Files files;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    files.Put(bytes);
    const Format format = tal::talstore::RecogniseFormat(bytes, files.File()).value_or(Format::Binary);
    CompareWithLibrary(files, bytes, format);
    LookAt(files, bytes, format);
    return 0;
}
