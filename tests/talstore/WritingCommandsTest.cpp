/// store, retrieve, convert and board, run inside the test.

#include <filesystem>

#include "Support.h"

namespace tal::test {

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

using Json = nlohmann::json;

// ---- store

class Store : public StorageFiles {};

TEST_F(Store, WritesWhatTheProviderWrites) {
    WriteFile("small.json", R"({"regions": [{"name": "Config", "objects": [{"name": "Radio", "variables": [
        {"name": "Tx", "type": "OBJECT", "object": {"name": "Tx", "variables": [
            {"name": "Gain", "type": "U32"}]}}]}]}]})");
    const Ended ended = Talstore({"store", "unit.sbin", "--layout", "small.json", "--set", "Config/Radio/Tx/Gain=16"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, "secure, location 0: QBF_OK, 45 bytes stored in unit.sbin\n");
    EXPECT_EQ(ReadFile("unit.sbin"), Record("Config/Radio/Tx/Gain", LittleEndian(16)));
}

TEST_F(Store, NeedsAKnownKindOfFile) {
    const Ended ended = Talstore({"store", "unit", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, StartsWith("talstore: unit: say with --provider what kind of file this is\nusage: "));
    EXPECT_EQ(Talstore({"store", "unit", "--layout", "layout.json", "--provider", "secure"}).status, 0);
}

TEST_F(Store, RefusesSettingsThatMakeNoSense) {
    const auto refusal = [](const std::string& setting) {
        const Ended ended = Talstore({"store", "unit.xml", "--layout", "layout.json", "--set", setting});
        EXPECT_EQ(ended.status, 2) << setting;
        EXPECT_FALSE(std::filesystem::exists("unit.xml"));
        return ended.err;
    };
    EXPECT_THAT(refusal("R/O/u8"), StartsWith("talstore: --set R/O/u8: expected PATH=VALUE\nusage: "));
    EXPECT_THAT(refusal("R/O/u9=1"), StartsWith("talstore: --set R/O/u9=1: there is no such variable in the layout; "
                                                "did you mean 'R/O/u8'?\nusage: "));
    EXPECT_EQ(refusal("R/O/u8=256"), "talstore: R/O/u8: \"256\" does not fit U8, which takes 0 to 255\n");
    EXPECT_THAT(refusal("R/O/N=1"), HasSubstr("does not fit OBJECT, which takes no value"));
}

TEST_F(Store, AtEachLocationOfAProviderWritesTheFileThatIsAskedFor) {
    for (const char* const location : {"0", "1", "2", "3", "6"}) {
        EXPECT_EQ(Talstore({"store", "unit.sbin", "--layout", "layout.json", "--location", location}).status, 0);
        EXPECT_NE(ReadFile("unit.sbin"), "");
        std::filesystem::remove("unit.sbin");
    }
    for (const char* const location : {"0", "3", "4", "5", "6", "9", "10"}) {
        EXPECT_EQ(Talstore({"store", "unit.xml", "--layout", "layout.json", "--location", location}).status, 0);
        EXPECT_NE(ReadFile("unit.xml"), "");
        std::filesystem::remove("unit.xml");
    }
}

TEST_F(Store, ThatFailsSaysWhyAndLeavesTheFileAsItWas) {
    WriteFile("unit.xml", "precious");
    const Ended ended = Talstore({"store", "unit.xml", "--force", "--layout", "layout.json", "--location", "7"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "xml, location 7: QBF_E_FAILED (0x8000), no file is written\n");
    EXPECT_THAT(ended.err, HasSubstr("Attempt to open file unit.xml for write - operation not intended for this file"));
    EXPECT_EQ(ReadFile("unit.xml"), "precious");
}

TEST_F(Store, OntoAFileIsRefusedAndSaysWhatToUseInstead) {
    WriteFile("unit.xml", "precious");
    const Ended ended = Talstore({"store", "unit.xml", "--layout", "layout.json", "--set", "R/O/u8=9"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err,
              "talstore: unit.xml: is there, and each of its values would be replaced; 'talstore set' changes single "
              "values, 'talstore convert' the format, and --force replaces the file\n"
              "usage: talstore store --layout DESCRIPTION [OPTIONS] [FILE]\n");
    EXPECT_EQ(ReadFile("unit.xml"), "precious");
    EXPECT_EQ(Talstore({"store", "unit.xml", "--layout", "layout.json", "--force"}).status, 0);
    EXPECT_NE(ReadFile("unit.xml"), "precious");
}

TEST_F(Store, WarnsOfAValueThatTheFormatNeverStores) {
    for (const std::string value : {"77", "9"}) {
        const Ended ended =
            Talstore({"store", "unit.sbin", "--force", "--layout", "layout.json", "--set", "R/Fixed/id=" + value});
        EXPECT_EQ(ended.status, 1) << "also for the default";
        EXPECT_THAT(ended.out,
                    StartsWith("lost  R/Fixed/id  " + value + ": in a read-only object, which is never stored\n"));
    }
    EXPECT_EQ(Talstore({"store", "unit.bin", "--layout", "layout.json", "--set", "R/Fixed/id=77"}).status, 0);
}

TEST_F(Store, ThroughTheReadOnlyProviderSucceedsWithoutAFile) {
    const Ended ended = Talstore({"store", "unit.xml", "--layout", "layout.json", "--provider", "xml-read-only"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, "xml-read-only, location 0: QBF_OK, no file is written\n");
    EXPECT_FALSE(std::filesystem::exists("unit.xml"));
}

TEST_F(Store, ListsWhatWillNotComeBack) {
    const Ended ended = Talstore({"store", "unit.xml", "--layout", "layout.json", "--set", "R/O/text=", "--set",
                                  "R/O/real=1.23456789", "--set", "R/Fixed/id=77"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out.substr(0, ended.out.rfind("xml, location")),
              "altered  R/O/text    \"\" becomes \"STRING\"\n"
              "altered  R/O/real    1.23456789 becomes 1.234568\n"
              "lost     R/Fixed/id  77: in a read-only object, which is never stored\n");
    EXPECT_TRUE(std::filesystem::exists("unit.xml"));
}

TEST_F(Store, SaysWhenNoBoardCanReadTheFile) {
    const Ended ended = Talstore({"store", "unit.xml", "--layout", "layout.json", "--set", "R/O/text=a < b"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, StartsWith("unwritable  R/O/text  \"a < b\": a document cannot hold '<' or '&'\n"
                                      "no board can read it: Parse error in file unit.xml at line 5: "));
}

TEST_F(Store, NamesOnlyTheStoredTextsThatMakeADocumentUnreadable) {
    WriteFile("layout.json", R"({"regions": [{"name": "R", "objects": [
        {"name": "O", "variables": [{"name": "text", "type": "STRING", "count": 16, "default": "a & b"}]},
        {"name": "Fixed", "writable": false, "variables": [
            {"name": "text", "type": "STRING", "count": 16, "default": "c < d"}]}]}]})");
    EXPECT_THAT(
        Talstore({"store", "unit.xml", "--layout", "layout.json"}).out,
        StartsWith("unwritable  R/O/text  \"a & b\": a document cannot hold '<' or '&'\nno board can read it: "));
}

TEST_F(Store, PrintsWhatWillNotComeBackAsJson) {
    const Json json =
        Talstore({"store", "unit.xml", "--layout", "layout.json", "--set", "R/O/real=1.23456789", "--json"}).Json();
    EXPECT_EQ(json["readable"], true);
    EXPECT_EQ(json["notCarried"],
              Json::parse(R"([{"kind": "altered", "path": "R/O/real", "reason": "1.23456789 becomes 1.234568"}])"));
}

TEST_F(Store, WithoutAFileIsPossibleForProvidersThatHaveNone) {
    EXPECT_EQ(Talstore({"store", "--layout", "layout.json", "--provider", "dummy"}).status, 0);
    EXPECT_EQ(Talstore({"store", "--layout", "layout.json", "--provider", "xml"}).status, 2);
}

TEST_F(Store, ShowsTheTrace) {
    const Ended ended = Talstore({"store", "unit.xml", "--layout", "layout.json", "--trace"});
    EXPECT_THAT(ended.out, HasSubstr("0x0800  CXmlFileStorageProviderBase_OpenFile     XML file unit.xml opened for "
                                     "writing (for storage location 0)\n"));
}

TEST_F(Store, PrintsJson) {
    const Json json =
        Talstore({"store", "unit.bin", "--layout", "layout.json", "--location", "3", "--trace", "--json"}).Json();
    EXPECT_EQ(json["provider"], "binary");
    EXPECT_EQ(json["location"], 3);
    EXPECT_EQ(json["result"], 0);
    EXPECT_EQ(json["size"], 47);
    EXPECT_EQ(json["trace"][0], Json::parse(R"({"code": 2048, "operation": "CBinaryFileStorageProvider_StoreAll",
                                                "message": "CBinaryFileStorageProvider: Storing all..."})"));
}

TEST_F(Store, ToStandardOutputWritesNothingElseThere) {
    StoreFile("unit.sbin");
    const Ended ended = Talstore({"store", "-", "--provider", "secure", "--layout", "layout.json"});
    EXPECT_EQ(ended.out, ReadFile("unit.sbin"));
    EXPECT_THAT(ended.err, HasSubstr("QBF_OK"));
}

TEST_F(Store, WritesThroughLinksAndKeepsPermissions) {
    StoreFile("unit.xml");
    std::filesystem::permissions("unit.xml", std::filesystem::perms::owner_all);
    std::filesystem::create_symlink("unit.xml", "link.xml");
    StoreFile("link.xml", {"R/O/u8=9"});
    EXPECT_TRUE(std::filesystem::is_symlink("link.xml"));
    EXPECT_THAT(ReadFile("unit.xml"), HasSubstr("<value>9</value>"));
    EXPECT_EQ(std::filesystem::status("unit.xml").permissions(), std::filesystem::perms::owner_all);
}

TEST_F(Store, TakesNamesThatAreTooLongForAProvider) {
    const std::string name = std::string(120, 'n') + ".xml";
    StoreFile(name);
    EXPECT_EQ(Talstore({"check", name, "--layout", "layout.json"}).status, 0);
}

TEST_F(Store, ReplacesTheChannelByItsPlaceholder) {
    WriteFile("layout.json", R"({"regions": [{"name": "Rf2", "objects": [{"name": "O.Channel2", "variables": [
        {"name": "Channel.2.v", "type": "U8"}]}]}]})");
    const auto path = [](const std::string& name) {
        static_cast<void>(Talstore({"store", name, "--layout", "layout.json", "--channel", "2"}));
        return Talstore({"show", name, "--json"}).Json()["variables"][0]["path"].get<std::string>();
    };
    EXPECT_EQ(path("unit.xml"), "RfX/O.ChannelX/Channel.2.v");
    EXPECT_EQ(path("unit.sbin"), "Rf2/O.Channel2/Channel.X.v");
}

