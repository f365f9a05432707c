/// convert into another layout, and of folders.

#include <sys/stat.h>

#include <filesystem>

#include "Support.h"

namespace tal::test {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// The variable R/O/v of that type in a description.
std::string WithOneVariable(const std::string& variable) {
    return R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [{"name": "v", )" + variable +
           R"(}, {"name": "other", "type": "U8", "default": 3}]}]}]})";
}

class CarriedOver : public testing::Test {
protected:
    /// Stores the value as a variable of the one type, and carries it over to the other.
    /// @return what it becomes, or why it is not taken.
    static std::string Carry(const std::string& oldType, const std::string& value, const std::string& newType) {
        WriteFile("old.json", WithOneVariable(oldType));
        WriteFile("new.json", WithOneVariable(newType));
        EXPECT_EQ(Talstore({"store", "old.sbin", "--force", "--layout", "old.json", "--set", "R/O/v=" + value}).status,
                  0);
        const Ended ended =
            Talstore({"convert", "old.sbin", "new.sbin", "--force", "--from", "old.json", "--layout", "new.json"});
        if (ended.status == 1) {
            return ended.out.substr(0, ended.out.find('\n'));
        }
        EXPECT_EQ(ended.status, 0) << ended.err;
        const std::string got = Talstore({"get", "new.sbin", "R/O/v", "--layout", "new.json"}).out;
        return got.substr(0, got.size() - 1);
    }

    TemporaryDirectory directory_;
};

constexpr const char* kU8 = R"("type": "U8")";
constexpr const char* kU16 = R"("type": "U16")";
constexpr const char* kS32 = R"("type": "S32")";
constexpr const char* kFloat = R"("type": "FLOAT")";
constexpr const char* kDouble = R"("type": "DOUBLE")";
constexpr const char* kBool = R"("type": "BOOL")";
constexpr const char* kString4 = R"("type": "STRING", "count": 4)";
constexpr const char* kString8 = R"("type": "STRING", "count": 8)";
constexpr const char* kTwoU8 = R"("type": "U8_ARRAY", "count": 2)";
constexpr const char* kOneU16 = R"("type": "U16_ARRAY", "count": 1)";
constexpr const char* kTwoU16 = R"("type": "U16_ARRAY", "count": 2)";

TEST_F(CarriedOver, NumbersAreTakenWithinTheRangeOfTheirNewType) {
    EXPECT_EQ(Carry(kU8, "200", kU16), "200");
    EXPECT_EQ(Carry(kU16, "200", kU8), "200");
    EXPECT_EQ(Carry(kU16, "300", kU8), "refused  R/O/v  300 does not fit U8");
    EXPECT_EQ(Carry(kS32, "-1", kU16), "refused  R/O/v  -1 does not fit U16");
    EXPECT_EQ(Carry(kS32, "7", kDouble), "7");
    EXPECT_EQ(Carry(kDouble, "1.5", kFloat), "1.5");
    EXPECT_EQ(Carry(kDouble, "1e99", kFloat), "refused  R/O/v  1e+99 does not fit FLOAT");
    EXPECT_EQ(Carry(kDouble, "inf", kFloat), "inf");
    EXPECT_EQ(Carry(kDouble, "1.5", kU8), "refused  R/O/v  1.5 does not fit U8");
    EXPECT_EQ(Carry(kBool, "true", kU8), "refused  R/O/v  true does not fit U8");
}

TEST_F(CarriedOver, TextsAreTakenWhereTheyHaveRoom) {
    EXPECT_EQ(Carry(kString8, "abc", kString4), "abc");
    EXPECT_EQ(Carry(kString4, "abc", kString8), "abc");
    EXPECT_EQ(Carry(kString8, "abcd", kString4), "refused  R/O/v  \"abcd\" does not fit STRING[4]");
    EXPECT_EQ(Carry(kString8, "12", kU8), "12");
    EXPECT_EQ(Carry(kString8, "many", kU8), "refused  R/O/v  \"many\" does not fit U8");
    EXPECT_EQ(Carry(kU16, "300", kString4), "300");
    EXPECT_EQ(Carry(kString8, "[1, 2]", kTwoU8), "refused  R/O/v  \"[1, 2]\" does not fit U8_ARRAY[2]");
}

TEST_F(CarriedOver, ArraysAreTakenWithAsManyElements) {
    EXPECT_EQ(Carry(kTwoU8, "[1, 2]", kTwoU16), "[1, 2]");
    EXPECT_EQ(Carry(kTwoU8, "[1, 2]", kOneU16), "refused  R/O/v  [1, 2] does not fit U16_ARRAY[1]");
    EXPECT_EQ(Carry(kOneU16, "[5]", kU8), "5");
    EXPECT_EQ(Carry(kU8, "5", kOneU16), "[5]");
    EXPECT_EQ(Carry(kTwoU8, "[1, 2]", kU8), "refused  R/O/v  [1, 2] does not fit U8");
    EXPECT_EQ(Carry(kTwoU16, "[1, 300]", kTwoU8), "refused  R/O/v  [1, 300] does not fit U8_ARRAY[2]");
}

TEST_F(CarriedOver, ARefusedValueLeavesTheDefault) {
    EXPECT_THAT(Carry(kTwoU16, "[1, 300]", R"("type": "U8_ARRAY", "count": 2, "default": [8, 9])"),
                StartsWith("refused"));
    EXPECT_EQ(Talstore({"get", "new.sbin", "R/O", "--layout", "new.json"}).out, "[8, 9]\n3\n");
}

// ---- New paths

constexpr const char* kOldLayout = R"({"regions": [{"name": "R", "objects": [
  {"name": "Old", "variables": [{"name": "a", "type": "U8"}, {"name": "b", "type": "U8"}]},
  {"name": "Same", "variables": [{"name": "a", "type": "U8"}]}]}]})";
