/// What many files have in common, counted as single checks of them count it.

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <utility>

#include "Support.h"
#include "board/ProviderSession.h"
#include "commands/CommandLine.h"
#include "commands/ProgressBar.h"

namespace tal::test {

namespace {

namespace fs = std::filesystem;

std::vector<nlohmann::json> RecordsIn(const std::string& lines) {
    std::vector<nlohmann::json> records;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        records.push_back(nlohmann::json::parse(line));
    }
    return records;
}

class SurveyFiles : public StorageFiles {
protected:
    /// Units of a board whose u32 was a U16, which had no real, and a name for its text that is gone.
    SurveyFiles() {
        fs::create_directories("units/more");
        WriteFile("units/a.sbin", Record("R/O/u8", "\x01") + Record("R/O/u32", "\x01\x02"));
        WriteFile("units/b.sbin", Record("R/O/u8", "\x01") + Record("R/O/u32", "\x01\x02") + Record("R/O/label", "x"));
        WriteFile("units/more/c.xml", Document("<region name = \"R\"><object name = \"O\">" +
                                               Variable("u8", "U8", "300") + "</object></region>"));
        StoreFile("units/more/d.sbin");
    }

    static Ended Survey(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "survey");
        arguments.insert(arguments.end(), {"--layout", "layout.json"});
        return Talstore(arguments);
    }
};

TEST_F(SurveyFiles, AreCountedPerVariableAndKindOfLoss) {
    const Ended ended = Survey({"units"});
    EXPECT_EQ(
        ended.out,
        "4 files for a board with layout.json: 1 unit loses nothing, 3 units lose something, 0 files cannot be "
        "read\n"
        "\n"
        "LOSS       PATH        UNITS  SHARE   REASON                                EXAMPLES\n"
        "defaulted  R/O/N/deep  3      75.0 %  not in the file                       units/a.sbin, units/b.sbin, "
        "units/more/c.xml\n"
        "defaulted  R/O/flag    3      75.0 %  not in the file                       units/a.sbin, units/b.sbin, "
        "units/more/c.xml\n"
        "defaulted  R/O/list    3      75.0 %  not in the file                       units/a.sbin, units/b.sbin, "
        "units/more/c.xml\n"
        "defaulted  R/O/real    3      75.0 %  not in the file                       units/a.sbin, units/b.sbin, "
        "units/more/c.xml\n"
        "defaulted  R/O/text    3      75.0 %  not in the file                       units/a.sbin, units/b.sbin, "
        "units/more/c.xml\n"
        "refused    R/O/u32     2      50.0 %  2 bytes in the file, 4 in the layout  units/a.sbin, units/b.sbin\n"
        "changed    R/O/u8      1      25.0 %  comes back as another value           units/more/c.xml (comes back "
        "as 44)\n"
        "defaulted  R/O/u32     1      25.0 %  not in the file                       units/more/c.xml\n"
        "ignored    R/O/label   1      25.0 %  not in the layout                     units/b.sbin\n");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.status, 1);
}

TEST_F(SurveyFiles, ThatLoseNothingEndWithStatus0) {
    const Ended ended = Survey({"units/more/d.sbin"});
    EXPECT_EQ(ended.out,
              "1 file for a board with layout.json: 1 unit loses nothing, 0 units lose something, 0 files cannot be "
              "read\n");
    EXPECT_EQ(ended.status, 0);
}

TEST_F(SurveyFiles, ThatCannotBeReadAreCountedByTheirReason) {
    WriteFile("units/notes.txt", "hello");
    WriteFile("units/readme", "hello");
    const Ended ended = Survey({"units", "absent.sbin"});
    EXPECT_THAT(
        ended.out,
        testing::HasSubstr("cannot be read  2 files  neither an XML document nor a secure binary file; --format says "
                           "what a raw or a damaged file is  units/notes.txt, units/readme\n"));
    EXPECT_THAT(ended.out, testing::HasSubstr("cannot be read  1 file   No such file or directory"));
    EXPECT_EQ(ended.status, 2);
}

TEST_F(SurveyFiles, ThatAReaderDoesNotFinishAreDamaged) {
    WriteFile("cut.sbin", ReadFile("units/more/d.sbin").substr(0, 130));
    WriteFile("tail.sbin", ReadFile("units/more/d.sbin") + "\xEF");
    const Ended ended = Survey({"tail.sbin", "cut.sbin"});
    EXPECT_THAT(ended.out, testing::HasSubstr("2 files for a board with layout.json: 0 units lose nothing, 2 units"));
    EXPECT_THAT(ended.out, testing::HasSubstr("damaged  2 units  not read to the end  cut.sbin ("));
    EXPECT_EQ(ended.status, 1);
}

TEST_F(SurveyFiles, ThatDoNotParseHaveTheirVariablesLeftInOneLine) {
    WriteFile("cut.xml", Document("").substr(0, 60));
    EXPECT_THAT(Survey({"cut.xml"}).out,
                testing::HasSubstr(
                    "left  8 variables  1      100.0 %  the board gives up before it sets the defaults  cut.xml\n"));
}

TEST_F(SurveyFiles, AreTakenOnceInTheOrderOfTheirNames) {
    WriteFile("list", "units/more/d.sbin\n\nunits/a.sbin\n");
    std::vector<std::string> names;
    for (const nlohmann::json& record :
         RecordsIn(Survey({"units/more", "--files-from", "list", "units/a.sbin", "--json"}).out)) {
        if (record["record"] == "file") {
            names.push_back(record["file"]);
        }
    }
    EXPECT_THAT(names, testing::ElementsAre("units/a.sbin", "units/more/c.xml", "units/more/d.sbin"));
}

TEST_F(SurveyFiles, AreNamedInAListThatNulsSeparate) {
    WriteFile("new\nline.sbin", "");
    WriteFile("list", std::string("new\nline.sbin\0units/a.sbin\0", 27));
    EXPECT_THAT(Survey({"--files-from", "list", "-0"}).out, testing::StartsWith("2 files for a board"));
    EXPECT_THAT(Survey({"--files-from", "list"}).out, testing::HasSubstr("2 files cannot be read"));
}

TEST_F(SurveyFiles, AreNamedOnStandardInput) {
    WriteFile("list", "units/a.sbin\n");
    EXPECT_THAT(TalstoreProcess("survey --files-from - --layout layout.json < list").out,
                testing::StartsWith("1 file for a board"));
}

TEST_F(SurveyFiles, AreWhatTheFormatSaysWhereTheirContentDoesNotTell) {
    StoreFile("raw.bin");
    fs::rename("raw.bin", "raw");
    EXPECT_EQ(Survey({"raw"}).status, 2);
    EXPECT_EQ(Survey({"raw", "--format", "binary"}).status, 0);
}

