#include "Support.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "commands/CommandLine.h"

/// The files of a test need not survive a power cut, and thousands of them are written.
extern "C" int fsync(int descriptor) {
    return tal::test::onSync ? tal::test::onSync(descriptor) : 0;
}

namespace tal::test {

std::function<int(int descriptor)> onSync;

const char* const kLayout = R"({"regions": [{"name": "R", "objects": [
  {"name": "O", "variables": [
    {"name": "u8", "type": "U8", "default": 5},
    {"name": "u32", "type": "U32", "default": 7},
    {"name": "flag", "type": "BOOL", "default": true},
    {"name": "text", "type": "STRING", "count": 16, "default": "north"},
    {"name": "list", "type": "U16_ARRAY", "count": 3, "default": [1, 2, 3]},
    {"name": "real", "type": "DOUBLE", "default": 1.5},
    {"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [
      {"name": "deep", "type": "S32", "default": -4}]}}]},
  {"name": "Fixed", "writable": false, "variables": [{"name": "id", "type": "U32", "default": 9}]}]}]})";

namespace {

/// Keeps every JSON answer that any test gets, and has all of them validated at the end.
class Answers : public testing::Environment {
public:
    /// @param answers  As they are printed: one, or several in a line each.
    void Keep(const std::string& answers) {
        std::istringstream stream(answers);
        while (stream >> std::ws && !stream.eof()) {
            nlohmann::json answer;
            stream >> answer;
            answers_ += answer.dump() + '\n';
        }
    }

    void TearDown() override {
        if (answers_.empty()) {
            return;
        }
        const TemporaryDirectory directory;
        WriteFile("answers", answers_);
        EXPECT_EQ(std::system("python3 " TAL_REPOSITORY "/tests/talstore/validate.py " TALSTORE_SOURCES
                              "/schemas < answers > validated"),
                  0)
            << "an answer does not follow the schema that it names";
    }

private:
    std::string answers_;
};

Answers& KeptAnswers() {
    // GoogleTest owns it.
    static auto* const answers = new Answers;
    return *answers;
}

[[maybe_unused]] const testing::Environment* const kAnswers = testing::AddGlobalTestEnvironment(&KeptAnswers());

bool AsksForJson(const std::vector<std::string>& arguments) {
    return std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
}

}  // namespace

Ended Talstore(const std::vector<std::string>& arguments, std::size_t width) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = talstore::RunTalstore(arguments, {out, err, false, width});
    if (AsksForJson(arguments) && status <= 1) {
        KeptAnswers().Keep(out.str());
    }
    return {status, out.str(), err.str()};
}

Ended TalstoreProcess(const std::string& arguments) {
    const int ended = std::system((TALSTORE_COMMAND " " + arguments + " > process.out 2> process.err").c_str());
    return {WIFEXITED(ended) ? WEXITSTATUS(ended) : -1, ReadFile("process.out"), ReadFile("process.err")};
}

int InterruptAt(const std::string& pipe, const std::string& arguments) {
    EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_directory("temporary");
    // The pipe opens when the process that reads files has come to it.
    WriteFile("script",
              "set -m\n"
              "export TMPDIR=$PWD/temporary\n"
              "\"$@\" > answer &\n"
              "exec 3> " +
                  pipe +
                  "\n"
                  "sleep 0.2\n"
                  "kill -INT $!\n"
                  "wait $!\n");
    const int ended = std::system(("bash script " TALSTORE_COMMAND " " + arguments).c_str());
    return WEXITSTATUS(ended);
}

bool IsLongForm() {
    return std::getenv("TAL_LONG_PROOFS") != nullptr;
}

void TellProgress(const std::string& proof, std::size_t done, std::size_t total) {
    constexpr std::size_t kSteps = 20;
    if (IsLongForm() && (done * kSteps) % total < kSteps) {
        std::cerr << proof << ": " << done << " of " << total << '\n';
    }
}

std::string LittleEndian(std::uint32_t number) {
    std::string bytes;
    for (int i = 0; i < 4; ++i) {
        bytes += static_cast<char>(number >> (8 * i) & 0xFFU);
    }
    return bytes;
}

std::string Record(std::string_view path, std::string_view data) {
    const auto pathLength = static_cast<std::uint32_t>(path.size());
    const auto dataSize = static_cast<std::uint32_t>(data.size());
    return LittleEndian(0xDEADBEEF) + LittleEndian(20 + pathLength + dataSize) + LittleEndian(pathLength) +
           LittleEndian(dataSize) + LittleEndian(0xBEEFCAFE) + std::string(path) + '\0' + std::string(data);
}

std::string Document(std::string_view body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\">" + std::string(body) + "</storage>\n";
}

std::string Variable(std::string_view name, std::string_view type, std::string_view value) {
    return "\n<variable name = \"" + std::string(name) + "\"><type>" + std::string(type) + "</type><value>" +
           std::string(value) + "</value></variable>";
}

talstore::TextList KeptList(const std::vector<std::string>& texts) {
    static talstore::KeptTexts kept;
    std::vector<talstore::KeptText> list;
    list.reserve(texts.size());
    for (const std::string& text : texts) {
        list.push_back(kept.Keep(text));
    }
    return kept.KeepList(list);
}

std::vector<std::string> Summaries(const talstore::StoredContents& contents) {
    constexpr const char* kSeverities[] = {"note", "warning", "error"};
    std::vector<std::string> summaries;
    for (const talstore::Finding& finding : contents.findings) {
        const talstore::Place& place = finding.place;
        summaries.push_back(std::string(kSeverities[static_cast<std::size_t>(finding.severity)]) + ' ' + finding.code +
                            " @" +
                            (place.line == 0 ? std::to_string(place.offset)
                                             : std::to_string(place.line) + ':' + std::to_string(place.column)) +
                            (finding.path.empty() ? "" : ' ' + finding.path));
    }
    return summaries;
}

std::vector<std::string> Paths(const talstore::StoredContents& contents) {
    std::vector<std::string> paths;
    for (const talstore::StoredItem& item : contents.items) {
        paths.push_back(item.path);
    }
    return paths;
}

StorageFiles::StorageFiles() {
    WriteFile("layout.json", kLayout);
}

void StorageFiles::StoreFile(const std::string& name, const std::vector<std::string>& settings) {
    std::vector<std::string> arguments = {"store", name, "--layout", "layout.json", "--force"};
    for (const std::string& setting : settings) {
        arguments.insert(arguments.end(), {"--set", setting});
    }
    const Ended ended = Talstore(arguments);
    ASSERT_LE(ended.status, 1) << ended.err;
    ASSERT_EQ(ended.err, "");
}

}  // namespace tal::test
