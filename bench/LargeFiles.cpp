/// Writes a database of so many variables for the tool to work on: its description, and a file of each format.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "DatabaseDescription.h"
#include "Device/DeviceSupport/DeviceSupport.h"
#include "ReferenceHost.h"
#include "bench/Bench.h"
#include "brqtrace/brqtrace.h"

namespace tal::bench {

namespace {

using SetFileName = void (*)(const char* fileName);

void Store(host::Database& database, QBFResult (*getInterface)(IStorageProvider**), SetFileName setFileName,
           const char* fileName) {
    IStorageProvider* provider = nullptr;
    Require(!QBF_IsFailure(getInterface(&provider)), "a provider");
    provider->Initialize(0);
    setFileName(fileName);
    Require(!QBF_IsFailure(provider->StoreAll(0, database.Handle(), 0)), fileName);
}

void StoreEveryFormat(host::Database& database) {
    Store(
        database, CXmlFileStorageProvider_GetInterface,
        [](const char* name) {
            CXmlFileStorageProviderBase_SetStorageFilenames(name, name, name, name, name, name, name, name, name, name);
        },
        "storage.xml");
    Store(
        database, CBinaryFileStorageProvider_GetInterface,
        [](const char* name) { CBinaryFileStorageProvider_SetStorageFilenames(name, name, name); }, "storage.bin");
    Store(
        database, CSecureBinaryFileStorageProvider_GetInterface,
        [](const char* name) { CSecureBinaryFileStorageProvider_SetStorageFilenames(name, name, name); },
        "storage.sbin");
}

}  // namespace

}  // namespace tal::bench

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "Usage: tal_large_files VARIABLES DIRECTORY\n");
        return 2;
    }
    DS_trace.threshold = BRQTRACE_SILENT;
    tal::host::Database database;
    tal::bench::FillDatabase(database, std::strtoul(argv[1], nullptr, 10));
    std::filesystem::create_directories(argv[2]);
    std::filesystem::current_path(argv[2]);
    std::ofstream("layout.json") << tal::host::DescribeDatabase(database).dump(2) << '\n';
    tal::bench::StoreEveryFormat(database);
    std::printf("%zu variables\n", tal::bench::CountValues(database));
}
