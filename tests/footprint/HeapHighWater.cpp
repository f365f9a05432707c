/// Prints the most heap that a store and a retrieve of a database hold at a time, for each provider that uses a file.
/// Everything that is allocated during the call counts: by the library, by Expat, by the C library, by the host.

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "DatabaseDescription.h"
#include "Device/DeviceSupport/DeviceSupport.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

std::size_t held = 0;
std::size_t highest = 0;

void* Take(void* block) {
    held += malloc_usable_size(block);
    highest = std::max(highest, held);
    return block;
}

void Give(void* block) {
    held -= malloc_usable_size(block);
}

struct Provider {
    const char* name;
    QBFResult (*getInterface)(IStorageProvider** out);
    void (*setFileNames)();
};

const Provider kProviders[] = {
    {"XML", CXmlFileStorageProvider_GetInterface,
     [] {
         CXmlFileStorageProviderBase_SetStorageFilenames("database.xml", nullptr, nullptr, nullptr, nullptr, nullptr,
                                                         nullptr, nullptr, nullptr, nullptr);
     }},
    {"binary", CBinaryFileStorageProvider_GetInterface,
     [] { CBinaryFileStorageProvider_SetStorageFilenames("database.bin", "", ""); }},
    {"secure binary", CSecureBinaryFileStorageProvider_GetInterface,
     [] { CSecureBinaryFileStorageProvider_SetStorageFilenames("database.sbin", "", ""); }},
};

/// @return whether the operation succeeded.
template <class Operation>
bool Measure(const Provider& provider, const char* operationName, Operation operation) {
    const std::size_t heldBefore = held;
    highest = held;
    const QBFResult result = operation();
    const std::size_t most = highest - heldBefore;
    if (result != QBF_OK) {
        std::fprintf(stderr, "%s %s: failed with %#lx\n", provider.name, operationName, result);
        return false;
    }
    std::printf("%s %s %zu\n", provider.name, operationName, most);
    return true;
}

bool MeasureProvider(const Provider& provider, tal::host::Database& database) {
    IStorageProvider* operations = nullptr;
    provider.getInterface(&operations);
    operations->Initialize(0);
    provider.setFileNames();
    return Measure(provider, "store", [&] { return operations->StoreAll(0, database.Handle(), 0); }) &&
           Measure(provider, "retrieve", [&] { return operations->RetrieveAll(0, database.Handle(), 0); });
}

bool MeasureAll(const std::string& descriptionFile) {
    const auto database = tal::host::LoadDatabaseFromFile(descriptionFile);
    char folder[] = "/tmp/tal-heap-XXXXXX";
    if (mkdtemp(folder) == nullptr || chdir(folder) != 0) {
        std::perror(folder);
        return false;
    }
    bool allMeasured = true;
    for (const Provider& provider : kProviders) {
        allMeasured = MeasureProvider(provider, *database) && allMeasured;
    }
    for (const char* file : {"database.xml", "database.bin", "database.sbin"}) {
        unlink(file);
    }
    rmdir(folder);
    return allMeasured;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
    return Take(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
    return Take(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) {
    const std::size_t before = malloc_usable_size(block);
    void* const moved = __libc_realloc(block, size);
    if (moved != nullptr) {
        held -= before;
    }
    return Take(moved);
}

void free(void* block) {
    Give(block);
    __libc_free(block);
}
}

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fprintf(stderr, "Usage: tal_heap DESCRIPTION.json\n");
        return 2;
    }
    try {
        return MeasureAll(arguments[1]) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tal_heap: %s\n", error.what());
        return 1;
    }
}