TEST_F(SurveyFiles, HaveTheChannelOfTheirNames) {
    WriteFile("channel.json", R"({"regions": [{"name": "R", "objects": [{"name": "Channel.2.O", "variables": [
        {"name": "v", "type": "U8"}]}]}]})");
    for (const std::string name : {"unit-ch2.sbin", "unit-ch3.sbin", "unit.sbin"}) {
        WriteFile(name, Record("R/Channel.X.O/v", "\x07"));
    }
    const auto survey = [](const std::string& name, const std::string& pattern) {
        return Talstore({"survey", name, "--layout", "channel.json", "--channel-from", pattern});
    };
    EXPECT_EQ(survey("unit-ch2.sbin", "ch([0-9]+)").status, 0);
    EXPECT_EQ(survey("unit-ch2.sbin", "[0-9]").status, 0);
    EXPECT_EQ(survey("unit-ch3.sbin", "ch([0-9]+)").status, 1);
    EXPECT_THAT(survey("unit.sbin", "ch([0-9]+)").out,
                testing::HasSubstr("--channel-from matches nothing in its name"));
    EXPECT_THAT(survey("unit-ch2.sbin", "ch").out,
                testing::HasSubstr("--channel-from gives \"ch\", which is no channel"));
    EXPECT_THAT(survey("unit.sbin", "(").err, testing::StartsWith("talstore: --channel-from \"(\": "));
}

TEST_F(SurveyFiles, AreNeededAndALayoutToo) {
    fs::create_directory("empty");
    EXPECT_THAT(Survey({}).err, testing::StartsWith("talstore: PATH or --files-from is needed\nusage: "));
    EXPECT_EQ(Survey({"empty"}).err, "talstore: there is no file to survey\n");
    EXPECT_THAT(Talstore({"survey", "units"}).err, testing::StartsWith("talstore: --layout is missing\n"));
}

TEST_F(SurveyFiles, GiveARecordEachAndOnePerLossAndASummary) {
    const std::vector<nlohmann::json> records = RecordsIn(Survey({"units/a.sbin", "absent", "--json"}).out);
    ASSERT_EQ(records.size(), 9U);
    EXPECT_EQ(records[0], nlohmann::json::parse(R"({"schema": "talstore/survey/1", "record": "file", "file": "absent",
        "problem": "No such file or directory"})"));
    EXPECT_EQ(records[1], nlohmann::json::parse(R"({"schema": "talstore/survey/1", "record": "file",
        "file": "units/a.sbin", "format": "secure", "size": 58, "channel": 0, "damage": "", "losses": 6,
        "counts": {"restored": 1, "changed": 0, "partly": 0, "refused": 1, "defaulted": 5, "read-only": 1, "left": 0}})"));
    EXPECT_EQ(records[2], nlohmann::json::parse(R"({"schema": "talstore/survey/1", "record": "loss",
        "file": "units/a.sbin", "kind": "refused", "path": "R/O/u32", "reason": "2 bytes in the file, 4 in the layout",
        "bytesInFile": 2, "bytesInLayout": 4})"));
    const nlohmann::json& summary = records.back();
    EXPECT_EQ(summary["record"], "summary");
    EXPECT_EQ(summary["complete"], true);
    EXPECT_EQ(summary["files"], 2);
    EXPECT_EQ(summary["unreadable"], 1);
    EXPECT_EQ(summary["problems"], nlohmann::json::parse(R"([{"reason": "No such file or directory", "files": 1,
        "examples": [{"file": "absent"}]}])"));
    EXPECT_EQ(summary["losses"][5], nlohmann::json::parse(R"({"kind": "refused", "path": "R/O/u32",
        "reason": "2 bytes in the file, 4 in the layout", "bytesInFile": 2, "bytesInLayout": 4, "units": 1,
        "share": 1.0, "examples": [{"file": "units/a.sbin"}]})"));
}

TEST_F(SurveyFiles, AreCountedWithoutEndAndShowThreeExamples) {
    for (const std::string name : {"e", "f", "g"}) {
        WriteFile("units/" + name + ".sbin", ReadFile("units/a.sbin"));
    }
    EXPECT_THAT(Survey({"units"}).out,
                testing::HasSubstr("refused    R/O/u32     5      71.4 %  2 bytes in the file, 4 in the layout  "
                                   "units/a.sbin, units/b.sbin, units/e.sbin, ...\n"));
}

TEST_F(SurveyFiles, WithNamesAndPathsThatAreNotUtf8GiveValidRecords) {
    WriteFile("\xFF.sbin", Record("R/\xFE", "x"));
    const std::vector<nlohmann::json> records = RecordsIn(Survey({"\xFF.sbin", "--json"}).out);
    EXPECT_EQ(records.at(0)["file"], "\uFFFD.sbin");
    EXPECT_EQ(records.at(records.size() - 2)["path"], "R/\uFFFD");
}

TEST_F(SurveyFiles, ThatHangAreUnreadableAndTheOthersAreRead) {
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    const Ended ended = Survey({"units", "pipe", "--timeout", "1", "--jobs", "1"});
    EXPECT_THAT(ended.out, testing::StartsWith("5 files for a board with layout.json: 1 unit loses nothing, 3 units"));
    EXPECT_THAT(ended.out, testing::HasSubstr("cannot be read  1 file  reading it took longer than 1 s  pipe\n"));
}

TEST_F(SurveyFiles, ThatAreDoneWhenItIsInterruptedAreTold) {
    EXPECT_EQ(InterruptAt("pipe", "survey pipe a.sbin absent --jobs 1 --layout layout.json --html page.html"), 130);
    EXPECT_THAT(ReadFile("answer"), testing::StartsWith("incomplete: 2 files for a board with layout.json: "));
    EXPECT_THAT(ReadFile("page.html"), testing::HasSubstr("<dt>Files</dt><dd>2</dd>"));
    EXPECT_THAT(ReadFile("page.html"), testing::HasSubstr("<strong>Incomplete.</strong>"));
    EXPECT_TRUE(fs::is_empty("temporary"));
}

TEST_F(SurveyFiles, OfAnArchiveThatIsReadWhenItIsInterruptedGiveAnIncompleteAnswer) {
    ASSERT_EQ(std::system("tar cf whole.tar -C units a.sbin b.sbin more/c.xml more/d.sbin"), 0);
    ASSERT_EQ(mkfifo("pipe.tar", 0600), 0);
    // Two processes want a file each, and the second one is still to come.
    WriteFile("script",
              "set -m\n"
              "\"$@\" > answer &\n"
              "exec 3> pipe.tar\n"
              "head -c 1024 whole.tar >&3\n"
              "sleep 0.3\n"
              "kill -INT $!\n"
              "tail -c +1025 whole.tar >&3\n"
              "exec 3>&-\n"
              "wait $!\n");
    const int ended = std::system("bash script " TALSTORE_COMMAND " survey pipe.tar --jobs 2 --layout layout.json");
    EXPECT_EQ(WEXITSTATUS(ended), 130);
    EXPECT_THAT(ReadFile("answer"), testing::StartsWith("incomplete: "));
}

