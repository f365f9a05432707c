/// Every prefix and every changed byte of a file of each format, through every command that reads files.

#include <sstream>

#include "Support.h"
#include "commands/Commands.h"
#include "files/PrivateDirectory.h"
#include "support/CaseStep.h"

namespace tal::test {

namespace {

/// A small file of each format, and what the commands make of damaged copies of it.
class DamagedInput : public StorageFiles, public testing::WithParamInterface<const char*> {
protected:
    DamagedInput() : name_(GetParam()), damagedName_("damaged" + name_.substr(name_.find('.'))) {
        WriteFile("layout.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
            {"name": "a", "type": "BOOL", "default": true},
            {"name": "s", "type": "STRING", "count": 4, "default": "xy"},
            {"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [
                {"name": "l", "type": "U8_ARRAY", "count": 2, "default": [1, 2]}]}}]}]}]})");
        StoreFile(name_);
        whole_ = ReadFile(name_);
    }

    /// Runs the command, as `run(console)`, which may not fail in any other way than by telling of problems. It is
    /// called without a command line, which takes longer to build than a command takes to run.
    template <class Run>
    void Expect(const Run& run, const std::string& damage) {
        std::ostringstream out;
        std::ostringstream err;
        const int status = run(talstore::Console{out, err});
        EXPECT_TRUE(status == 0 || status == 1) << damage << ' ' << err.str();
    }

    [[nodiscard]] talstore::CommonOptions Common(bool asJson = false) const {
        const std::string kind = damagedName_.substr(damagedName_.find('.') + 1);
        const std::string format = kind == "xml" ? "xml" : kind == "sbin" ? "secure" : "binary";
        return {asJson, "layout.json", format, 0};
    }

    /// To make and remove one for every command takes longer than many of them.
    std::shared_ptr<const talstore::PrivateDirectory> directoryOfAll_ = talstore::PrivateDirectory::Shared();
    std::string name_;
    std::string damagedName_;
    std::string whole_;
};

TEST_P(DamagedInput, CutAnywhereIsNoTrouble) {
    for (std::size_t length = 0; length < whole_.size(); length += CaseStep()) {
        WriteFile(damagedName_, whole_.substr(0, length));
        const std::string damage = "cut to " + std::to_string(length);
        Expect([&](const auto& console) { return talstore::Show({Common(), {damagedName_}}, console); }, damage);
        Expect([&](const auto& console) { return talstore::Check({Common(true), {damagedName_}}, console); }, damage);
        Expect(
            [&](const auto& console) {
                talstore::ConvertOptions options = {Common(), {{damagedName_, "converted.xml"}}, "xml"};
                options.isForced = true;
                return talstore::Convert(options, console);
            },
            damage);
    }
}

TEST_P(DamagedInput, WithAnyByteChangedIsNoTrouble) {
    for (std::size_t i = 0; i < whole_.size(); i += CaseStep()) {
        for (const char changed : {static_cast<char>(whole_[i] ^ 1), '<'}) {
            std::string bytes = whole_;
            bytes[i] = changed;
            WriteFile(damagedName_, bytes);
            const std::string damage = "byte " + std::to_string(i) + " is " + std::to_string(changed);
            Expect([&](const auto& console) { return talstore::Check({Common(), {damagedName_}}, console); }, damage);
            Expect(
                [&](const auto& console) {
                    return talstore::Diff({Common(), name_, damagedName_}, console);
                },
                damage);
        }
    }
}

TEST(DamagedDocument, MakesADescriptionOfWhatIsLeft) {
    const TemporaryDirectory directory;
    const std::string whole = Document("<region name = \"R\"><object name = \"O\">" + Variable("a", "STRING", "x") +
                                       "\n</object>\n</region>\n");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        WriteFile("cut.xml", whole.substr(0, length));
        EXPECT_LE(Talstore({"layout", "cut.xml", "--defaults"}).status, 1) << length;
    }
}

INSTANTIATE_TEST_SUITE_P(OfEachFormat, DamagedInput, testing::Values("whole.xml", "whole.sbin", "whole.bin"),
                         [](const auto& parameter) {
                             return std::string(parameter.param).substr(std::string_view("whole.").size());
                         });

TEST(DamagedFile, IsNamedWithTheFirstThingThatIsWrong) {
    const TemporaryDirectory directory;
    WriteFile("unit.sbin", "not a record at all, really");
    const Ended ended = TalstoreProcess("show unit.sbin");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.err, testing::StartsWith("talstore: unit.sbin: byte 0: start marker is 0x20746F6E"));
}

TEST(DamagedFile, ThatNeverEndsIsRefused) {
    ASSERT_TRUE(IsDevice("/dev/zero"));
    const TemporaryDirectory directory;
    const Ended ended = TalstoreProcess("show /dev/zero --format secure");
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err, "talstore: /dev/zero: has more than 64 MiB, which no storage file has\n");
}

}  // namespace

}  // namespace tal::test