// ---- retrieve

class Retrieve : public StorageFiles {};

TEST_F(Retrieve, ShowsWhatEachVariableEndsWith) {
    StoreFile("unit.sbin", {"R/O/u8=9"});
    const Ended ended = Talstore({"retrieve", "unit.sbin", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.out, HasSubstr("R/O/u8      U8            9          restored\n"));
    EXPECT_THAT(ended.out, HasSubstr("R/Fixed/id  U32           9          read-only  in a read-only object"));
    EXPECT_THAT(ended.out, EndsWith("secure, location 0: QBF_OK, 7 restored, 1 read-only\n"));
}

TEST_F(Retrieve, FailsAsTheProviderFails) {
    StoreFile("unit.xml");
    const Ended ended = Talstore({"retrieve", "unit.xml", "--layout", "layout.json", "--location", "1"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.err, HasSubstr("Invalid storage location id: 1"));
    EXPECT_THAT(ended.out, HasSubstr("defaulted  the file is not read\n"));
    EXPECT_THAT(ended.out, EndsWith("xml, location 1: QBF_E_FAILED (0x8000), 7 defaulted, 1 read-only, 7 ignored\n"));
}

TEST_F(Retrieve, OfACutFileShowsTheFirstThreeFailuresAndHowManyMore) {
    StoreFile("unit.bin");
    WriteFile("unit.bin", ReadFile("unit.bin").substr(0, 7));
    const Ended ended = Talstore({"retrieve", "unit.bin", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 1);
    const std::string start = "talstore: QBF_E_IO (0x800A): CBinaryFileStorageProvider_ProcessObject: ";
    EXPECT_EQ(ended.err, start + "Not all bytes read, attempted to read 4 bytes, got 2\n" + start +
                             "Not all bytes read, attempted to read 16 bytes, got 0\n" + start +
                             "Not all bytes read, attempted to read 6 bytes, got 0\n"
                             "talstore: and 4 more: --trace\n");
    EXPECT_THAT(ended.out, EndsWith("binary, location 0: QBF_E_FAILED (0x8000), 2 restored, 6 defaulted\n"));
    WriteFile("unit.bin", ReadFile("unit.bin").substr(0, 5));
    EXPECT_THAT(Talstore({"retrieve", "unit.bin", "--layout", "layout.json", "--trace"}).err, testing::IsEmpty());
}

TEST_F(Retrieve, ShowsOnlyThePathsThatAreAskedFor) {
    StoreFile("unit.sbin");
    const Ended ended = Talstore({"retrieve", "unit.sbin", "--layout", "layout.json", "--path", "R/O/N"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out,
              "PATH        TYPE  VALUE  OUTCOME   REASON\n"
              "R/O/N/deep  S32   -4     restored\n"
              "secure, location 0: QBF_OK, 1 restored\n");
    EXPECT_EQ(Talstore({"retrieve", "unit.sbin", "--layout", "layout.json", "--path", "nix"}).status, 1);
}

TEST_F(Retrieve, SpeaksOfTheUsersFileWhereTheProvidersNameIsFixed) {
    WriteFile("unit.sbin", "no record at all, but long enough for one");
    const Ended ended =
        Talstore({"retrieve", "unit.sbin", "--layout", "layout.json", "--location", "1", "--trace", "--json"});
    EXPECT_THAT(ended.out, HasSubstr("unit.sbin (for storage location 1)"));
    EXPECT_THAT(ended.out, testing::Not(HasSubstr("storage_calibration_database")));
}

TEST_F(Retrieve, WorksAtEveryLocationOfTheReadOnlyProvider) {
    StoreFile("unit.xml");
    for (const char* const location : {"0", "3", "4", "5", "6", "7", "8", "9", "10", "11"}) {
        const Ended ended = Talstore(
            {"retrieve", "unit.xml", "--layout", "layout.json", "--location", location, "--provider", "xml-read-only"});
        EXPECT_EQ(ended.status, 0) << location << ended.err;
    }
}

TEST_F(Retrieve, ThroughTheDummyProviderLeavesEverything) {
    const Ended ended = Talstore({"retrieve", "--layout", "layout.json", "--provider", "dummy"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.out, HasSubstr("dummy, location 0: QBF_OK, 8 left\n"));
    EXPECT_THAT(ended.out, HasSubstr("the provider leaves it as it is"));
}

TEST_F(Retrieve, ThroughTheBoardProviderDefaultsWhatTheBoardDoesNotSet) {
    const Ended ended = Talstore({"retrieve", "--layout", "layout.json", "--provider", "board"});
    EXPECT_THAT(ended.out, HasSubstr("the provider does not set it"));
    EXPECT_THAT(ended.out, EndsWith("board, location 0: QBF_OK, 8 defaulted\n"));
}

TEST_F(Retrieve, ReadsTheFileAsTheProviderThatIsAskedFor) {
    StoreFile("unit.xml");
    const Ended ended = Talstore({"retrieve", "unit.xml", "--layout", "layout.json", "--provider", "secure"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.err, HasSubstr("Start marker missing"));
}

TEST_F(Retrieve, PrintsJson) {
    WriteFile("unit.sbin", Record("R/O/u8", "\x09"));
    const Json json = Talstore({"retrieve", "unit.sbin", "--layout", "layout.json", "--json"}).Json();
    EXPECT_EQ(json["counts"]["defaulted"], 6);
    EXPECT_EQ(json["variables"][0],
              Json::parse(R"({"path": "R/O/u8", "type": "U8", "value": 9, "outcome": "restored"})"));
    EXPECT_EQ(json["variables"][3], Json::parse(R"({"path": "R/O/text", "type": "STRING[16]", "value": "north",
                                                    "outcome": "defaulted", "reason": "not in the file"})"));
    EXPECT_FALSE(json.contains("trace"));
}

TEST_F(Retrieve, DoesNotDependOnWhatWasRetrievedBefore) {
    WriteFile("with-region.xml", Document("<region name = \"R\"></region>"));
    WriteFile("without-region.xml", Document("<object name = \"O\">" + Variable("u8", "U8", "9") + "</object>"));
    const Ended before = Talstore({"retrieve", "without-region.xml", "--layout", "layout.json"});
    static_cast<void>(Talstore({"retrieve", "with-region.xml", "--layout", "layout.json"}));
    EXPECT_EQ(Talstore({"retrieve", "without-region.xml", "--layout", "layout.json"}).out, before.out);
}

// ---- convert

class Convert : public StorageFiles {
protected:
    static Ended Run(const std::string& from, const std::string& to) {
        return Talstore({"convert", from, to, "--force", "--layout", "layout.json"});
    }
};

TEST_F(Convert, BetweenAnyTwoFormatsAndBackLosesNothingThatBothCanHold) {
    WriteFile("layout.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "a", "type": "U8"}, {"name": "b", "type": "U8_ARRAY", "count": 2},
        {"name": "c", "type": "U16"}, {"name": "d", "type": "U16_ARRAY", "count": 2},
        {"name": "e", "type": "U32"}, {"name": "f", "type": "U32_ARRAY", "count": 2},
        {"name": "g", "type": "S8"}, {"name": "h", "type": "S8_ARRAY", "count": 2},
        {"name": "i", "type": "S16"}, {"name": "j", "type": "S16_ARRAY", "count": 2},
        {"name": "k", "type": "S32"}, {"name": "l", "type": "S32_ARRAY", "count": 2},
        {"name": "m", "type": "BOOL"}, {"name": "n", "type": "BOOL_ARRAY", "count": 2},
        {"name": "o", "type": "CHAR"}, {"name": "p", "type": "CHAR_ARRAY", "count": 2},
        {"name": "q", "type": "STRING", "count": 16},
        {"name": "r", "type": "FLOAT"}, {"name": "s", "type": "FLOAT_ARRAY", "count": 2},
        {"name": "t", "type": "DOUBLE"}, {"name": "u", "type": "DOUBLE_ARRAY", "count": 2},
        {"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [{"name": "w", "type": "U8"}]}}]},
      {"name": "P", "variables": [{"name": "A", "type": "OBJECT_ARRAY", "objects": [
        {"name": "E0", "variables": [{"name": "v", "type": "U8"}]},
        {"name": "E1", "variables": [{"name": "v", "type": "U8"}]}]}]}]}]})");
    const std::vector<std::string> settings = {"R/O/a=255",
                                               "R/O/b=[0, 255]",
                                               "R/O/c=65535",
                                               "R/O/d=[0, 65535]",
                                               "R/O/e=0xFFFFFFFF",
                                               "R/O/f=[0, 4294967294]",
                                               "R/O/g=-128",
                                               "R/O/h=[-128, 127]",
                                               "R/O/i=-32768",
                                               "R/O/j=[-32768, 32767]",
                                               "R/O/k=-2147483648",
                                               "R/O/l=[-2147483648, 2147483647]",
                                               "R/O/m=true",
                                               "R/O/n=[true, false]",
                                               "R/O/o=255",
                                               "R/O/p=[65, 0]",
                                               "R/O/q=fifteen letters",
                                               "R/O/r=-1.5e-10",
                                               "R/O/s=[1e38, 0.25]",
                                               "R/O/t=1.234567e-200",
                                               "R/O/u=[1e300, -2.5]",
                                               "R/P/E0/v=1",
                                               "R/P/E1/v=2",
                                               "R/O/N/w=3"};
    for (const std::string from : {"from.xml", "from.sbin", "from.bin"}) {
        StoreFile(from, settings);
        for (const std::string to : {"to.xml", "to.sbin", "to.bin"}) {
            const Ended there = Run(from, to);
            EXPECT_EQ(there.status, 0) << from << ' ' << to << '\n' << there.out;
            EXPECT_EQ(Talstore({"diff", from, to, "--layout", "layout.json"}).status, 0) << from << ' ' << to;
            const std::string back = "back" + std::filesystem::path(from).extension().string();
            EXPECT_EQ(Run(to, back).status, 0) << to << ' ' << back;
            EXPECT_EQ(ReadFile(back), ReadFile(from)) << from << ' ' << to;
        }
    }
}

TEST_F(Convert, ListsReadOnlyObjectsThatTheOutputDoesNotHold) {
    StoreFile("unit.bin", {"R/Fixed/id=77"});
    for (const std::string output : {"unit.xml", "unit.sbin"}) {
        const Ended ended = Run("unit.bin", output);
        EXPECT_EQ(ended.status, 1);
        EXPECT_THAT(ended.out, HasSubstr("lost  R/Fixed/id  77: in a read-only object, which is never stored\n"));
        EXPECT_THAT(ended.out, HasSubstr("1 not carried"));
        EXPECT_TRUE(std::filesystem::exists(output));
    }
}

TEST_F(Convert, ListsDigitsThatADocumentCannotHold) {
    StoreFile("unit.sbin", {"R/O/real=1.23456789"});
    const Ended ended = Run("unit.sbin", "unit.xml");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out.substr(0, ended.out.find('\n')), "altered  R/O/real  1.23456789 becomes 1.234568");
    EXPECT_EQ(Run("unit.sbin", "unit.bin").status, 0);
}

TEST_F(Convert, ListsEmptyStringsThatADocumentCannotHold) {
    StoreFile("unit.sbin", {"R/O/text="});
    EXPECT_THAT(Run("unit.sbin", "unit.xml").out, HasSubstr("altered  R/O/text  \"\" becomes \"STRING\"\n"));
}

TEST_F(Convert, DoesNotWriteADocumentThatNoBoardCouldRead) {
    StoreFile("unit.sbin", {"R/O/text=a < b"});
    WriteFile("unit.xml", "precious");
    const Ended ended = Run("unit.sbin", "unit.xml");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("unwritable  R/O/text  \"a < b\": a document cannot hold '<' or '&'\n"));
    EXPECT_THAT(ended.out, HasSubstr("not written, since no board could read it\n"));
    EXPECT_EQ(ReadFile("unit.xml"), "precious");
}

TEST_F(Convert, ListsWhatTheSecureFormatStoresWhereNoBoardFindsIt) {
    WriteFile("layout.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [{"name": "x", "type": "U8"}]}},
        {"name": "after", "type": "U8"}]}]}]})");
    StoreFile("unit.xml");
    const Ended ended = Run("unit.xml", "unit.sbin");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("lost  R/O/after  0: the secure format stores it as R/O/N/after"));
}