TEST_F(SurveyFiles, LeaveNothingInTheTemporaryDirectory) {
    fs::create_directory("temporary");
    setenv("TMPDIR", fs::absolute("temporary").c_str(), 1);
    EXPECT_EQ(Survey({"units"}).status, 1);
    unsetenv("TMPDIR");
    EXPECT_TRUE(fs::is_empty("temporary"));
}

// ---- Archives

TEST_F(SurveyFiles, AreFoundInArchives) {
    const std::string expected = Survey({"units", "--csv"}).out;
    for (const std::string command :
         {"tar cf all.tar units", "tar czf all.tar.gz units", "tar czf all.tgz units",
          "python3 -c \"import shutil; shutil.make_archive('all', 'zip', '.', 'units')\""}) {
        ASSERT_EQ(std::system(command.c_str()), 0);
    }
    for (const std::string archive : {"all.tar", "all.tar.gz", "all.tgz", "all.zip"}) {
        std::string answer = Survey({archive, "--csv"}).out;
        for (std::size_t place = 0; (place = answer.find(archive + ':')) != std::string::npos;) {
            answer.erase(place, archive.size() + 1);
        }
        EXPECT_EQ(answer, expected) << archive;
    }
}

TEST_F(SurveyFiles, InAnArchiveStandInItsOrderAndSayInWhich) {
    ASSERT_EQ(std::system("tar cf n.tar units/b.sbin units/a.sbin && mv units/more/d.sbin o.sbin"), 0);
    std::vector<std::string> files;
    for (const nlohmann::json& record : RecordsIn(Survey({"o.sbin", "n.tar", "units/a.sbin", "--json"}).out)) {
        if (record["record"] == "file") {
            files.push_back(record["file"].get<std::string>() + ' ' + record.value("archive", "-"));
        }
    }
    EXPECT_THAT(files, testing::ElementsAre("n.tar:units/b.sbin n.tar", "n.tar:units/a.sbin n.tar", "o.sbin -",
                                            "units/a.sbin -"));
}

TEST_F(SurveyFiles, InADamagedArchiveAreToldUpToTheDamage) {
    ASSERT_EQ(std::system("tar cf whole.tar units/a.sbin units/b.sbin && head -c 1100 whole.tar > cut.tar"), 0);
    WriteFile("none.zip", "PK");
    const Ended ended = Survey({"cut.tar", "none.zip", "absent.tar"});
    EXPECT_THAT(ended.out, testing::StartsWith("4 files for a board with layout.json: 0 units lose nothing, 1 unit "
                                               "loses something, 3 files cannot be read\n"));
    EXPECT_THAT(ended.out, testing::HasSubstr("refused    R/O/u32     1      100.0 %  2 bytes in the file, 4 in the "
                                              "layout  cut.tar:units/a.sbin\n"));
    EXPECT_EQ(ended.status, 2);
}

TEST_F(SurveyFiles, AfterADamagedPlaceInAnArchiveAreReadAndThePlaceIsTold) {
    ASSERT_EQ(std::system("tar cf whole.tar units/more/d.sbin units/a.sbin units/b.sbin"), 0);
    std::string archive = ReadFile("whole.tar");
    archive[1024] = 'U';
    WriteFile("damaged.tar", archive);
    const Ended ended = Survey({"damaged.tar"});
    EXPECT_THAT(ended.out, testing::StartsWith("3 files for a board with layout.json: 1 unit loses nothing, 1 unit "
                                               "loses something, 1 file cannot be read\n"));
    EXPECT_THAT(ended.out, testing::HasSubstr("cannot be read  1 file  Damaged tar archive"));
    EXPECT_THAT(ended.out, testing::HasSubstr("  damaged.tar:units/b.sbin\n"));
    EXPECT_EQ(ended.status, 2);
}

TEST_F(SurveyFiles, AreMissedInAnArchiveWithoutAny) {
    ASSERT_EQ(std::system("tar cf empty.tar --files-from /dev/null"), 0);
    const Ended ended = Survey({"empty.tar", "units"});
    EXPECT_THAT(ended.out, testing::HasSubstr("cannot be read  1 file  there is no file in it  empty.tar\n"));
    EXPECT_EQ(ended.status, 2);
}

// ---- What is decided on

TEST_F(SurveyFiles, ThatLoseWhatIsAcceptedAreCountedApart) {
    WriteFile("accepted.json", R"({"accepted": [
        {"variable": "R/O/u32", "kind": "refused", "reason": "carried over"},
        {"variable": "R/O/*", "kind": "defaulted", "reason": "new"},
        {"variable": "R/gone", "kind": "ignored", "reason": "nobody has it"}]})");
    const Ended some = Survey({"units", "--accept", "accepted.json"});
    EXPECT_THAT(some.out,
                testing::StartsWith("4 files for a board with layout.json: 1 unit loses nothing, 2 units lose "
                                    "something, 1 unit loses what is accepted, 0 files cannot be read\n"));
    EXPECT_THAT(some.out, testing::HasSubstr("refused    R/O/u32     2      50.0 %  carried over  units/a.sbin, "
                                             "units/b.sbin\n"));
    EXPECT_THAT(some.out, testing::EndsWith("\naccepted, but in no unit  ignored  R/gone  nobody has it\n"));
    EXPECT_EQ(some.status, 1);
    EXPECT_EQ(Survey({"units/a.sbin", "--accept", "accepted.json"}).status, 0);

    const std::vector<nlohmann::json> records =
        RecordsIn(Survey({"units/a.sbin", "--accept", "accepted.json", "--json"}).out);
    EXPECT_EQ(records.at(1)["accepted"], "carried over");
    EXPECT_EQ(records.back()["accepted"], 1);
    EXPECT_EQ(records.back()["unmatched"], nlohmann::json::parse(R"([{"variable": "R/gone", "kind": "ignored",
        "reason": "nobody has it"}])"));
}

// ---- Values