constexpr const char* kNewLayout = R"({"regions": [{"name": "R", "objects": [
  {"name": "New", "variables": [{"name": "a", "type": "U8"}, {"name": "c", "type": "U16"}]},
  {"name": "Same", "variables": [{"name": "a", "type": "U8"}]}]}]})";

class Renamed : public testing::Test {
protected:
    Renamed() {
        WriteFile("old.json", kOldLayout);
        WriteFile("new.json", kNewLayout);
        std::filesystem::create_directory("units");
    }

    static void StoreUnit(const std::string& name, const std::string& a) {
        ASSERT_EQ(Talstore({"store", name, "--layout", "old.json", "--set", "R/Old/a=" + a, "--set", "R/Old/b=2",
                            "--set", "R/Same/a=3"})
                      .status,
                  0);
    }

    static Ended Convert(std::vector<std::string> more, const std::string& renames) {
        WriteFile("renames.json", renames);
        more.insert(more.begin(), "convert");
        more.insert(more.end(), {"--from", "old.json", "--layout", "new.json", "--rename", "renames.json"});
        return Talstore(more);
    }

    static std::string All(const std::string& name) { return Talstore({"get", name, "R", "--layout", "new.json"}).out; }

    TemporaryDirectory directory_;
};

constexpr const char* kRenames = R"({"R/Old": "R/New", "R/Old/b": "R/New/c"})";

TEST_F(Renamed, VariablesAndObjectsKeepTheirValuesInEveryFormat) {
    for (const std::string ending : {".xml", ".sbin", ".bin"}) {
        StoreUnit("unit" + ending, "1");
        const Ended ended = Convert({"unit" + ending, "new" + ending}, kRenames);
        EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
        EXPECT_EQ(All("new" + ending), "1\n2\n3\n");
    }
}

TEST_F(Renamed, VariablesThatTheNewLayoutLacksAreIgnored) {
    StoreUnit("unit.sbin", "1");
    const Ended ended = Convert({"unit.sbin", "new.sbin"}, R"({"R/Old": "R/Newer"})");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out,
              "ignored  R/Old/a  the layout has no R/Newer/a\n"
              "ignored  R/Old/b  the layout has no R/Newer/b\n"
              "unit.sbin (secure): 3 restored\n"
              "new.sbin (secure): 89 bytes, 0 not carried, 2 not in the input and filled with defaults\n");
}