TEST_F(Convert, ListsWhatTheLayoutDoesNotTake) {
    WriteFile("unit.sbin", Record("R/O/u8", "\x09") + Record("R/O/u32", "x") + Record("R/O/gone", "x"));
    const Ended ended = Run("unit.sbin", "unit.bin");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("refused  R/O/u32   1 byte in the file, 4 in the layout\n"));
    EXPECT_THAT(ended.out, HasSubstr("ignored  R/O/gone  not in the layout\n"));
    EXPECT_THAT(ended.out, HasSubstr("filled with defaults\n"));
}

TEST_F(Convert, FillsWhatTheInputLacksWithDefaults) {
    WriteFile("unit.sbin", Record("R/O/u8", "\x09"));
    const Ended ended = Run("unit.sbin", "unit.xml");
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.out, HasSubstr("0 not carried, 6 not in the input and filled with defaults\n"));
}

TEST_F(Convert, WritesNothingWhenNothingWouldArrive) {
    WriteFile("unit.svg", "<?xml version=\"1.0\"?><svg/>");
    WriteFile("unit.sbin", "precious");
    const Ended ended = Run("unit.svg", "unit.sbin");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ReadFile("unit.sbin"), "precious");
    EXPECT_THAT(ended.out, HasSubstr("not written, since nothing would arrive\n"));
    EXPECT_THAT(ended.err, HasSubstr("this is no storage document: it has no region"));
    EXPECT_THAT(ended.err, HasSubstr("nothing in it belongs to this layout"));
}

