// In an executable of its own, which is not linked to the library and can therefore unload it.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "Device/DeviceSupport/HwNames.h"
#include "host/ReferenceHost.h"
#include "loading/ReleasedBlocks.h"

namespace {

/// The library, loaded as long as this lives.
class LoadedLibrary {
public:
    LoadedLibrary() : handle_(dlopen(TAL_TEST_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) {
            ADD_FAILURE() << dlerror();
            std::abort();
        }
    }
    ~LoadedLibrary() { EXPECT_EQ(dlclose(handle_), 0) << dlerror(); }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    template <class Function>
    [[nodiscard]] Function* Find(const char* symbol) const {
        void* const address = dlsym(handle_, symbol);
        if (address == nullptr) {
            ADD_FAILURE() << dlerror();
            std::abort();
        }
        return reinterpret_cast<Function*>(address);
    }

private:
    void* handle_;
};

bool IsLoaded() {
    void* const handle = dlopen(TAL_TEST_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

void LoadUseUnload() {
    const LoadedLibrary library;
    auto* const nameOf = library.Find<decltype(HwNameFromValue)>("HwNameFromValue");
    EXPECT_STREQ(nameOf(HW_NAMES_HW_VARIANT, 5), "ZOR4A");
    EXPECT_STREQ(nameOf(HW_NAMES_RESTART_CAUSE, 2), "Watchdog");
    IStorageProvider* provider = nullptr;
    EXPECT_EQ(library.Find<decltype(ReadOnlyZorBspStorageProvider_getInterface)>(
                  "_Z42ReadOnlyZorBspStorageProvider_getInterfacePP16IStorageProvider")(&provider),
              QBF_OK);
    EXPECT_EQ(provider->Initialize(3), QBF_OK);
}

/// The string that holds `text`, which is short enough to lie inside it.
std::string& StringAround(const char* text) {
    const std::string sample = "None";
    const std::ptrdiff_t textOffset = sample.data() - reinterpret_cast<const char*>(&sample);
    return *reinterpret_cast<std::string*>(const_cast<char*>(text - textOffset));
}

/// The texts of a table in the library's memory, its sentinel included. The lookup gives no sentinel, which lies as far
/// from the last name as the names from one another.
std::vector<const char*> TextsOf(const LoadedLibrary& library, HwNameTable table) {
    auto* const nameOf = library.Find<decltype(HwNameFromValue)>("HwNameFromValue");
    std::vector<const char*> texts;
    for (std::int32_t value = 0; nameOf(table, value) != nullptr; ++value) {
        texts.push_back(nameOf(table, value));
    }
    texts.push_back(texts.back() + (texts[1] - texts[0]));
    return texts;
}

/// Promise 19
TEST(LoadUnload, AThousandTimesLeavesTheHeapAsItWas) {
    const std::size_t before = tal::test::LiveBlocks();

    for (int i = 0; i < 1000; ++i) {
        LoadUseUnload();
        ASSERT_FALSE(IsLoaded());
    }

    EXPECT_EQ(tal::test::LiveBlocks(), before);
}

// For valgrind, which also sees what malloc gave and one round leaves, and takes a minute for a thousand.
TEST(LoadUnload, AFewTimesEndsWithoutTheLibrary) {
    for (int i = 0; i < 10; ++i) {
        LoadUseUnload();
        ASSERT_FALSE(IsLoaded());
    }
}

TEST(LoadUnload, ReleasesEveryNameOnceFromTheLastTableAndRowToTheFirst) {
    std::vector<const void*> names;
    std::optional<LoadedLibrary> library(std::in_place);
    for (HwNameTable table = HW_NAMES_HW_VARIANT; table <= HW_NAMES_RESTART_CAUSE; ++table) {
        const std::vector<const char*> texts = TextsOf(*library, table);
        ASSERT_STREQ(texts.back(), "EndOfList");
        for (const char* const text : texts) {
            // Too long to lie inside the string, so that one sees it being released.
            names.push_back(StringAround(text).assign(100, 'n').data());
        }
    }

    const tal::test::ReleasedBlocks released;
    library.reset();

    std::vector<const void*> releasedNames;
    std::copy_if(released.begin(), released.end(), std::back_inserter(releasedNames),
                 [&names](const void* block) { return std::find(names.begin(), names.end(), block) != names.end(); });
    std::reverse(names.begin(), names.end());
    EXPECT_EQ(releasedNames, names);
    EXPECT_EQ(names.size(), 85U);
}

struct DefaultFile {
    const char* entryPoint;
    StorageLocation location;
    const char* fileName;
};

constexpr DefaultFile kDefaultFiles[] = {
    {"CBinaryFileStorageProvider_GetInterface", 0, "storage_calibration_database.bin"},
    {"CBinaryFileStorageProvider_GetInterface", 3, "storage_hardware_database.bin"},
    {"CBinaryFileStorageProvider_GetInterface", 6, "/lib/firmware/bin/ApplicationsConfiguration.bin"},
    {"CSecureBinaryFileStorageProvider_GetInterface", 0, "storage_calibration_database.sbin"},
    {"CSecureBinaryFileStorageProvider_GetInterface", 1, "storage_calibration_database.sbin"},
    {"CSecureBinaryFileStorageProvider_GetInterface", 2, "storage_calibration_database.sbin"},
    {"CSecureBinaryFileStorageProvider_GetInterface", 3, "storage_hardware_database.sbin"},
    {"CSecureBinaryFileStorageProvider_GetInterface", 6, "/lib/firmware/bin/Applications.sbin"},
};

TEST(Loaded, TheBinaryProvidersHaveTheirFileNamesBeforeInitialize) {
    for (const DefaultFile& expected : kDefaultFiles) {
        SCOPED_TRACE(expected.fileName);
        const LoadedLibrary library;
        IStorageProvider* provider = nullptr;
        library.Find<decltype(CBinaryFileStorageProvider_GetInterface)>(expected.entryPoint)(&provider);
        tal::host::Database database;

        testing::internal::CaptureStderr();
        provider->RetrieveAll(expected.location, database.Handle(), 0);
        const std::string trace = testing::internal::GetCapturedStderr();

        const std::string report = std::string("Could not open file ") + expected.fileName + " (errno is: 2)";
        EXPECT_NE(trace.find(report), std::string::npos) << trace;
    }
}

TEST(LoadUnload, GivesTheNamesAfreshWhenLoadedAgain) {
    {
        const LoadedLibrary library;
        const char* const name = library.Find<decltype(HwNameFromValue)>("HwNameFromValue")(HW_NAMES_HW_VARIANT, 5);
        *const_cast<char*>(name) = 'c';
        EXPECT_STREQ(name, "cOR4A");
    }

    LoadUseUnload();
}

}  // namespace