TEST_F(SurveyFiles, TellHowOftenAUnitHadAnotherValueThanItGets) {
    WriteFile("before.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "u8", "type": "U8"}, {"name": "u32", "type": "U16", "default": 7},
        {"name": "gone", "type": "U8", "default": 3}]}]}]})");
    const auto unit = [](const std::string& name, const std::string& number, const std::string& gone) {
        WriteFile(name, Record("R/O/u8", "\x01") + Record("R/O/u32", number) + Record("R/O/gone", gone));
    };
    unit("values1.sbin", std::string("\x07\0", 2), "\x03");
    unit("values2.sbin", std::string("\x08\0", 2), "\x03");
    unit("values3.sbin", std::string("\x09\0", 2), "\x04");
    const std::vector<std::string> values = {"values1.sbin", "values2.sbin", "values3.sbin",
                                             "--from",       "before.json",  "--values"};
    const std::string answer = Survey(values).out;
    EXPECT_THAT(answer, testing::HasSubstr("LOSS       PATH        UNITS  SHARE    DIFFERING  REASON"));
    EXPECT_THAT(answer, testing::HasSubstr("refused    R/O/u32     3      100.0 %  2          2 bytes in the file"));
    EXPECT_THAT(answer, testing::HasSubstr("ignored    R/O/gone    3      100.0 %  1          not in the layout"));
    EXPECT_THAT(answer, testing::HasSubstr("defaulted  R/O/text    3      100.0 %  0          not in the file"));

    std::vector<std::string> asJson = values;
    asJson.emplace_back("--json");
    std::string differences;
    for (const nlohmann::json& record : RecordsIn(Survey(asJson).out)) {
        if (record["record"] == "loss" && record.contains("differs")) {
            differences += record["path"].get<std::string>() + (record["differs"] ? " differs, " : " is the same, ");
        }
    }
    EXPECT_EQ(differences,
              "R/O/u32 is the same, R/O/gone is the same, R/O/u32 differs, R/O/gone is the same, R/O/u32 differs, "
              "R/O/gone differs, ");
    EXPECT_THAT(Survey({"units", "--values"}).err, testing::StartsWith("talstore: --from and --values go together\n"));
}

// ---- Comma-separated values

TEST_F(SurveyFiles, FillTheLinesOfASpreadsheet) {
    WriteFile("a \"b\", c.sbin", Record("R/O/u32", "x") + Record("R/O/\"x\", y", "x"));
    WriteFile("cut.sbin", "\xEF");
    EXPECT_EQ(Survey({"a \"b\", c.sbin", "absent", "cut.sbin", "--csv"}).out,
              "kind,path,reason,bytesInFile,bytesInLayout,accepted,units,share,differing,example1,example2,example3\n"
              "unreadable,,No such file or directory,,,,1,,,absent,,\n"
              "damaged,,,,,,1,,,cut.sbin,,\n"
              "defaulted,R/O/N/deep,not in the file,,,,2,1,0,\"a \"\"b\"\", c.sbin\",cut.sbin,\n"
              "defaulted,R/O/flag,not in the file,,,,2,1,0,\"a \"\"b\"\", c.sbin\",cut.sbin,\n"
              "defaulted,R/O/list,not in the file,,,,2,1,0,\"a \"\"b\"\", c.sbin\",cut.sbin,\n"
              "defaulted,R/O/real,not in the file,,,,2,1,0,\"a \"\"b\"\", c.sbin\",cut.sbin,\n"
              "defaulted,R/O/text,not in the file,,,,2,1,0,\"a \"\"b\"\", c.sbin\",cut.sbin,\n"
              "defaulted,R/O/u8,not in the file,,,,2,1,0,\"a \"\"b\"\", c.sbin\",cut.sbin,\n"
              "defaulted,R/O/u32,not in the file,,,,1,0.5,0,cut.sbin,,\n"
              "ignored,\"R/O/\"\"x\"\", y\",not in the layout,,,,1,0.5,0,\"a \"\"b\"\", c.sbin\",,\n"
              "refused,R/O/u32,\"1 byte in the file, 4 in the layout\",1,4,,1,0.5,0,\"a \"\"b\"\", c.sbin\",,\n");
}

// ---- A database

/// @return a line per row, as Python prints it.
std::string Ask(const std::string& database, const std::string& query) {
    WriteFile("ask.py",
              "import sqlite3, sys\nfor row in sqlite3.connect(sys.argv[1]).execute(sys.argv[2]): print(row)\n");
    EXPECT_EQ(std::system(("python3 ask.py '" + database + "' \"" + query + "\" > rows").c_str()), 0);
    return ReadFile("rows");
}

TEST_F(SurveyFiles, FillADatabase) {
    WriteFile("accepted.json",
              R"({"accepted": [{"variable": "R/O/u32", "kind": "refused", "reason": "carried over"}]})");
    ASSERT_EQ(std::system("tar cf b.tar units/b.sbin"), 0);
    ASSERT_EQ(Survey({"units", "--sqlite", "answer.db"}).status, 1);
    const Ended ended = Survey({"units/a.sbin", "b.tar", "absent", "--accept", "accepted.json", "--from", "layout.json",
                                "--values", "--sqlite", "answer.db"});
    EXPECT_EQ(ended.status, 2) << ended.err;
    EXPECT_EQ(Ask("answer.db", "SELECT * FROM files"),
              "(1, 'absent', None, 'No such file or directory', None, None, None, None)\n"
              "(2, 'b.tar:units/b.sbin', 'b.tar', None, 'secure', 89, 0, None)\n"
              "(3, 'units/a.sbin', None, None, 'secure', 58, 0, None)\n");
    EXPECT_EQ(
        Ask("answer.db",
            "SELECT name, path, kind, reason, bytesInFile, bytesInLayout, differs, accepted FROM outcomes JOIN "
            "files ON files.id = file JOIN variables ON variables.id = variable WHERE kind != 'defaulted'"),
        "('b.tar:units/b.sbin', 'R/O/u32', 'refused', '2 bytes in the file, 4 in the layout', 2, 4, 0, 'carried "
        "over')\n"
        "('b.tar:units/b.sbin', 'R/O/label', 'ignored', 'not in the layout', None, None, None, None)\n"
        "('units/a.sbin', 'R/O/u32', 'refused', '2 bytes in the file, 4 in the layout', 2, 4, 0, 'carried over')\n");
    EXPECT_EQ(Ask("answer.db", "SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL"),
              "('filesByName',)\n('outcomesByFile',)\n('outcomesByVariable',)\n");
}

TEST_F(SurveyFiles, FillADatabaseThatIsNotThereUnlessTheyAreSurveyed) {
    fs::create_directory("databases");
    EXPECT_EQ(Survey({"units", "--sqlite", "databases/gone/answer.db"}).err,
              "talstore: databases/gone/answer.db: No such file or directory\n");
    EXPECT_EQ(Survey({"--sqlite", "databases/answer.db"}).status, 2);
    EXPECT_EQ(Survey({"units", "--sqlite", "databases"}).err, "talstore: databases: Is a directory\n");
    EXPECT_TRUE(fs::is_empty("databases"));
    const auto leftBeside = std::count_if(fs::directory_iterator("."), {}, [](const fs::directory_entry& entry) {
        return entry.path().filename().string().rfind("databases.", 0) == 0;
    });
    EXPECT_EQ(leftBeside, 0);
}

// ---- What is written beside the answer

std::string FirstBytes(const std::string& name) {
    return ReadFile(name).substr(0, 15);
}