TEST_F(Convert, InPlaceReadsBeforeItWrites) {
    StoreFile("unit.xml", {"R/O/u8=9"});
    const std::string before = ReadFile("unit.xml");
    EXPECT_EQ(Run("unit.xml", "unit.xml").status, 0);
    EXPECT_EQ(ReadFile("unit.xml"), before);
}

TEST_F(Convert, ReplacesAFileOnlyByForce) {
    StoreFile("unit.sbin", {"R/O/u8=9"});
    WriteFile("other.sbin", "precious");
    const Ended ended = Talstore({"convert", "unit.sbin", "other.sbin", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, StartsWith("talstore: other.sbin: is there already, and --force replaces it\nusage: "));
    EXPECT_EQ(ReadFile("other.sbin"), "precious");
    EXPECT_EQ(Run("unit.sbin", "other.sbin").status, 0);
    EXPECT_EQ(ReadFile("other.sbin"), ReadFile("unit.sbin"));
}

TEST_F(Convert, NeedsALayoutAndAKnownOutput) {
    StoreFile("unit.xml");
    EXPECT_EQ(Talstore({"convert", "unit.xml", "unit.bin"}).status, 2);
    const Ended ended = Run("unit.xml", "unit");
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, StartsWith("talstore: unit: say with --to what kind of file this shall be\nusage: "));
    EXPECT_EQ(Talstore({"convert", "unit.xml", "unit", "--to", "binary", "--layout", "layout.json"}).status, 0);
}

