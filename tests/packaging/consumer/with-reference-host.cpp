/// Stores a described database and brings it back.
#include <DatabaseDescription.h>
#include <ReferenceHost.h>

#include <Device/DeviceSupport/DeviceSupport.h>
#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: with_reference_host DESCRIPTION.json\n", stderr);
        return 2;
    }
    const auto database = tal::host::LoadDatabaseFromFile(argv[1]);
    IStorageProvider* provider = nullptr;
    CBinaryFileStorageProvider_GetInterface(&provider);
    provider->Initialize(0);

    const QBFResult stored = provider->StoreAll(0, database->Handle(), 0);
    database->SetAllToZero();
    const QBFResult retrieved = provider->RetrieveAll(0, database->Handle(), 0);

    bool isWhole = true;
    database->ForEachVariable([&isWhole](const std::string& path, const tal::host::Variable& variable) {
        if (!variable.HoldsDefault()) {
            std::printf("%s has changed\n", path.c_str());
            isWhole = false;
        }
    });
    return stored == QBF_OK && retrieved == QBF_OK && isWhole ? 0 : 1;
}