TEST_F(Renamed, VariablesDoNotTakeTheValueOfAnother) {
    StoreUnit("unit.sbin", "1");
    const Ended ended = Convert({"unit.sbin", "new.sbin"}, R"({"R/Old/a": "R/Same/a", "R/Old/b": "R/New/a"})");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, StartsWith("refused  R/Same/a  it has the value of another variable already\n"));
    EXPECT_EQ(All("new.sbin"), "2\n0\n1\n");
}

TEST_F(Renamed, PathsThatTheOldLayoutDoesNotHaveAreTold) {
    StoreUnit("unit.sbin", "1");
    const Ended ended = Convert({"unit.sbin", "new.sbin"}, R"({"R/Old": "R/New", "R/Old/b": "R/New/c", "R/Ol": "x"})");
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, "talstore: renames.json: R/Ol: the old layout has nothing of this path\n");
}

TEST_F(Renamed, IntoALayoutThatHasNothingOfItIsNotWritten) {
    StoreUnit("unit.sbin", "1");
    const Ended ended = Convert({"unit.sbin", "new.sbin"}, R"({"R": "S"})");
    EXPECT_EQ(ended.status, 1);
    EXPECT_FALSE(std::filesystem::exists("new.sbin"));
    EXPECT_THAT(ended.err, HasSubstr("nothing in it belongs to the new layout"));
}

TEST_F(Renamed, RefusesAMapThatIsNone) {
    StoreUnit("unit.sbin", "1");
    EXPECT_EQ(Convert({"unit.sbin", "new.sbin"}, "[]").err,
              "talstore: renames.json: has to be a JSON object of old and new paths\n");
    EXPECT_EQ(Convert({"unit.sbin", "new.sbin"}, R"({"R/Old": 1})").err,
              "talstore: renames.json: R/Old: the new path has to be a text\n");
    EXPECT_THAT(Talstore({"convert", "a", "b.xml", "--layout", "new.json", "--rename", "renames.json"}).err,
                StartsWith("talstore: --rename needs --from, which has the old paths\n"));
}

// ---- Folders

TEST_F(Renamed, FolderIsConvertedWholeIntoAnother) {
    std::filesystem::create_directories("units/deep");
    StoreUnit("units/1.sbin", "1");
    StoreUnit("units/deep/4.xml", "4");
    const Ended ended = Convert({"units", "upgraded"}, kRenames);
    EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
    EXPECT_EQ(All("upgraded/1.sbin"), "1\n2\n3\n");
    EXPECT_EQ(All("upgraded/deep/4.xml"), "4\n2\n3\n");
    EXPECT_THAT(ReadFile("upgraded/deep/4.xml"), StartsWith("<?xml"));
}

TEST_F(Renamed, FolderIsConvertedIntoOneFormat) {
    StoreUnit("units/1.sbin", "1");
    StoreUnit("units/4.xml", "4");
    EXPECT_EQ(Convert({"units", "upgraded", "--to", "binary"}, kRenames).status, 0);
    EXPECT_EQ(All("upgraded/1.bin"), "1\n2\n3\n");
    EXPECT_EQ(All("upgraded/4.bin"), "4\n2\n3\n");
}

TEST_F(Renamed, FolderIsNeverWrittenOver) {
    StoreUnit("units/1.sbin", "1");
    StoreUnit("units/2.sbin", "2");
    std::filesystem::create_directory("upgraded");
    WriteFile("upgraded/1.sbin", "precious");
    const Ended ended = Convert({"units", "upgraded"}, kRenames);
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err, "talstore: upgraded/1.sbin: is there already, and units/1.sbin is not converted\n");
    EXPECT_EQ(ReadFile("upgraded/1.sbin"), "precious");
    EXPECT_EQ(All("upgraded/2.sbin"), "2\n2\n3\n");
}

TEST_F(Renamed, FolderIsReplacedFileByFile) {
    StoreUnit("units/1.sbin", "1");
    WriteFile("units/readme.txt", "no storage file");
    WriteFile("units/empty.xml", "<svg/>");
    const Ended ended = Convert({"units", "--in-place", "--format", "secure"}, kRenames);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(All("units/1.sbin"), "1\n2\n3\n");
    EXPECT_EQ(ReadFile("units/readme.txt"), "no storage file");
    EXPECT_EQ(ReadFile("units/empty.xml"), "<svg/>");
}