TEST_F(SurveyFiles, FillADatabaseThatALinkLeadsToAndItsPermissionsStay) {
    fs::create_directory("databases");
    WriteFile("databases/answer.db", "");
    fs::permissions("databases/answer.db", fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("databases/answer.db", "link");
    EXPECT_EQ(Survey({"units", "--sqlite", "link"}).status, 1);
    EXPECT_TRUE(fs::is_symlink("link"));
    EXPECT_EQ(FirstBytes("databases/answer.db"), "SQLite format 3");
    EXPECT_EQ(fs::status("databases/answer.db").permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(SurveyFiles, FillADatabaseThatIsSyncedBeforeItIsInPlaceAndItsDirectoryAfterwards) {
    std::vector<std::string> steps;
    onSync = [&](int descriptor) {
        struct stat status = {};
        fstat(descriptor, &status);
        steps.push_back(std::string(S_ISDIR(status.st_mode) ? "directory" : "file") +
                        (fs::exists("answer.db") ? ", in place" : ", not in place"));
        return 0;
    };
    static_cast<void>(Survey({"units", "--sqlite", "answer.db"}));
    onSync = nullptr;
    EXPECT_THAT(steps, testing::ElementsAre("file, not in place", "directory, in place"));
}

TEST_F(SurveyFiles, FillNoDatabaseWhereNoRegularFileCanBe) {
    fs::create_directory("folder");
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    fs::create_symlink("pipe", "link");
    fs::create_symlink("/dev/stdout", "output");
    const std::vector<std::pair<std::string, std::string>> refusals = {
        {"-", "-: a database is not written to standard output"},
        {"output", "output: a database is not written to standard output"},
        {"pipe", "pipe: is no regular file"},
        {"link", "link: is no regular file"},
        {"folder", "folder: Is a directory"}};
    for (const auto& [name, problem] : refusals) {
        const Ended ended = Survey({"units", "--json", "--sqlite", name, "--html", "page.html"});
        EXPECT_EQ(ended.status, 2) << name;
        EXPECT_EQ(ended.err, "talstore: " + problem + '\n');
        EXPECT_EQ(ended.out, "") << name;
        EXPECT_FALSE(fs::exists("page.html")) << name;
    }
    EXPECT_FALSE(fs::exists("-"));
    EXPECT_TRUE(fs::is_fifo("pipe"));
    EXPECT_TRUE(fs::is_symlink("link"));
}

TEST_F(SurveyFiles, AreToldBeforeADatabaseThatCannotBeKeptEndsTheRun) {
    bool isFirst = true;
    onSync = [&](int /*descriptor*/) {
        errno = EIO;
        return std::exchange(isFirst, false) ? -1 : 0;
    };
    const Ended ended = Survey({"units", "--sqlite", "answer.db", "--html", "page.html"});
    onSync = nullptr;
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err, "talstore: answer.db: Input/output error\n");
    EXPECT_THAT(ended.out, testing::StartsWith("4 files for a board with layout.json: "));
    EXPECT_FALSE(fs::exists("answer.db"));
    EXPECT_THAT(ReadFile("page.html"), testing::EndsWith("</html>\n"));
}

TEST_F(SurveyFiles, AreToldThoughNeitherPageNorDatabaseCanBeKept) {
    onSync = [](int /*descriptor*/) {
        errno = EIO;
        return -1;
    };
    const Ended ended = Survey({"units", "--sqlite", "answer.db", "--html", "page.html"});
    onSync = nullptr;
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err,
              "talstore: answer.db: Input/output error\n"
              "talstore: page.html: Input/output error\n");
    EXPECT_THAT(ended.out, testing::StartsWith("4 files for a board with layout.json: "));
}

TEST_F(SurveyFiles, AreToldThoughTheDatabaseOutgrowsWhatItMayTakeBeforeTheLastOfThem) {
    std::vector<nlohmann::json> records = RecordsIn(Survey({"units", "--json"}).out);
    ASSERT_EQ(records.at(1)["record"], "loss");
    records[1]["reason"] = std::string(std::size_t{4} << 20U, 'x');
    std::string answer;
    for (const nlohmann::json& record : records) {
        answer += record.dump() + '\n';
    }
    WriteFile("answer.jsonl", answer);
    WriteFile("script",
              "ulimit -f 64\n"
              "trap '' XFSZ\n"
              "\"$@\" 2> problem | grep -c xxx > lines\n"
              "exit ${PIPESTATUS[0]}\n");
    const int ended =
        std::system("bash script " TALSTORE_COMMAND " survey --merge answer.jsonl --csv --sqlite answer.db");
    EXPECT_EQ(WEXITSTATUS(ended), 2);
    EXPECT_EQ(ReadFile("lines"), "1\n");
    EXPECT_THAT(ReadFile("problem"), testing::StartsWith("talstore: answer.db: "));
    EXPECT_FALSE(fs::exists("answer.db"));
}

TEST_F(SurveyFiles, AreNotWhatTheSurveyWrites) {
    const std::string expected = Survey({"units"}).out;
    const std::vector<std::string> arguments = {"units", "--html", "units/report.html", "--sqlite", "units/answer.db"};
    EXPECT_EQ(Survey(arguments).out, expected);
    EXPECT_EQ(Survey(arguments).out, expected) << "with the page and the database of a survey before";
}

TEST_F(SurveyFiles, AreNotWhatTheSurveyWritesByAnotherName) {
    const std::string expected = Survey({"units"}).out;
    fs::create_symlink("units/report.html", "link");
    EXPECT_EQ(Survey({"units", "--html", "link"}).out, expected);
    EXPECT_EQ(Survey({"units", "--html", "link"}).out, expected);
}

TEST_F(SurveyFiles, AreNotTheAnswerNorTheMessagesOfTheSurvey) {
    ASSERT_EQ(WEXITSTATUS(
                  std::system(TALSTORE_COMMAND " survey units --layout layout.json > units/answer 2> units/messages")),
              1);
    EXPECT_THAT(ReadFile("units/answer"), testing::StartsWith("4 files for a board with layout.json: "));
}

TEST_F(SurveyFiles, AreNotReplacedWhenTheNameOfAnOutputIsForgotten) {
    const std::string before = ReadFile("units/a.sbin");
    const std::vector<std::pair<std::string, std::string>> refusals = {
        {"--html", "units/a.sbin: is not replaced, for it is no HTML page"},
        {"--sqlite", "units/a.sbin: is not replaced, for it is no SQLite database"}};
    for (const auto& [option, problem] : refusals) {
        const Ended ended = Survey({option, "units/a.sbin", "units/b.sbin"});
        EXPECT_EQ(ended.status, 2) << option;
        EXPECT_EQ(ended.err, "talstore: " + problem + '\n');
        EXPECT_EQ(ended.out, "") << option;
        EXPECT_EQ(ReadFile("units/a.sbin"), before) << option;
    }
}

TEST_F(SurveyFiles, ReplaceAnOutputOfItsOwnKindAlone) {
    ASSERT_EQ(Survey({"units", "--html", "page", "--sqlite", "database"}).status, 1);
    EXPECT_EQ(Survey({"units", "--html", "database"}).err,
              "talstore: database: is not replaced, for it is no HTML page\n");
    EXPECT_EQ(Survey({"units", "--sqlite", "page"}).err,
              "talstore: page: is not replaced, for it is no SQLite database\n");
    EXPECT_EQ(Survey({"units", "--html", "page", "--sqlite", "database"}).status, 1);
}

TEST_F(SurveyFiles, AreNotWrittenTwiceIntoOneFile) {
    fs::create_symlink("x", "link");
    for (const std::string same : {"x", "./x", "units/../x", "link"}) {
        const Ended ended = Survey({"units", "--html", "x", "--sqlite", same});
        EXPECT_EQ(ended.status, 2) << same;
        EXPECT_EQ(ended.err, "talstore: " + same + ": is named for another output, too\n");
        EXPECT_FALSE(fs::exists("x")) << same;
    }
}

TEST_F(SurveyFiles, DoNotReplaceWhatTheSurveyReads) {
    fs::copy_file("layout.json", "old.json");
    WriteFile("accepted.json", R"({"accepted": []})");
    for (const std::string read : {"layout.json", "./old.json", "accepted.json"}) {
        const std::string before = ReadFile(read);
        const Ended ended =
            Survey({"units", "--from", "old.json", "--values", "--accept", "accepted.json", "--html", read});
        EXPECT_EQ(ended.err, "talstore: " + read + ": is not replaced, for it is read, too\n");
        EXPECT_EQ(ReadFile(read), before);
    }
}

TEST_F(SurveyFiles, OfAListDoNotReplaceIt) {
    WriteFile("list", "");
    EXPECT_EQ(Survey({"units", "--files-from", "list", "--html", "list"}).err,
              "talstore: list: is not replaced, for it is read, too\n");
}

// ---- Answers to merge

TEST_F(SurveyFiles, GiveAPartialAnswerWithStatus0WhateverIsLost) {
    const Ended partial = Survey({"units", "absent", "--partial"});
    EXPECT_EQ(partial.status, 0);
    EXPECT_EQ(partial.out, Survey({"units", "absent", "--json"}).out);
}

TEST_F(SurveyFiles, OfAnswersAreNotMergedThatDoNotBelongTogether) {
    std::string other = kLayout;
    other.replace(other.find("\"default\": 5"), 12, "\"default\": 6");
    WriteFile("other.json", other);
    WriteFile("a", Survey({"units/a.sbin", "--partial"}).out);
    WriteFile("b", Talstore({"survey", "units/b.sbin", "--layout", "other.json", "--partial"}).out);
    WriteFile("again", Survey({"units/b.sbin", "units/a.sbin", "--partial"}).out);
    WriteFile("cut", ReadFile("a").substr(0, 1000));
    EXPECT_EQ(Talstore({"survey", "--merge", "a", "b"}).err, "talstore: b: is about another layout than a\n");
    EXPECT_EQ(Talstore({"survey", "--merge", "again", "a"}).err, "talstore: units/a.sbin: is in again and in a\n");
    EXPECT_EQ(Talstore({"survey", "--merge", "a", "cut"}).err,
              "talstore: cut: line 7: this is no whole answer of a survey with --partial or --json\n");
    EXPECT_THAT(Talstore({"survey", "--merge", "a", "layout.json"}).err,
                testing::MatchesRegex("talstore: layout.json: line [0-9]+: this is no whole answer of a survey .*\n"));
    WriteFile("joined", ReadFile("a") + ReadFile("a"));
    EXPECT_THAT(Talstore({"survey", "--merge", "joined"}).err,
                testing::StartsWith("talstore: joined: line 8: this is no"));
    EXPECT_EQ(Talstore({"survey", "--merge", "absent"}).err, "talstore: absent: No such file or directory\n");
    EXPECT_THAT(Talstore({"survey", "--merge"}).err,
                testing::StartsWith("talstore: the answers to merge are needed\n"));
    EXPECT_THAT(Survey({"a", "--merge"}).err,
                testing::StartsWith("talstore: --merge takes answers that say what they "));
}

/// Every number in the line replaced in turn by something that a survey prints nowhere.
std::vector<std::string> WithOtherNumbers(const std::string& line) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; (begin = line.find_first_of("0123456789", begin)) != std::string::npos;) {
        const std::size_t end = line.find_first_not_of("0123456789", begin);
        if (line[begin - 1] == ':') {
            for (const std::string number : {"-1", "1.5", "1e30", "18446744073709551616", "\"1\"", "null", "[]"}) {
                lines.push_back(line.substr(0, begin) + number + line.substr(end));
            }
        }
        begin = end;
    }
    return lines;
}

