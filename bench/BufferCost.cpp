/// What the size of the buffers of open files costs a store: calls of write, processor time on the file system of the
/// current directory, and the time that passes where each write takes a millisecond.

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <thread>

#include "bench/Bench.h"
#include "brqtrace/brqtrace.h"

namespace {

using Open = std::FILE*(const char*, const char*);
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Where a store's file goes.
enum class Medium { File, Counted, Slow };

Medium medium = Medium::File;
long writeCalls = 0;

ssize_t Write(void* descriptor, const char* bytes, std::size_t size) {
    ++writeCalls;
    if (medium == Medium::Slow) {
        std::this_thread::sleep_for(milliseconds(1));
    }
    return write(*static_cast<int*>(descriptor), bytes, size);
}

int Close(void* descriptor) {
    const int result = close(*static_cast<int*>(descriptor));
    delete static_cast<int*>(descriptor);
    return result;
}

/// A stream that asks Write to write.
std::FILE* OpenWatched(std::FILE* file, const char* mode) {
    auto* const descriptor = new int(dup(fileno(file)));
    std::fclose(file);
    return fopencookie(descriptor, mode, {nullptr, Write, nullptr, Close});
}

std::FILE* OpenOnMedium(const char* name, const char* mode) {
    static auto* const open = reinterpret_cast<Open*>(dlsym(RTLD_NEXT, "fopen64"));
    std::FILE* const file = open(name, mode);
    return file == nullptr || medium == Medium::File ? file : OpenWatched(file, mode);
}

void StoreOn(Medium chosen, const tal::bench::Contender& store) {
    medium = chosen;
    writeCalls = 0;
    store.run();
    medium = Medium::File;
}

long CountWrites(const tal::bench::Contender& store) {
    StoreOn(Medium::Counted, store);
    return writeCalls;
}

double ProcessorMicroseconds(const tal::bench::Contender& store) {
    const std::clock_t begin = std::clock();
    StoreOn(Medium::File, store);
    return static_cast<double>(std::clock() - begin) * 1e6 / CLOCKS_PER_SEC;
}

double SlowMilliseconds(const tal::bench::Contender& store) {
    const Clock::time_point begin = Clock::now();
    StoreOn(Medium::Slow, store);
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// Of so many repetitions: whatever else the machine does can only add.
double Fastest(int repetitions, double (*measure)(const tal::bench::Contender&), const tal::bench::Contender& store) {
    double fastest = measure(store);
    for (int repetition = 1; repetition < repetitions; ++repetition) {
        fastest = std::min(fastest, measure(store));
    }
    return fastest;
}

bool IsStoreOfTheLibrary(const tal::bench::Contender& contender) {
    return contender.role == tal::bench::Role::Library && contender.job.find("store") != std::string::npos;
}

}  // namespace

extern "C" std::FILE* fopen64(const char* name, const char* mode) {
    return OpenOnMedium(name, mode);
}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: tal_buffer_cost VARIABLES\n");
        return 2;
    }
    DS_trace.threshold = BRQTRACE_SILENT;
    std::string pattern = std::filesystem::current_path() / "tal_buffer_cost_XXXXXX";
    tal::bench::Require(mkdtemp(pattern.data()) != nullptr, "a directory for the files");
    const std::filesystem::path root = pattern;
    std::filesystem::current_path(root);
    const tal::bench::Jobs jobs = tal::bench::MakeJobs(std::strtoul(argv[1], nullptr, 10));
    for (const tal::bench::Contender& contender : jobs.contenders) {
        if (IsStoreOfTheLibrary(contender)) {
            std::printf("%s: %ld writes, %.0f us, %.0f ms\n", contender.job.c_str(), CountWrites(contender),
                        Fastest(50, ProcessorMicroseconds, contender), Fastest(3, SlowMilliseconds, contender));
        }
    }
    std::filesystem::current_path(root.parent_path());
    std::filesystem::remove_all(root);
    return 0;
}