TEST_F(Renamed, FolderIsWrittenOverByForce) {
    StoreUnit("units/1.sbin", "1");
    StoreUnit("units/2.sbin", "2");
    std::filesystem::create_directory("upgraded");
    WriteFile("upgraded/1.sbin", "stale");
    WriteFile("outside.sbin", "precious");
    std::filesystem::create_symlink("../outside.sbin", "upgraded/2.sbin");
    const Ended ended = Convert({"units", "upgraded", "--force"}, kRenames);
    EXPECT_EQ(ended.err, "talstore: upgraded/2.sbin: is there already, and units/2.sbin is not converted\n");
    EXPECT_EQ(All("upgraded/1.sbin"), "1\n2\n3\n");
    EXPECT_EQ(ReadFile("outside.sbin"), "precious");
}

TEST_F(Renamed, FileIsReplacedInPlace) {
    StoreUnit("unit.xml", "1");
    EXPECT_EQ(Convert({"unit.xml", "--in-place"}, kRenames).status, 0);
    EXPECT_EQ(All("unit.xml"), "1\n2\n3\n");
}

TEST_F(Renamed, FolderAnswersInOneLinePerFile) {
    StoreUnit("units/1.sbin", "1");
    StoreUnit("units/2.sbin", "2");
    const Ended ended = Convert({"units", "upgraded", "--json"}, kRenames);
    std::istringstream lines(ended.out);
    std::vector<std::string> outputs;
    for (std::string line; std::getline(lines, line);) {
        outputs.push_back(nlohmann::json::parse(line)["output"]["file"]);
    }
    EXPECT_THAT(outputs, testing::ElementsAre("upgraded/1.sbin", "upgraded/2.sbin"));
}

TEST_F(Renamed, FolderNeedsFilesAndAPlaceToGo) {
    EXPECT_EQ(Convert({"units", "upgraded"}, kRenames).err, "talstore: there is no file to convert\n");
    EXPECT_THAT(Convert({"units"}, kRenames).err, StartsWith("talstore: the file or the folder to write is missing\n"));
    EXPECT_THAT(Convert({"--files-from", "list"}, kRenames).err,
                StartsWith("talstore: the folder to write is missing\n"));
    EXPECT_THAT(Convert({"--in-place"}, kRenames).err, StartsWith("talstore: a file to convert is missing\n"));
}

// ---- Damaged files

class DamagedConversion : public Renamed {
protected:
    /// The last record is cut: what it held is not in the file any more.
    static void Cut(const std::string& name) {
        StoreUnit(name, "7");
        const std::string whole = ReadFile(name);
        WriteFile(name, whole.substr(0, whole.size() - 2));
    }

    /// The mark of the second record is another one: a board stops there, though all that follows is whole.
    static void BreakSecondMark(const std::string& name) {
        StoreUnit(name, "7");
        std::string bytes = ReadFile(name);
        const std::size_t second = bytes.find(bytes.substr(0, 4), 4);
        ASSERT_NE(second, std::string::npos);
        bytes[second] ^= 0x01;
        WriteFile(name, bytes);
    }

    static Ended Run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "convert");
        arguments.insert(arguments.end(), {"--layout", "old.json"});
        return Talstore(arguments);
    }
};