TEST_F(SurveyFiles, OfAnAnswerWithAnyLineChangedAreRefusedWithItsName) {
    WriteFile("b.sbin", Record("R/O/u8", "\x01"));
    const std::string answer = Survey({"units", "b.sbin", "--partial"}).out;
    std::vector<std::string> lines;
    std::istringstream stream(answer);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line + '\n');
    }
    const auto refused = [&](std::size_t changed, const std::string& by) {
        std::string bytes;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            bytes += i == changed ? by : lines[i];
        }
        WriteFile("changed", bytes);
        const Ended ended = Talstore({"survey", "--merge", "changed"});
        EXPECT_EQ(ended.status, 2) << by;
        EXPECT_THAT(ended.err, testing::MatchesRegex("talstore: changed: line [0-9]+: .*\n")) << by;
    };
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string& line = lines[i];
        for (const std::string& by : {std::string(), line + line, std::string("\n"), std::string("{}\n"),
                                      std::string("7\n"), line.substr(0, line.size() / 2) + '\n'}) {
            refused(i, by);
        }
        if (i + 1 < lines.size()) {
            for (const std::string& by : WithOtherNumbers(line)) {
                refused(i, by);
            }
        }
    }
}

TEST_F(SurveyFiles, OfAnAnswerWithAnUnknownFormatOrKindAreRefused) {
    const std::string answer = Survey({"units/a.sbin", "--partial"}).out;
    const auto merge = [&](const std::string& from, const std::string& to) {
        std::string changed = answer;
        changed.replace(changed.find(from), from.size(), to);
        WriteFile("changed", changed);
        return Talstore({"survey", "--merge", "changed"}).err;
    };
    EXPECT_EQ(merge("\"secure\"", "\"tar\""), "talstore: changed: line 1: \"tar\" is no format\n");
    EXPECT_EQ(merge("\"kind\":\"refused\"", "\"kind\":\"lost\""),
              "talstore: changed: line 2: \"lost\" is no kind of loss\n");
    EXPECT_EQ(merge("\"record\":\"file\",", "\"record\":\"file\",\"nameBytes\":\"f\","),
              "talstore: changed: line 1: nameBytes are no bytes in hexadecimal\n");
    for (const std::string bytes : {"+1", " 1", "61-62", "61 ", "616263"}) {
        EXPECT_EQ(merge("\"record\":\"file\",", "\"record\":\"file\",\"nameBytes\":\"" + bytes + "\","),
                  "talstore: changed: line 1: nameBytes are no bytes in hexadecimal\n")
            << bytes;
    }
    EXPECT_EQ(merge("\"files\":1", "\"files\":2"),
              "talstore: changed: line 8: the answer lacks 1 file that its summary counts\n");
    EXPECT_EQ(merge("\"files\":1", "\"files\":0"),
              "talstore: changed: line 1: the answer has more files than its summary says\n");
}

