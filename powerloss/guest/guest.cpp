/// What runs inside the machine whose power goes: stores again and again and marks each beginning and each return. On
/// the machine that judges, the same program tells what whole files look like, and what a retrieve makes of the others.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "host/DatabaseDescription.h"
#include "host/ReferenceHost.h"
#include "host/TypeTable.h"

namespace {

// ---- What can be left out of a store, and the functions in front of the C library's that leave it out.

std::set<std::string> leftOut;
bool isStoring = false;
bool isRenamed = false;

bool IsLeftOut(const std::string& step) {
    return leftOut.count(step) != 0;
}

bool IsDirectory(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

const char* StepOfSync(int descriptor) {
    if (isStoring) {
        return "library-sync";
    }
    if (IsDirectory(descriptor)) {
        return "directory-sync";
    }
    return isRenamed ? "renamed-sync" : "file-sync";
}

}  // namespace

extern "C" int fsync(int descriptor) {
    return IsLeftOut(StepOfSync(descriptor)) ? 0 : static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" int rename(const char* from, const char* to) noexcept {
    isRenamed = true;
    return IsLeftOut("rename") ? 0 : static_cast<int>(syscall(SYS_rename, from, to));
}

#include "examples/atomic-replacement.h"

namespace {

using tal::host::Database;
using tal::host::Variable;

using Bytes = std::vector<std::uint8_t>;
using Content = std::map<std::string, Bytes>;

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

// ---- The formats.

struct Format {
    const char* name;
    QBFResult (*getInterface)(IStorageProvider** out);
    void (*useFile)(const char* fileName);
    const char* ending;
};

constexpr StorageLocation kLocation = 0;
constexpr Format kFormats[] = {
    {"xml", CXmlFileStorageProvider_GetInterface, example::UseXmlCalibrationFile, "</storage>\n"},
    {"binary", CBinaryFileStorageProvider_GetInterface, example::UseBinaryCalibrationFile, ""},
    {"secure", CSecureBinaryFileStorageProvider_GetInterface, example::UseSecureCalibrationFile, ""},
};

const Format& FindFormat(const std::string& name) {
    for (const Format& format : kFormats) {
        if (name == format.name) {
            return format;
        }
    }
    throw std::runtime_error("no format is named " + name);
}

// ---- The provider's table with a StoreAll that tells fsync whose call it is.

IStorageProvider* realProvider = nullptr;

QBFResult StoreAllWatched(StorageLocation location, CDatabase* database, unsigned long channelInjector) {
    isStoring = true;
    isRenamed = false;
    const QBFResult result = realProvider->StoreAll(location, database, channelInjector);
    isStoring = false;
    return result;
}

IStorageProvider* Open(const Format& format) {
    static IStorageProvider watched;
    format.getInterface(&realProvider);
    realProvider->Initialize(kLocation);
    watched = *realProvider;
    watched.StoreAll = StoreAllWatched;
    return &watched;
}

// ---- The values of a round. Each round has its own, and so every file of every round is another one.

void FillVariable(Variable& variable, const tal::host::TypeInfo& type, std::mt19937& random) {
    auto* const content = static_cast<std::uint8_t*>(variable.Content());
    if (type.kind == tal::host::TypeKind::String) {
        std::string text(random() % variable.SizeInBytes(), ' ');
        for (char& character : text) {
            character = static_cast<char>('a' + random() % 26);
        }
        variable.SetText(text);
        return;
    }
    for (std::uint32_t offset = 0; offset < variable.SizeInBytes(); offset += type.elementSize) {
        tal::host::VisitElementType(type, [&](auto zero) {
            using Element = decltype(zero);
            // Small enough for every type, and no real number that a text would round.
            tal::host::WriteElement(content + offset, static_cast<Element>(random() % 100));
        });
    }
}

void FillForRound(Database& database, unsigned round) {
    std::mt19937 random(round);
    database.ForEachVariable([&](const std::string& /*path*/, Variable& variable) {
        if (!tal::host::HoldsObjects(variable.Type()) && variable.SizeInBytes() > 0) {
            FillVariable(variable, *tal::host::FindType(variable.Type()), random);
        }
    });
}

// ---- Storing, in the machine whose power goes.

/// Marks lie on the same disk as the files, so that its log has both in one order.
class Marks {
public:
    Marks(const std::string& device, std::string cell)
        : descriptor_(open(device.c_str(), O_WRONLY | O_DIRECT | O_CLOEXEC)), cell_(std::move(cell)) {
        if (descriptor_ < 0) {
            Fail(device);
        }
    }
    Marks(const Marks&) = delete;
    Marks& operator=(const Marks&) = delete;
    ~Marks() { close(descriptor_); }

