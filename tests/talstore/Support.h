/// What the tests of talstore share.
#ifndef TAL_TEST_TALSTORE_SUPPORT_H
#define TAL_TEST_TALSTORE_SUPPORT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "formats/StoredContents.h"
#include "support/Files.h"

namespace tal::test {

struct Ended {
    int status;
    std::string out;
    std::string err;

    [[nodiscard]] nlohmann::json Json() const { return nlohmann::json::parse(out); }
};

/// Runs the tool inside the test.
/// @param width  Of the terminal; 0 for none.
[[nodiscard]] Ended Talstore(const std::vector<std::string>& arguments, std::size_t width = 0);

/// Runs the installed program in a process of its own. Call it in a TemporaryDirectory.
/// @param arguments  For a shell.
[[nodiscard]] Ended TalstoreProcess(const std::string& arguments);

/// Runs the installed program in a process of its own, and interrupts it when it has come to the pipe, which is made,
/// among the files that it reads. Call it in a TemporaryDirectory.
/// @param arguments  For a shell.
/// @return its exit status. What it prints is in the file "answer", what it leaves in TMPDIR in the folder "temporary".
[[nodiscard]] int InterruptAt(const std::string& pipe, const std::string& arguments);

/// Whether the proofs go through everything, as `./run fleet-check` has them do, and not through a part of it.
[[nodiscard]] bool IsLongForm();

/// Tells in the long form how far a proof has come.
void TellProgress(const std::string& proof, std::size_t done, std::size_t total);

/// What stands in for fsync while it is set.
extern std::function<int(int descriptor)> onSync;

/// A record of a secure file.
[[nodiscard]] std::string Record(std::string_view path, std::string_view data);

[[nodiscard]] std::string LittleEndian(std::uint32_t number);

/// An XML document with that inside its storage element.
[[nodiscard]] std::string Document(std::string_view body);

/// A variable element.
[[nodiscard]] std::string Variable(std::string_view name, std::string_view type, std::string_view value);

/// The texts as an item has them, kept to the end of all tests.
[[nodiscard]] talstore::TextList KeptList(const std::vector<std::string>& texts);

/// "error secure.end-marker @16 R/O/v"; of documents "@2:17".
[[nodiscard]] std::vector<std::string> Summaries(const talstore::StoredContents& contents);

/// The paths of all items.
[[nodiscard]] std::vector<std::string> Paths(const talstore::StoredContents& contents);

/// A region R with an object O that has a variable of several kinds and a nested object N, and a read-only object.
extern const char* const kLayout;

/// A directory with the description kLayout in "layout.json", and the files that the library stores for it.
class StorageFiles : public testing::Test {
protected:
    StorageFiles();

    /// Stores the layout with these values, be it that some of them do not come back.
    static void StoreFile(const std::string& name, const std::vector<std::string>& settings = {});

    TemporaryDirectory directory_;
};

}  // namespace tal::test

#endif