TEST_F(Convert, PrintsJson) {
    StoreFile("unit.bin", {"R/O/real=1.23456789"});
    const Json json = Talstore({"convert", "unit.bin", "unit.xml", "--layout", "layout.json", "--json"}).Json();
    EXPECT_EQ(json["written"], true);
    EXPECT_EQ(json["notRead"], Json::array());
    EXPECT_EQ(json["notCarried"], Json::parse(R"([
        {"kind": "altered", "path": "R/O/real", "reason": "1.23456789 becomes 1.234568"},
        {"kind": "lost", "path": "R/Fixed/id", "reason": "9: in a read-only object, which is never stored"}])"));
}

TEST_F(Convert, SetsValuesOnTheWay) {
    StoreFile("unit.sbin", {"R/O/u32=8"});
    const Ended ended = Talstore({"convert", "unit.sbin", "unit.xml", "--layout", "layout.json", "--set", "R/O/u8=9",
                                  "--set", "R/O/text=south"});
    EXPECT_EQ(ended.status, 0) << ended.out;
    EXPECT_EQ(Talstore({"get", "unit.xml", "R/O/u8", "R/O/u32", "R/O/text"}).out, "9\n8\nsouth\n");
}

TEST_F(Convert, SaysWhatItSetsInVain) {
    StoreFile("unit.sbin");
    const Ended ended =
        Talstore({"convert", "unit.sbin", "unit.xml", "--layout", "layout.json", "--set", "R/Fixed/id=9"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, StartsWith("lost  R/Fixed/id  9: in a read-only object, which is never stored\n"));
}

TEST_F(Convert, CountsWhatItSetsAmongNoDefaults) {
    WriteFile("unit.sbin", Record("R/O/u8", "\x09"));
    EXPECT_THAT(Talstore({"convert", "unit.sbin", "unit.xml", "--layout", "layout.json", "--set", "R/O/u32=1"}).out,
                HasSubstr("5 not in the input and filled with defaults\n"));
}

// ---- board

TEST(Board, ShowsTheFourteenVariablesOfThePlayedBoard) {
    const Ended ended = Talstore({"board", "--variant", "0x05", "--channels", "2", "--rab", "12", "--json"});
    EXPECT_EQ(ended.status, 0);
    const Json variables = ended.Json()["variables"];
    EXPECT_EQ(variables.size(), 14U);
    std::map<std::string, Json> values;
    for (const Json& variable : variables) {
        values[variable["path"]] = variable["value"];
    }
    EXPECT_EQ(values["HDBCommonBoard/Capabilities.CB.Channel1/NumberOfChannels"], 2);
    EXPECT_EQ(values["HDBCommonBoard/BroadcomConfiguration/BcmMedia"], "mii");
    EXPECT_EQ(values["HDBCommonBoard/HardwareCodes/HwIdMajor"], 0x3441);
    EXPECT_EQ(values["HDBCommonBoard/HardwareCodes/HwIdMinor"], 0x3035);
    EXPECT_EQ(values["HDBCommonBoard/HardwareCodes/HwCodeRab"], 12);
    EXPECT_EQ(values["HDBCommonBoard/HardwareCodes/HwCodeAux"], 0);
}

TEST(Board, NamesItsVariant) {
    EXPECT_THAT(Talstore({"board", "--variant", "5"}).out,
                testing::StartsWith("a board of variant 0x05 (ZOR4A) with 1 channel\n"));
    EXPECT_THAT(Talstore({"board", "--variant", "0x100"}).out,
                testing::StartsWith("a board of variant 0x100 (no name)"));
}

TEST(Board, SaysWhichVariablesALayoutLacksOrHasOfAnotherType) {
    const TemporaryDirectory directory;
    WriteFile("layout.json", R"({"regions": [{"name": "HDBCommonBoard", "objects": [{"name": "HardwareCodes",
        "variables": [{"name": "HwIdMajor", "type": "U32"}, {"name": "HwIdMinor", "type": "U16"}]}]}]})");
    const Ended ended = Talstore({"board", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("HwIdMajor                    U32   13377  set\n"));
    EXPECT_THAT(ended.out, HasSubstr("U16   -      not set: the board does not set a U16\n"));
    EXPECT_THAT(ended.out, HasSubstr("not in the layout\n"));
}

TEST(Board, ShowsTheTrace) {
    EXPECT_THAT(Talstore({"board", "--variant", "0x100", "--trace"}).out,
                HasSubstr("hwVariant is out of bounds: 0x100"));
}

}  // namespace

}  // namespace tal::test