    void Write(const char* what, unsigned round) const {
        alignas(4096) static char sector[512];
        std::memset(sector, 0, sizeof sector);
        std::snprintf(sector, sizeof sector, "mark %s %s %u\n", cell_.c_str(), what, round);
        std::fputs(sector, stdout);
        std::fflush(stdout);
        if (pwrite(descriptor_, sector, sizeof sector, 0) != static_cast<ssize_t>(sizeof sector)) {
            Fail("mark");
        }
    }

private:
    int descriptor_;
    std::string cell_;
};

bool StoreInPlace(const example::ReplacedLocation& replaced, CDatabase* database) {
    replaced.useFile(replaced.fileName.c_str());
    return !QBF_IsFailure(replaced.provider->StoreAll(replaced.location, database, 0));
}

bool StoreByRecipe(const example::ReplacedLocation& replaced, CDatabase* database) {
    if (IsLeftOut("other-name")) {
        return example::StoreBeside(replaced, replaced.fileName, database) &&
               example::Descriptor(example::DirectoryOf(replaced.fileName), O_RDONLY | O_DIRECTORY).Sync();
    }
    return example::StoreAtomically(replaced, database);
}

/// Another program on the board, which writes and syncs a file of its own: what it makes a file system write down may
/// be half of a store.
class Neighbour {
public:
    Neighbour() : thread_([this] { Work(); }) {}
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;
    ~Neighbour() {
        isLeaving_ = true;
        thread_.join();
    }

private:
    void Work() const {
        const int file = open("../neighbour", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        while (!isLeaving_) {
            const char line[] = "something else\n";
            // Past the fsync of this program, which leaves out what is not the neighbour's.
            if (pwrite(file, line, sizeof line, 0) < 0 || syscall(SYS_fsync, file) != 0) {
                std::perror("neighbour");
                std::abort();
            }
        }
        close(file);
    }

    std::atomic<bool> isLeaving_ = false;
    std::thread thread_;
};

/// Now and then the kernel gets the time to write what nobody has synced.
void Pause(unsigned round) {
    std::this_thread::sleep_for(std::chrono::milliseconds(round % 3 == 0 ? 1500 : 20));
}

int Store(const Format& format, const std::string& way, const std::string& cell, unsigned rounds,
          const std::string& device, Database& database) {
    const Marks marks(device, cell);
    example::ReplacedLocation replaced = {Open(format), kLocation, "0", format.useFile, format.ending};
    if (way != "new-file") {
        FillForRound(database, 0);
        StoreInPlace(replaced, database.Handle());
    }
    sync();
    for (unsigned round = 1; round <= rounds; ++round) {
        FillForRound(database, round);
        if (way == "new-file") {
            replaced.fileName = std::to_string(round);
        }
        std::optional<Neighbour> neighbour;
        if (round > rounds / 2) {
            neighbour.emplace();
        }
        marks.Write("begun", round);
        if (!(way == "recipe" ? StoreByRecipe : StoreInPlace)(replaced, database.Handle())) {
            Fail("a store of " + cell + " failed");
        }
        marks.Write("returned", round);
        neighbour.reset();
        Pause(round);
    }
    marks.Write("ended", rounds);
    return 0;
}

// ---- Judging, on the machine that has the files.

int WriteWholeFiles(const Format& format, unsigned rounds, Database& database) {
    const example::ReplacedLocation unnamed = {Open(format), kLocation, "", format.useFile, format.ending};
    for (unsigned round = 0; round <= rounds; ++round) {
        FillForRound(database, round);
        example::ReplacedLocation named = unnamed;
        named.fileName = std::to_string(round);
        if (!StoreInPlace(named, database.Handle())) {
            Fail("cannot store round " + named.fileName);
        }
    }
    return 0;
}

Content ContentOf(Database& database) {
    Content content;
    database.ForEachVariable([&](const std::string& path, const Variable& variable) {
        if (!tal::host::HoldsObjects(variable.Type())) {
            content[path] = variable.Bytes();
        }
    });
    return content;
}

QBFResult Retrieve(const Format& format, IStorageProvider& provider, const std::string& fileName, Database& database) {
    database.ResetToDefaults();
    format.useFile(fileName.c_str());
    return provider.RetrieveAll(kLocation, database.Handle(), 0);
}

/// Whether each byte is the one of `whole` or one of the zeros that a medium hands out for what it lost.
bool IsWholeOrZero(const Bytes& bytes, const Bytes& whole) {
    return std::equal(bytes.begin(), bytes.end(), whole.begin(), whole.end(),
                      [](std::uint8_t byte, std::uint8_t kept) { return byte == kept || byte == 0; });
}

const char* OriginOf(const std::string& path, const Bytes& bytes, const std::vector<Content>& rounds,
                     const Content& defaults) {
    for (const Content& round : rounds) {
        if (bytes == round.at(path)) {
            return "stored";
        }
    }
    if (bytes == defaults.at(path)) {
        return "default";
    }
    for (const Content& round : rounds) {
        if (IsWholeOrZero(bytes, round.at(path))) {
            return "zeros";
        }
    }
    return "other";
}

/// Each line of the input is the name of a file; the answer is its result, and how many variables hold what.
int Judge(const Format& format, unsigned rounds, Database& database) {
    IStorageProvider& provider = *Open(format);
    database.ResetToDefaults();
    const Content defaults = ContentOf(database);
    std::vector<Content> stored;
    for (unsigned round = 0; round <= rounds; ++round) {
        // As a whole file brings it back: what is read-only, for one, no store has written.
        if (QBF_IsFailure(Retrieve(format, provider, std::to_string(round), database))) {
            Fail("cannot retrieve round " + std::to_string(round));
        }
        stored.push_back(ContentOf(database));
    }
    for (std::string fileName; std::getline(std::cin, fileName);) {
        const QBFResult result = Retrieve(format, provider, fileName, database);
        std::map<std::string, unsigned> origins;
        for (const auto& [path, bytes] : ContentOf(database)) {
            ++origins[OriginOf(path, bytes, stored, defaults)];
        }
        std::printf("%lx %u %u %u %u %d\n", static_cast<unsigned long>(result), origins["stored"], origins["default"],
                    origins["zeros"], origins["other"], database.GuardsIntact() ? 1 : 0);
    }
    return 0;
}

std::set<std::string> Split(const std::string& list) {
    std::set<std::string> items;
    std::istringstream stream(list);
    for (std::string item; std::getline(stream, item, ',');) {
        items.insert(item);
    }
    return items;
}

unsigned Number(const std::string& text) {
    return static_cast<unsigned>(std::stoul(text));
}

int Run(const std::vector<std::string>& words) {
    if (words.size() < 4) {
        throw std::runtime_error("DESCRIPTION store|whole|judge FORMAT ROUNDS [WAY CELL MARKS [LEFT-OUT]]");
    }
    const auto database = tal::host::LoadDatabaseFromFile(words[0]);
    const Format& format = FindFormat(words[2]);
    const unsigned rounds = Number(words[3]);
    if (words[1] == "whole") {
        return WriteWholeFiles(format, rounds, *database);
    }
    if (words[1] == "judge") {
        return Judge(format, rounds, *database);
    }
    leftOut = Split(words.size() > 7 ? words[7] : "");
    return Store(format, words.at(4), words.at(5), rounds, words.at(6), *database);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "guest: %s\n", error.what());
        return 1;
    }
}
