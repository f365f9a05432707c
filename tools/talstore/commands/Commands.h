/// @file
/// The commands. Each takes what its command line says, writes to the console and returns an ExitStatus; each throws
/// InputError or host::DescriptionError.
#ifndef TALSTORE_COMMANDS_H
#define TALSTORE_COMMANDS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "commands/Console.h"

namespace tal::talstore {

/// What most commands take.
struct CommonOptions {
    bool asJson = false;
    std::string layout;  ///< Name of the description; empty for none.
    std::string format;  ///< "xml", "secure", "binary", or empty: to be recognised.
    std::uint32_t channel = 0;
    std::vector<std::string> paths = {};  ///< Patterns of what is of interest; none for everything.
};

struct ShowOptions {
    CommonOptions common;
    std::vector<std::string> files;
};
int Show(const ShowOptions& options, const Console& console);

struct GetOptions {
    CommonOptions common;
    std::string file;
    std::vector<std::string> paths;  ///< Patterns.
};
int Get(const GetOptions& options, const Console& console);

struct SetOptions {
    CommonOptions common;
    std::string file;
    std::vector<std::string> settings;  ///< "PATH=VALUE"
};
int Set(const SetOptions& options, const Console& console);

struct CheckOptions {
    CommonOptions common;
    std::vector<std::string> files;
    bool showsAll = false;
};
int Check(const CheckOptions& options, const Console& console);

/// What commands take that take many files.
struct ManyFilesOptions {
    std::vector<std::string> paths;   ///< Of files, folders and archives.
    std::string listName = {};        ///< Of a file with more of them; empty for none.
    bool endsWithNul = false;         ///< What ends a name in that list; otherwise a newline.
    std::string channelPattern = {};  ///< Finds the channel in a file's name; empty: that of the CommonOptions.
    std::uint32_t jobs = 0;           ///< Processes; 0: as many as there are cores.
    std::uint32_t timeout = 60;       ///< For one file, in seconds.
};

struct SurveyOptions {
    CommonOptions common;
    ManyFilesOptions files;
    std::string accepted;  ///< Name of the file with accepted losses; empty for none.
    std::string before;    ///< Name of the description of what the units run; empty for none.
    bool comparesValues = false;
    bool asCsv = false;
    std::string database;  ///< Name of the file to write for SQLite; empty for none.
    std::string page;      ///< Name of the page to write; empty for none.
    bool isPartial = false;
    bool merges = false;  ///< The files are partial answers.
};
int Survey(const SurveyOptions& options, const Console& console);

/// What the commands take that drive one provider.
struct DriveOptions {
    bool asJson = false;
    bool showsTrace = false;
    std::string layout;
    std::string file;      ///< May be empty for providers without files.
    std::string provider;  ///< Empty: the one of the file's format.
    std::uint32_t location = 0;
    std::uint32_t channel = 0;
    std::vector<std::string> paths = {};  ///< As in CommonOptions.
};

struct StoreOptions {
    DriveOptions drive;
    std::vector<std::string> settings;  ///< "PATH=VALUE"
    bool isForced = false;              ///< Replaces a file that is there.
};
int Store(const StoreOptions& options, const Console& console);

int Retrieve(const DriveOptions& options, const Console& console);

/// The hardware codes of a board's record.
struct BoardCode {
    const char* option;
    std::size_t word;  ///< In the record.
};
constexpr std::size_t kBoardCodeCount = 7;
constexpr BoardCode kBoardCodes[kBoardCodeCount] = {{"--mcb", 9},  {"--nab", 10},  {"--traf", 11}, {"--rab", 12},
                                                    {"--dsp", 13}, {"--supp", 14}, {"--aux", 15}};

struct BoardOptions {
    bool asJson = false;
    bool showsTrace = false;
    std::string layout;  ///< Empty: one that has exactly the variables that a board sets.
    std::uint32_t channelCount = 1;
    std::uint32_t variant = 0;
    std::uint32_t codes[kBoardCodeCount] = {};  ///< In the order of kBoardCodes.
};
int Board(const BoardOptions& options, const Console& console);

struct DiffOptions {
    CommonOptions common;
    std::string first;
    std::string second;
    bool isSummary = false;
    bool isQuiet = false;
    [[nodiscard]] bool IsBrief() const { return isSummary || isQuiet; }
    bool countsAll = false;         ///< Read-only variables that one of the formats never stores, too.
    std::string firstFormat = {};   ///< Empty: common.format.
    std::string secondFormat = {};  ///< The same.
};
int Diff(const DiffOptions& options, const Console& console);

struct CompareLayoutsOptions {
    bool asJson = false;
    std::string before;  ///< Names of descriptions.
    std::string after;
    std::string format = {};  ///< Empty: every format.
    std::uint32_t channel = 0;
    std::string accepted = {};  ///< Name of the file of accepted losses; empty for none.
    std::string junit = {};     ///< Name of the file to write; empty for none.
};
int CompareLayouts(const CompareLayoutsOptions& options, const Console& console);

struct ConvertOptions {
    CommonOptions common;
    ManyFilesOptions files;                  ///< The last path is that of the output, unless the files are replaced.
    std::string outputFormat = {};           ///< Empty: what the output's name says; of several files, the input's.
    std::vector<std::string> settings = {};  ///< "PATH=VALUE"
    std::string oldLayout = {};              ///< Of the input, where it is another one.
    std::string renames = {};                ///< Name of the file of new paths; empty for none.
    bool isInPlace = false;
    bool isForced = false;  ///< Replaces files that are there.
};
int Convert(const ConvertOptions& options, const Console& console);

struct RecoverOptions {
    CommonOptions common;
    std::string file;
};
int RecoverFile(const RecoverOptions& options, const Console& console);

struct LayoutOptions {
    std::string file;
    std::string output = "-";
    std::uint32_t stringCapacity = 256;
    bool withDefaults = false;
};
int Layout(const LayoutOptions& options, const Console& console);

struct ExplainOptions {
    bool asJson = false;
    std::vector<std::string> words;  ///< A code or a line of a trace, cut by the shell; "-" for standard input.
};
int Explain(const ExplainOptions& options, const Console& console);

struct HelpOptions {
    std::string command;  ///< Empty: all commands are listed.
};
int Help(const HelpOptions& options, const Console& console);

struct CompleteOptions {
    std::vector<std::string> words;  ///< What stands after the program's name, up to the cursor.
};
/// Prints "files" when the shell shall offer those, or else "words", or "paths" for parts of words, and each of them in
/// a line of its own.
int Complete(const CompleteOptions& options, const Console& console);

}  // namespace tal::talstore

#endif