TEST_F(SurveyFiles, OfAnswersThatAreNoRegularFilesAreNotMerged) {
    WriteFile("a", Survey({"units/a.sbin", "--partial"}).out);
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    fs::create_directory("folder");
    for (const std::string other : {"pipe", "folder", "-"}) {
        EXPECT_EQ(Talstore({"survey", "--merge", "a", other}).err,
                  "talstore: " + other + ": an answer to merge has to be a regular file\n");
    }
}

TEST_F(SurveyFiles, AreNotNamedInAFolder) {
    EXPECT_EQ(Survey({"--files-from", "units"}).err, "talstore: units: Is a directory\n");
}

TEST_F(SurveyFiles, OfAnAnswerInAnotherOrderAreRefused) {
    StoreFile("a.sbin");
    StoreFile("b.sbin");
    const std::string answer = Survey({"a.sbin", "b.sbin", "--partial"}).out;
    const std::size_t second = answer.find('\n') + 1;
    const std::size_t summary = answer.find('\n', second) + 1;
    WriteFile("swapped", answer.substr(second, summary - second) + answer.substr(0, second) + answer.substr(summary));
    EXPECT_EQ(Talstore({"survey", "--merge", "swapped"}).err,
              "talstore: swapped: line 2: the file comes before the one above it\n");
}

TEST_F(SurveyFiles, WithNamesThatAreNotUtf8HaveTheSameOrderWhenTheyAreMerged) {
    // U+FFFD, which stands for the bytes in answers, is after U+4E2D and before U+1F4BE; the bytes are after all of
    // them.
    const std::vector<std::string> names = {"\xF0\x9F\x92\xBE", "\xFE", "\xFF", "\xE4\xB8\xAD", "\xC3", "z"};
    std::vector<std::string> all = {"--partial"};
    std::vector<std::string> merge = {"survey", "--merge", "--json"};
    for (const std::string& name : names) {
        StoreFile(name + ".sbin");
        all.push_back(name + ".sbin");
        WriteFile("part-" + std::to_string(merge.size()), Survey({name + ".sbin", "--partial"}).out);
        merge.push_back("part-" + std::to_string(merge.size()));
    }
    const std::string expected = Survey(all).out;
    EXPECT_THAT(expected, testing::HasSubstr("\"file\":\"\uFFFD.sbin\",\"nameBytes\":\"c3 2e 73 62 69 6e\""));
    EXPECT_EQ(Talstore(merge).out, expected);
}

TEST_F(SurveyFiles, OfAnIncompleteAnswerMakeTheMergedOneIncomplete) {
    std::string partial = Survey({"units/more/d.sbin", "--partial"}).out;
    partial.replace(partial.find("\"complete\":true"), 15, "\"complete\":false");
    WriteFile("partial", partial);
    const Ended ended = Talstore({"survey", "--merge", "partial"});
    EXPECT_THAT(ended.out, testing::StartsWith("incomplete: 1 file for a board with layout.json: "));
    EXPECT_EQ(ended.status, 2);
}

TEST_F(SurveyFiles, DoNotPileUpAsPrivateCopies) {
    const auto directory = talstore::PrivateDirectory::Shared();
    {
        const talstore::ProviderSession session(talstore::ProviderOf(talstore::Format::Secure), 0, 0, "a.sbin");
        host::Database database;
        static_cast<void>(session.Retrieve("", database));
        EXPECT_TRUE(fs::exists(directory->Path() / "files/a.sbin"));
    }
    EXPECT_TRUE(fs::is_empty(directory->Path() / "files"));
}

// ---- Against single checks

/// Files of all formats with everything that may happen to one.
class GeneratedUnits : public StorageFiles {
protected:
    GeneratedUnits() {
        fs::create_directory("units");
        for (int i = 0; i < count_; ++i) {
            const std::string name = "units/" + std::to_string(i);
            const int kind = Below(3);
            const std::string bytes = kind == 0 ? SecureFile() : kind == 1 ? XmlFile() : SecureFile() + SecureFile();
            WriteFile(name + (kind == 1 ? ".xml" : ".sbin"),
                      Below(20) == 0 ? bytes.substr(0, bytes.size() / 2) : bytes);
        }
    }

    int Below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

    std::string Path() {
        constexpr const char* kPaths[] = {"R/O/u8",   "R/O/u32",    "R/O/flag", "R/O/text", "R/O/list",
                                          "R/O/real", "R/O/N/deep", "R/O/gone", "R/other",  "R/Fixed/id"};
        return kPaths[Below(10)];
    }

    std::string SecureFile() {
        std::string bytes;
        for (int left = Below(8); left > 0; --left) {
            constexpr std::size_t kSizes[] = {1, 4, 4, 6, 8, 16, 0, 3};
            bytes += Record(Path(), std::string(kSizes[Below(8)], static_cast<char>(Below(256))));
        }
        return bytes;
    }

    std::string XmlFile() {
        constexpr const char* kValueTexts[] = {"5", "300", "true", "a text that is too long for it",
                                               "",  "1.5", "-4",   "x<!-- -->y"};
        constexpr const char* kTypes[] = {"U8", "U32", "BOOL", "STRING", "U16", "DOUBLE", "S32", "U9"};
        constexpr const char* kNames[] = {"u8", "u32", "flag", "text", "list", "real", "gone"};
        std::string variables;
        for (int left = Below(8); left > 0; --left) {
            variables += Variable(kNames[Below(7)], kTypes[Below(8)], kValueTexts[Below(8)]);
        }
        return Document("<region name = \"R\"><object name = \"O\">" + variables + "</object></region>");
    }

    /// Without the validation of every answer, of which there are thousands.
    static std::string OutputOf(const std::vector<std::string>& arguments) {
        std::ostringstream out;
        std::ostringstream err;
        static_cast<void>(talstore::RunTalstore(arguments, {out, err}));
        return out.str();
    }

    /// The answers of a check of each file: of one process for all of them, or in the long form of one for each.
    [[nodiscard]] std::vector<nlohmann::json> Checks() const {
        std::vector<std::string> check = {"check", "--json", "--layout", "layout.json"};
        std::string answers;
        std::size_t checked = 0;
        for (const auto& entry : fs::directory_iterator("units")) {
            if (IsLongForm()) {
                answers += nlohmann::json::parse(
                               TalstoreProcess("check --json --layout layout.json " + entry.path().string()).out)
                               .dump() +
                           '\n';
                TellProgress("single checks", ++checked, static_cast<std::size_t>(count_));
            } else {
                check.push_back(entry.path());
            }
        }
        return RecordsIn(IsLongForm() ? answers : OutputOf(check));
    }