TEST_F(DamagedConversion, TellsTheDamageAndWhatIsMissingOfACutFile) {
    Cut("cut.sbin");
    const Ended ended = Run({"cut.sbin", "new.xml"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out,
              "defaulted  R/Same/a  not in the file\n"
              "cut.sbin (secure): 2 restored, 1 defaulted\n"
              "cut.sbin: damaged: the file ends inside the record's path: 8 of 9 bytes; 'talstore recover' shows what "
              "it holds\n"
              "new.xml (xml): 358 bytes, 0 not carried, 0 not in the input and filled with defaults\n");
    EXPECT_TRUE(std::filesystem::exists("new.xml"));
}

TEST_F(DamagedConversion, TellsTheDamageOfABadMark) {
    BreakSecondMark("bad.sbin");
    const Ended ended = Run({"bad.sbin", "new.xml"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out,
              "left  R/Old/b   the board gives up before it sets the defaults\n"
              "left  R/Same/a  the board gives up before it sets the defaults\n"
              "bad.sbin (secure): 1 restored, 2 left\n"
              "bad.sbin: damaged: Start marker missing, binary file bad.sbin seems to be corrupt - FATAL, aborting "
              "retrieval; 'talstore recover' shows what it holds\n"
              "new.xml (xml): 358 bytes, 0 not carried, 0 not in the input and filled with defaults\n");
}

TEST_F(DamagedConversion, TellsTheDamageInJson) {
    Cut("cut.sbin");
    const nlohmann::json json = Run({"cut.sbin", "new.xml", "--json"}).Json();
    EXPECT_EQ(json["damage"], "the file ends inside the record's path: 8 of 9 bytes");
    EXPECT_EQ(json["written"], true);
    EXPECT_EQ(json["filled"], 0);
    EXPECT_EQ(json["notRead"], nlohmann::json::parse(R"([
        {"kind": "defaulted", "path": "R/Same/a", "reason": "not in the file"}])"));
    StoreUnit("whole.sbin", "7");
    EXPECT_EQ(Run({"whole.sbin", "whole.xml", "--json"}).Json()["damage"], "");
}

TEST_F(DamagedConversion, NamesWhatIsMissingByItsOldPathAndDoesNotCountItAgain) {
    StoreUnit("cut.sbin", "7");
    WriteFile("cut.sbin", ReadFile("cut.sbin").substr(0, 40));
    const Ended ended = Convert({"cut.sbin", "new.sbin"}, kRenames);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out,
              "defaulted  R/Old/b   not in the file\n"
              "defaulted  R/Same/a  not in the file\n"
              "cut.sbin (secure): 1 restored, 2 defaulted\n"
              "cut.sbin: damaged: the file ends inside a record header: 11 of 20 bytes; 'talstore recover' shows what "
              "it holds\n"
              "new.sbin (secure): 89 bytes, 0 not carried, 0 not in the input and filled with defaults\n");
}

TEST_F(DamagedConversion, DoesNotReplaceADamagedFileInPlace) {
    Cut("cut.sbin");
    BreakSecondMark("bad.sbin");
    for (const std::string name : {"cut.sbin", "bad.sbin"}) {
        const std::string before = ReadFile(name);
        const Ended ended = Run({name, "--in-place"});
        EXPECT_EQ(ended.status, 1) << name;
        EXPECT_THAT(ended.out, HasSubstr("; 'talstore recover' shows what it holds\n"));
        EXPECT_THAT(ended.out, testing::EndsWith("not written, since the damaged input would be lost\n"));
        EXPECT_EQ(ReadFile(name), before);
    }
}

TEST_F(DamagedConversion, DoesNotReplaceADamagedFileByItsOwnName) {
    Cut("cut.sbin");
    const std::string before = ReadFile("cut.sbin");
    EXPECT_EQ(Run({"cut.sbin", "./cut.sbin", "--force"}).status, 1);
    EXPECT_EQ(ReadFile("cut.sbin"), before);
}

TEST_F(DamagedConversion, DoesNotReplaceDamagedFilesOfAFolder) {
    Cut("units/cut.sbin");
    BreakSecondMark("units/bad.sbin");
    StoreUnit("units/whole.sbin", "7");
    const std::string cut = ReadFile("units/cut.sbin");
    const std::string bad = ReadFile("units/bad.sbin");
    const Ended ended = Convert({"units", "--in-place"}, kRenames);
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, testing::EndsWith("3 files: 1 written, 2 not written, 0 cannot be converted\n"));
    EXPECT_EQ(ReadFile("units/cut.sbin"), cut);
    EXPECT_EQ(ReadFile("units/bad.sbin"), bad);
    EXPECT_EQ(All("units/whole.sbin"), "7\n2\n3\n");
}

TEST_F(DamagedConversion, WritesWhatIsLeftOfAFolderIntoAnother) {
    Cut("units/cut.sbin");
    const Ended ended = Convert({"units", "upgraded"}, kRenames);
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("units/cut.sbin: damaged: "));
    EXPECT_EQ(All("upgraded/cut.sbin"), "7\n2\n0\n");
}

// ---- Many files

