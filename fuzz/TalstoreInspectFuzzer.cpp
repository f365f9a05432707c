/// Any bytes as a file that talstore is asked about.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "DatabaseDescription.h"
#include "DatabaseObserver.h"
#include "FuzzBasics.h"
#include "board/Restore.h"
#include "commands/CommandLine.h"

namespace {

using tal::fuzz::Require;
using tal::talstore::Fate;
using tal::talstore::Format;

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
        std::ofstream(layout_) << kLayout;
    }

    void Put(const std::string& bytes) const { std::ofstream(file_, std::ios::binary) << bytes; }

    [[nodiscard]] const std::string& Layout() const { return layout_; }
    [[nodiscard]] const std::string& File() const { return file_; }
    [[nodiscard]] std::string Output() const { return folder_.Path() / "output"; }

private:
    tal::fuzz::MemoryFolder folder_;
    std::string layout_;
    std::string file_;
};

/// @return what the tool prints.
std::string Talstore(const std::vector<std::string>& arguments, int worstStatus) {
    constexpr std::size_t kTerminalWidth = 60;
    std::ostringstream out;
    std::ostringstream err;
    const int status = tal::talstore::RunTalstore(arguments, {out, err, true, kTerminalWidth});
    Require(status >= 0 && status <= worstStatus, arguments[0] + " ends as it should: " + err.str());
    return out.str();
}

void Look(const Files& files, const std::string& format) {
    // A raw binary file says nothing without a layout.
    const int worstStatus = format == "binary" ? 2 : 1;
    Talstore({"show", files.File()}, worstStatus);
    Talstore({"check", files.File()}, worstStatus);
    for (const char* const channel : {"0", "3"}) {
        const std::vector<std::string> common = {files.File(), "--layout", files.Layout(), "--channel",
                                                 channel,      "--format", format,         "--json"};
        for (const char* const command : {"show", "check"}) {
            std::vector<std::string> arguments = {command};
            arguments.insert(arguments.end(), common.begin(), common.end());
            Require(nlohmann::json::accept(Talstore(arguments, 1)), "programs get JSON");
        }
    }
}

/// A host of its own, which keeps every look-up and whether a mark followed.
class Watched final : public tal::host::DatabaseObserver {
public:
    struct Entry {
        std::string path;
        const tal::host::Variable* variable;
        bool isMarked;
    };

    void OnLookUp(std::string_view path, const tal::host::Variable* found) noexcept override {
        entries.push_back({std::string(path), found, false});
    }
    void OnMark(const tal::host::Variable& variable, bool retrieved) noexcept override {
        if (looksUp) {
            Require(!entries.empty() && entries.back().variable == &variable, "a mark follows its look-up");
            entries.back().isMarked = retrieved;
        } else {
            entries.push_back({variable.Path(), &variable, retrieved});
        }
    }

    bool looksUp = true;
    std::vector<Entry> entries;
};

/// What the library does with the file for a host that nothing else has to do with.
void Retrieve(const std::string& bytes, Format format, tal::host::Database& layout) {
    const tal::talstore::PrivateDirectory directory;
    const std::string name = (directory.Path() / "f").string();
    std::ofstream(name, std::ios::binary) << bytes;
    const tal::talstore::ProviderInfo& provider = tal::talstore::ProviderOf(format);
    IStorageProvider* operations = nullptr;
    provider.getInterface(&operations);
    operations->Initialize(0);
    provider.format->setFileNames(name.c_str());
    CSecureBinaryFileStorageProvider_SetChannelNumber(0);
    operations->RetrieveAll(0, layout.Handle(), 0);
}

/// The tool's verdict on every item is what an observed host sees.
void CompareWithLibrary(const Files& files, const std::string& bytes, Format format) {
    const auto layout = tal::host::LoadDatabaseFromText(kLayout);
    const tal::talstore::StorageFile file = {files.File(), bytes, format};
    const tal::talstore::StoredContents contents = Inspect(file, layout.get());
    const tal::talstore::ProviderSession session(tal::talstore::ProviderOf(format), 0, 0, file.name);
    const tal::talstore::RestoreReport report = Restore(session, file, contents, *layout);
    Require(layout->GuardsIntact(), "nothing is written beside a variable");
    Require(report.items.size() == contents.items.size(), "every item has a fate");

    const auto other = tal::host::LoadDatabaseFromText(kLayout);
    Watched watched;
    watched.looksUp = format != Format::Binary;
    other->SetObserver(&watched);
    Retrieve(bytes, format, *other);
    other->SetObserver(nullptr);
    std::size_t next = 0;
    for (const std::size_t index : contents.handedOn) {
        const tal::talstore::ItemReport& item = report.items[index];
        Require(item.boardPath == contents.items[index].path, "the library looks up what the tool says");
        const bool isSeen = next < watched.entries.size() && watched.entries[next].path == item.boardPath;
        Require(isSeen || item.fate == Fate::Dropped, "the host sees every item that the tool says it does");
        if (isSeen) {
            const Watched::Entry& entry = watched.entries[next++];
            Require((item.fate == Fate::Taken) == entry.isMarked, "what is taken is marked");
            Require((item.fate == Fate::Ignored) == (entry.variable == nullptr), "what is ignored is not found");
        }
    }
    for (const auto& variable : report.variables) {
        const tal::host::Variable& same = other->At(variable.variable->Path());
        Require(variable.variable->Retrieved() == same.Retrieved(), "both hosts end alike");
    }
}

void CompareWithItself(const Files& files, const std::string& format) {
    const std::string printed =
        Talstore({"diff", files.File(), files.File(), "--layout", files.Layout(), "--format", format, "--json"}, 1);
    const nlohmann::json counts = nlohmann::json::parse(printed).at("counts");
    for (const auto& [kind, count] : counts.items()) {
        Require(kind == "same" || count == 0, "a file is the same as itself");
    }
}

void MakeLayout(const Files& files) {
    Talstore({"layout", files.File()}, 1);
    const std::string description = Talstore({"layout", files.File(), "--defaults"}, 1);
    static_cast<void>(tal::host::LoadDatabaseFromText(description));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Files files;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    files.Put(bytes);
    const Format format = tal::talstore::RecogniseFormat(bytes, files.File()).value_or(Format::Binary);
    const std::string name = NameOf(format);
    Look(files, name);
    CompareWithLibrary(files, bytes, format);
    CompareWithItself(files, name);
    Talstore({"convert", files.File(), files.Output(), "--layout", files.Layout(), "--format", name, "--to", "xml"}, 1);
    if (format == Format::Xml) {
        MakeLayout(files);
    }
    return 0;
}