    const int count_ = IsLongForm() ? 10000 : 300;
    std::mt19937 random_{20};
};

using LossTexts = std::set<std::string>;

/// What single checks say, by file.
std::map<std::string, LossTexts> LossesOfChecks(const std::vector<nlohmann::json>& answers) {
    std::map<std::string, LossTexts> losses;
    for (const nlohmann::json& answer : answers) {
        LossTexts& ofFile = losses[answer["file"]];
        for (const nlohmann::json& variable : answer["restore"]["variables"]) {
            const std::string outcome = variable["outcome"];
            if (outcome != "restored" && outcome != "read-only") {
                ofFile.insert(outcome + ' ' + variable["path"].get<std::string>() + ' ' +
                              variable["reason"].get<std::string>());
            }
        }
        for (const nlohmann::json& item : answer["restore"]["ignored"]) {
            ofFile.insert("ignored " + item["path"].get<std::string>() + ' ' + item["reason"].get<std::string>());
        }
    }
    return losses;
}

std::map<std::string, LossTexts> LossesOfSurvey(const std::vector<nlohmann::json>& records) {
    std::map<std::string, LossTexts> losses;
    for (const nlohmann::json& record : records) {
        if (record["record"] == "file") {
            losses[record["file"]];
        } else if (record["record"] == "loss" && record["reason"] != "one of its items in the file is not taken") {
            // Of these a check tells by its status alone.
            losses[record["file"]].insert(record["kind"].get<std::string>() + ' ' + record["path"].get<std::string>() +
                                          ' ' + record["reason"].get<std::string>());
        }
    }
    return losses;
}

TEST_F(GeneratedUnits, LoseWhatSingleChecksSay) {
    const std::vector<nlohmann::json> records =
        RecordsIn(OutputOf({"survey", "units", "--json", "--layout", "layout.json"}));
    const std::map<std::string, LossTexts> expected = LossesOfChecks(Checks());
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(count_));
    EXPECT_EQ(LossesOfSurvey(records), expected);

    std::map<std::string, int> units;
    for (const auto& [file, losses] : expected) {
        for (const std::string& loss : losses) {
            ++units[loss];
        }
    }
    // Rows of values that come back as another one stand for several of these.
    for (const nlohmann::json& row : records.back()["losses"]) {
        const std::string loss = row["kind"].get<std::string>() + ' ' + row["path"].get<std::string>() + ' ' +
                                 row["reason"].get<std::string>();
        if (units.count(loss) != 0) {
            EXPECT_EQ(row["units"], units[loss]) << loss;
            units.erase(loss);
        }
    }
    for (const auto& [loss, count] : units) {
        EXPECT_THAT(loss, testing::AnyOf(testing::StartsWith("changed "), testing::StartsWith("refused ")));
    }
}

TEST_F(GeneratedUnits, GiveTheSameBytesForAnyNumberOfProcesses) {
    const std::vector<std::string> survey = {"survey", "units", "--layout", "layout.json"};
    for (const char* const form : {"--json", ""}) {
        std::vector<std::string> single = survey;
        if (*form != '\0') {
            single.emplace_back(form);
        }
        std::vector<std::string> several = single;
        single.insert(single.end(), {"--jobs", "1"});
        several.insert(several.end(), {"--jobs", "5"});
        EXPECT_EQ(OutputOf(single), OutputOf(several));
    }
}

TEST_F(GeneratedUnits, GiveTheSameBytesWhenTheyAreSplitAtRandomAndMerged) {
    ASSERT_EQ(std::system("cd units && tar cf 5.tar 1*.sbin && tar czf ../units/7.tgz 2*.xml && rm 1*.sbin 2*.xml"), 0);
    WriteFile("before.json", kLayout);
    WriteFile("accepted.json", R"({"accepted": [{"variable": "R/O/u8", "kind": "defaulted", "reason": "x"}]})");
    const std::vector<std::string> about = {"--layout", "layout.json", "--from", "before.json", "--values"};
    const auto with = [](std::vector<std::string> words, const std::vector<std::string>& more) {
        words.insert(words.end(), more.begin(), more.end());
        return words;
    };
    constexpr std::size_t kParts = 4;
    std::string lists[kParts];
    for (const auto& entry : fs::directory_iterator("units")) {
        lists[Below(kParts)] += entry.path().string() + '\n';
    }
    std::vector<std::string> merge = {"survey", "--merge", "--accept", "accepted.json"};
    for (std::size_t i = 0; i < kParts; ++i) {
        const std::string name = "part" + std::to_string(i);
        WriteFile("list", lists[i]);
        WriteFile(name, OutputOf(with({"survey", "--partial", "--files-from", "list"}, about)));
        merge.push_back(name);
    }
    const std::vector<std::string> single = with({"survey", "units", "--accept", "accepted.json"}, about);
    ASSERT_THAT(OutputOf(with(single, {"--json"})), testing::HasSubstr("5.tar:"));
    for (const std::vector<std::string>& form : {std::vector<std::string>{}, {"--json"}, {"--csv"}}) {
        const std::string expected = OutputOf(with(single, form));
        EXPECT_TRUE(OutputOf(with(merge, form)) == expected) << testing::PrintToString(form);
    }
    static_cast<void>(OutputOf(with(single, {"--html", "single.html"})));
    static_cast<void>(OutputOf(with(merge, {"--html", "merged.html"})));
    EXPECT_TRUE(ReadFile("merged.html") == ReadFile("single.html"));
}

// ---- The line that shows how far it has come

TEST(Progress, TellsWhatIsDoneHowFastAndWhatIsLeft) {
    using std::chrono::duration;
    EXPECT_EQ(talstore::ProgressText(2500, 10000, duration<double>(2)),
              "[=====>              ] 2500 of 10000, 1250 per second, 6 s left");
    EXPECT_EQ(talstore::ProgressText(10, 10, duration<double>(2)),
              "[====================] 10 of 10, 5 per second, 0 s left");
    EXPECT_EQ(talstore::ProgressText(0, 10, duration<double>(2)), "[>                   ] 0 of 10, 0 per second");
    EXPECT_EQ(talstore::ProgressText(7, std::nullopt, duration<double>(2)), "7 done, 4 per second");
}

TEST(Progress, ShowsNothingWithoutATerminal) {
    std::ostringstream terminal;
    { talstore::ProgressBar(nullptr).Show(1, 2); }
    EXPECT_EQ(terminal.str(), "");
    {
        talstore::ProgressBar bar(&terminal);
        bar.Show(1, 2);
    }
    EXPECT_EQ(terminal.str(), "\r\x1B[K") << "the first line comes after a moment, and goes at the end";
}

}  // namespace

}  // namespace tal::test