TEST_F(Renamed, FilesOfAllKindsGoIntoOneFolderAndAreCounted) {
    StoreUnit("units/1.sbin", "1");
    StoreUnit("2.xml", "2");
    StoreUnit("3.sbin", "3");
    ASSERT_EQ(std::system("mkdir more && mv 3.sbin more && tar czf three.tgz more && rm -r more"), 0);
    WriteFile("notes.txt", "hello");
    const Ended ended = Convert({"units", "2.xml", "three.tgz", "notes.txt", "upgraded"}, kRenames);
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.out,
              "2.xml (xml): 3 restored\n"
              "upgraded/2.xml (xml): 359 bytes, 0 not carried, 0 not in the input and filled with defaults\n"
              "three.tgz:more/3.sbin (secure): 3 restored\n"
              "upgraded/more/3.sbin (secure): 89 bytes, 0 not carried, 0 not in the input and filled with defaults\n"
              "units/1.sbin (secure): 3 restored\n"
              "upgraded/1.sbin (secure): 89 bytes, 0 not carried, 0 not in the input and filled with defaults\n"
              "4 files: 3 written, 0 not written, 1 cannot be converted\n");
    EXPECT_EQ(ended.err,
              "talstore: notes.txt: neither an XML document nor a secure binary file; --format says what a raw or a "
              "damaged file is\n");
    EXPECT_EQ(All("upgraded/more/3.sbin"), "3\n2\n3\n");
}

TEST_F(Renamed, FileGoesIntoAFolderThatIsThere) {
    StoreUnit("unit.xml", "1");
    EXPECT_EQ(Convert({"unit.xml", "units", "--to", "secure"}, kRenames).status, 0);
    EXPECT_EQ(All("units/unit.sbin"), "1\n2\n3\n");
}

TEST_F(Renamed, FilesOfAListKeepTheirNamesInTheFolder) {
    StoreUnit("units/1.sbin", "1");
    StoreUnit("2.sbin", "2");
    WriteFile("list", std::string("units/1.sbin") + '\0' + "2.sbin");
    EXPECT_EQ(Convert({"--files-from", "list", "-0", "upgraded"}, kRenames).status, 0);
    EXPECT_EQ(All("upgraded/units/1.sbin"), "1\n2\n3\n");
    EXPECT_EQ(All("upgraded/2.sbin"), "2\n2\n3\n");
}

TEST_F(Renamed, FilesOfAnArchiveInAFolderGoIntoAFolderOfItsName) {
    StoreUnit("1.sbin", "1");
    ASSERT_EQ(std::system("tar cf units/a.tar 1.sbin && cp units/a.tar units/b.tar"), 0);
    EXPECT_EQ(Convert({"units", "upgraded"}, kRenames).status, 0);
    EXPECT_EQ(All("upgraded/a.tar/1.sbin"), "1\n2\n3\n");
    EXPECT_EQ(All("upgraded/b.tar/1.sbin"), "1\n2\n3\n");
}

TEST_F(Renamed, FilesNeverLeaveTheFolder) {
    std::filesystem::create_directory("deep");
    StoreUnit("up.sbin", "1");
    ASSERT_EQ(std::system("cd deep && tar cPf ../evil.tar ../up.sbin $PWD/../up.sbin"), 0);
    WriteFile("list", "units/../../up.sbin\n");
    std::filesystem::create_directory("out");
    const Ended member = Convert({"evil.tar", "out/in"}, kRenames);
    EXPECT_EQ(member.status, 2);
    EXPECT_EQ(member.err, "talstore: evil.tar:../up.sbin: its name leads out of the folder to write\n");
    EXPECT_FALSE(std::filesystem::exists("out/up.sbin"));
    EXPECT_EQ(Convert({"--files-from", "list", "out/in"}, kRenames).err,
              "talstore: units/../../up.sbin: its name leads out of the folder to write\n");
}

TEST_F(Renamed, FilesDoNotLeaveTheFolderByLinks) {
    std::filesystem::create_directories("units/sub");
    std::filesystem::create_directories("target");
    std::filesystem::create_directories("upgraded");
    std::filesystem::create_symlink("../target", "upgraded/sub");
    StoreUnit("units/sub/1.sbin", "1");
    const Ended ended = Convert({"units", "upgraded"}, kRenames);
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err,
              "talstore: upgraded/sub/1.sbin: a link leads out of the folder to write, and units/sub/1.sbin is not "
              "converted\n");
    EXPECT_TRUE(std::filesystem::is_empty("target"));
}

