/// What is measured: contenders, each of which does one job on one database.
#ifndef TAL_BENCH_BENCH_H
#define TAL_BENCH_BENCH_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Device/DeviceSupport/HostDatabase.h"

namespace tal::host {
class Database;
class Variable;
}  // namespace tal::host

namespace tal::bench {

/// What a contender's time is compared with.
enum class Role {
    Library,
    Limit,        ///< What the job costs at the least.
    Host,         ///< The host's part of the job.
    Reference,    ///< Another part of the job; shown, compared with nothing.
    Alternative,  ///< What people would use instead.
    Synced        ///< The library again, with the sync to the medium counted.
};

/// The job "xml store" or the like.
struct Contender {
    std::string job;
    std::string name;
    Role role;
    std::string fileName;       ///< What it writes or reads, for its size.
    std::function<void()> run;  ///< The job, once.
};

using Contenders = std::vector<Contender>;

/// A database, and everything that is measured on it.
struct Jobs {
    std::shared_ptr<void> database;
    std::size_t valueCount;
    Contenders contenders;
};

/// Makes a database of that many variables, and its files in the current directory. There is one for each host; a
/// program is linked with one of them.
[[nodiscard]] Jobs MakeJobs(std::size_t variableCount);

/// A database like a radio unit's: all types, nested objects, names of the usual lengths.
void FillDatabase(host::Database& database, std::size_t variableCount);

/// How many variables with a value there are.
[[nodiscard]] std::size_t CountValues(const host::Database& database);

// Each adds its contenders for the database, whose files lie in the current directory. The library comes first: it
// writes the files that the limits read.
void AddLibrary(CDatabase* database, Contenders& contenders);
void AddStraightCode(CDatabase* database, Contenders& contenders);
void AddLimits(host::Database& database, Contenders& contenders);
void AddHost(host::Database& database, Contenders& contenders);

/// Adds the contenders of an alternative; each alternative that was built is in this list.
using AddContenders = void (*)(host::Database&, Contenders&);
std::vector<AddContenders>& Alternatives();

/// Puts an alternative into the list when the program starts.
struct RegisterAlternative {
    explicit RegisterAlternative(AddContenders add) { Alternatives().push_back(add); }
};

/// Ends the program when something that is measured does not work.
[[noreturn]] void Fail(const char* what);
inline void Require(bool holds, const char* what) {
    if (!holds) {
        Fail(what);
    }
}

/// What stands around the reading of a file: what it does not hold gets its default.
template <class Read>
void Restore(CDatabase* database, Read read) {
    CDatabase_UpdatePathHashTable(database);
    CDatabase_SetAsNotRetrieved(database);
    read();
    CDatabase_SetNotRetrievedVariablesToDefault(database);
}

/// The variable that is registered under the path, which there must be.
[[nodiscard]] host::Variable& Registered(const host::Database& database, std::string_view path);

[[nodiscard]] std::string ReadWhole(const std::string& fileName);

/// Whether fsync really syncs; it does nothing otherwise.
void SetSyncing(bool isSyncing);

/// What is taken from the heap is counted from here on; at other times it is not, so that it costs no time.
void StartCountingHeap();
/// @return the most bytes that were on the heap above what was there at the start.
[[nodiscard]] std::size_t StopCountingHeap();

// ---- Values for the alternatives

/// The element as XML keeps it.
[[nodiscard]] const char* ElementText(const host::Variable& variable, std::size_t index);
/// The opposite: converts the text into the element.
void SetElementText(host::Variable& variable, std::size_t index, const char* text);

}  // namespace tal::bench

#endif