TEST_F(Renamed, FilesOutsideOfTheFolderAreNotReplacedByLinks) {
    StoreUnit("outside.sbin", "1");
    const std::string before = ReadFile("outside.sbin");
    std::filesystem::create_symlink("../outside.sbin", "units/link.sbin");
    const Ended ended = Convert({"units", "--in-place"}, kRenames);
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err, "talstore: units/link.sbin: a link in a folder is not followed to be changed in its place\n");
    EXPECT_EQ(ReadFile("outside.sbin"), before);
    EXPECT_EQ(Convert({"units/link.sbin", "--in-place"}, kRenames).status, 0) << "it is named";
    EXPECT_EQ(All("outside.sbin"), "1\n2\n3\n");
}

TEST_F(Renamed, FilesKeepTheNumbersAtTheEndsOfTheirNames) {
    StoreUnit("1.sbin", "1");
    StoreUnit("2.sbin", "2");
    std::filesystem::rename("1.sbin", "units/unit.0001");
    std::filesystem::rename("2.sbin", "units/unit.0002");
    EXPECT_EQ(Convert({"units", "upgraded", "--to", "xml"}, kRenames).status, 0);
    EXPECT_EQ(All("upgraded/unit.0001.xml"), "1\n2\n3\n");
    EXPECT_EQ(All("upgraded/unit.0002.xml"), "2\n2\n3\n");
}

TEST_F(Renamed, FilesThatAnEarlierRunHasWrittenAreNotConvertedAgain) {
    StoreUnit("units/1.sbin", "1");
    ASSERT_EQ(Convert({"units", "units/upgraded"}, kRenames).status, 0);
    std::filesystem::rename("units/upgraded/1.sbin", "units/upgraded/0.sbin");
    const Ended again = Convert({"units", "units/upgraded"}, kRenames);
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_THAT(again.out, testing::EndsWith("\n1 file: 1 written, 0 not written, 0 cannot be converted\n"));
    EXPECT_FALSE(std::filesystem::exists("units/upgraded/upgraded"));
}

TEST_F(Renamed, FilesGoIntoTheFolderThatTheirFolderIsIn) {
    StoreUnit("units/1.sbin", "1");
    EXPECT_EQ(Convert({"units", "."}, kRenames).status, 0);
    EXPECT_EQ(All("1.sbin"), "1\n2\n3\n");
    EXPECT_EQ(Convert({"units", "units", "--to", "xml"}, kRenames).status, 0);
    EXPECT_EQ(All("units/1.xml"), "1\n2\n3\n");
}

TEST_F(Renamed, FilesDoNotGoIntoAFolderOfTheNameOfStandardOutput) {
    StoreUnit("units/1.sbin", "1");
    const Ended ended = Convert({"units", "-"}, kRenames);
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, StartsWith("talstore: several files go into a folder, and - is standard output\n"));
    EXPECT_FALSE(std::filesystem::exists("-"));
}

TEST_F(Renamed, FileThatIsNotThereIsNamed) {
    EXPECT_EQ(Convert({"units/nothere", "upgraded"}, kRenames).err,
              "talstore: units/nothere: No such file or directory\n");
}

TEST_F(Renamed, RefusesAMapWithAnOldPathTwice) {
    StoreUnit("unit.sbin", "1");
    const Ended ended = Convert({"unit.sbin", "new.sbin"}, R"({"R/Old/a": "R/New/a", "R/Old/a": "R/Same/a"})");
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err, "talstore: renames.json: R/Old/a: stands there twice, and only one new path can be meant\n");
}

TEST_F(Renamed, FilesThatWouldGoToOnePlaceAreRefusedWithBothNames) {
    StoreUnit("units/1.sbin", "1");
    StoreUnit("units/1.xml", "2");
    const Ended ended = Convert({"units", "upgraded", "--to", "xml"}, kRenames);
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err,
              "talstore: upgraded/1.xml: this is where units/1.sbin goes, and units/1.xml is not converted\n");
    EXPECT_EQ(All("upgraded/1.xml"), "1\n2\n3\n");
}

TEST_F(Renamed, FilesAreReplacedOnceAndArchivesNever) {
    StoreUnit("units/1.sbin", "1");
    ASSERT_EQ(std::system("ln -s 1.sbin units/2.sbin && tar cf units/a.tar units/1.sbin && cp units/a.tar kept.tar"),
              0);
    const Ended ended = Convert({"units", "--in-place"}, kRenames);
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err,
              "talstore: units/2.sbin: a link in a folder is not followed to be changed in its place\n"
              "talstore: units/a.tar: an archive is not changed in its place\n");
    EXPECT_EQ(All("units/1.sbin"), "1\n2\n3\n");
    EXPECT_EQ(ReadFile("units/a.tar"), ReadFile("kept.tar"));
}

TEST_F(Renamed, FilesHaveTheChannelOfTheirNames) {
    for (const std::string name : {"old.json", "new.json"}) {
        WriteFile(name, R"({"regions": [{"name": "R", "objects": [{"name": "Channel.2.O", "variables": [
            {"name": "v", "type": "U8"}]}]}]})");
    }
    WriteFile("units/ch2.sbin", Record("R/Channel.X.O/v", "\x07"));
    WriteFile("units/ch3.sbin", Record("R/Channel.X.O/v", "\x07"));
    const Ended ended = Convert({"units", "upgraded", "--to", "binary", "--channel-from", "ch([0-9]+)"}, "{}");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ReadFile("upgraded/ch2.bin"), "\x07");
    EXPECT_FALSE(std::filesystem::exists("upgraded/ch3.bin")) << "nothing would arrive";
}

TEST_F(Renamed, FilesGiveTheSameAnswerForAnyNumberOfProcesses) {
    for (int i = 0; i < 20; ++i) {
        StoreUnit("units/" + std::to_string(i) + ".sbin", std::to_string(i));
    }
    const Ended single = Convert({"units", "a", "--jobs", "1"}, kRenames);
    const Ended several = Convert({"units", "b", "--jobs", "5"}, kRenames);
    EXPECT_EQ(single.status, 0);
    std::string renamed = several.out;
    for (std::size_t place = 0; (place = renamed.find("\nb/", place)) != std::string::npos;) {
        renamed.replace(place, 3, "\na/");
    }
    EXPECT_EQ(renamed, single.out);
    EXPECT_EQ(std::system("diff -r a b"), 0);
}

TEST_F(Renamed, FilesThatAreDoneWhenItIsInterruptedAreWrittenAndTold) {
    StoreUnit("units/1.sbin", "1");
    WriteFile("list", "units/1.sbin\nunits/pipe\n");
    WriteFile("renames.json", kRenames);
    EXPECT_EQ(InterruptAt("units/pipe",
                          "convert --files-from list out --jobs 1 --from old.json --layout new.json --rename "
                          "renames.json"),
              130);
    EXPECT_THAT(ReadFile("answer"), testing::EndsWith("\nincomplete: 1 file: 1 written, 0 not written, 0 cannot be "
                                                      "converted\n"));
    EXPECT_EQ(All("out/units/1.sbin"), "1\n2\n3\n");
    EXPECT_TRUE(std::filesystem::is_empty("temporary"));
}

TEST_F(Renamed, FilesThatHaveComeInBetweenAreKept) {
    StoreUnit("units/1.sbin", "1");
    ASSERT_EQ(mkfifo("units/pipe", 0600), 0);
    WriteFile("list", "units/pipe\n");
    WriteFile("renames.json", kRenames);
    // The pipe opens when the process that converts has come to it: the place has been found free before.
    WriteFile("script",
              "\"$@\" > answer 2> messages &\n"
              "exec 3> units/pipe\n"
              "mkdir -p out/units\n"
              "printf precious > out/units/pipe\n"
              "cat units/1.sbin >&3\n"
              "exec 3>&-\n"
              "wait $!\n");
    const int ended = std::system("bash script " TALSTORE_COMMAND
                                  " convert --files-from list out --jobs 1 --from old.json --layout new.json "
                                  "--rename renames.json");
    EXPECT_EQ(WEXITSTATUS(ended), 2);
    EXPECT_EQ(ReadFile("messages"), "talstore: out/units/pipe: is there already\n");
    EXPECT_EQ(ReadFile("out/units/pipe"), "precious");
}

}  // namespace

}  // namespace tal::test
