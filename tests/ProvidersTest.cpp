/// What holds for all providers, and for the file providers beside one another.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "Device/DeviceSupport/private/Tracing.h"
#include "host/ReferenceHost.h"
#include "support/BinaryTree.h"
#include "support/EntryPoints.h"
#include "support/FileProviders.h"
#include "support/Files.h"
#include "support/HostCalls.h"
#include "support/TraceRecorder.h"

namespace {

using tal::host::Database;
using tal::test::FileProvider;
using tal::test::ReadFile;

class EntryPoints : public testing::TestWithParam<tal::test::EntryPoint> {
protected:
    static IStorageProvider* Table() {
        IStorageProvider* table = nullptr;
        EXPECT_EQ(GetParam().getInterface(&table), QBFResult{QBF_OK});
        return table;
    }

    tal::test::TraceRecorder traces_;
};

INSTANTIATE_TEST_SUITE_P(Provider, EntryPoints, testing::ValuesIn(tal::test::kEntryPoints),
                         testing::PrintToStringParamName());

constexpr IStorageProvider kForeignTable = {
    [](StorageLocation /*location*/) { return QBFResult{QBF_E_FAILED}; },
    [](StorageLocation /*location*/, unsigned long /*size*/) { return QBFResult{QBF_E_FAILED}; },
    [](StorageLocation /*location*/, CDatabase* /*database*/, unsigned long /*channelInjector*/) {
        return QBFResult{QBF_E_FAILED};
    },
    [](StorageLocation /*location*/, CDatabase* /*database*/, unsigned long /*channelInjector*/) {
        return QBFResult{QBF_E_FAILED};
    },
    [](StorageLocation /*location*/, CVariable** /*variables*/, unsigned long /*count*/) {
        return QBFResult{QBF_E_FAILED};
    }};

TEST_P(EntryPoints, HandOutTheSameTableOnEveryCall) {
    EXPECT_EQ(Table(), Table());
}

TEST_P(EntryPoints, FillTheWholeTable) {
    const IStorageProvider* const table = Table();
    EXPECT_NE(table->Initialize, nullptr);
    EXPECT_NE(table->ReserveWritableSpace, nullptr);
    EXPECT_NE(table->StoreAll, nullptr);
    EXPECT_NE(table->RetrieveAll, nullptr);
    EXPECT_NE(table->StoreAllWritable, nullptr);
}

TEST_P(EntryPoints, FillTheTableAnewOnEveryCall) {
    const IStorageProvider before = *Table();
    *Table() = kForeignTable;
    const IStorageProvider* const table = Table();
    EXPECT_EQ(table->Initialize, before.Initialize);
    EXPECT_EQ(table->ReserveWritableSpace, before.ReserveWritableSpace);
    EXPECT_EQ(table->StoreAll, before.StoreAll);
    EXPECT_EQ(table->RetrieveAll, before.RetrieveAll);
    EXPECT_EQ(table->StoreAllWritable, before.StoreAllWritable);
}

// A trace library may well take a trace as a reason to store something.
TEST(Providers, AStoreInTheMiddleOfAnotherProvidersStoreLeavesBothFilesWhole) {
    const tal::test::TemporaryDirectory directory;
    IStorageProvider* const xml = tal::test::kXmlFiles.Prepare();
    IStorageProvider* const binary = tal::test::kBinaryFiles.Prepare();
    IStorageProvider* const secure = tal::test::kSecureFiles.Prepare();
    Database database;
    tal::test::BuildTree(database);
    std::string whole;
    for (IStorageProvider* provider : {xml, binary, secure}) {
        provider->StoreAll(0, database.Handle(), 0);
    }
    for (const FileProvider& files : tal::test::kFileProviders) {
        whole += ReadFile(files.defaultFile);
    }

    tal::test::TraceRecorder traces;
    int traced = 0;
    traces.MapLevelsBy([&](QBFResult /*code*/) {
        ++traced;
        if (traced == 20) {
            secure->StoreAll(0, database.Handle(), 0);
            xml->StoreAll(0, database.Handle(), 0);
        }
        return 100;
    });
    tal::test::TraceRecorder::SetThreshold(0);
    const QBFResult result = binary->StoreAll(0, database.Handle(), 0);

    EXPECT_EQ(result, QBFResult{QBF_OK});
    EXPECT_GT(traced, 20);
    std::string stored;
    for (const FileProvider& files : tal::test::kFileProviders) {
        stored += ReadFile(files.defaultFile);
    }
    EXPECT_EQ(stored, whole);
}

/// Whether the address lies in the library, and not on its heap or stack.
bool LiesInTheLibrary(const void* address) {
    Dl_info info = {};
    return dladdr(address, &info) != 0 && std::string(info.dli_fname).find("libTalDeviceSupport") != std::string::npos;
}

TEST(Providers, ATraceSiteIsWhatItWasWheneverItIsReadAfterwards) {
    const tal::test::TemporaryDirectory directory;
    Database database;
    tal::test::BuildTree(database);
    tal::test::TraceRecorder traces;
    for (const FileProvider& files : tal::test::kFileProviders) {
        IStorageProvider* const provider = files.Prepare("file");
        EXPECT_EQ(provider->StoreAll(0, database.Handle(), 0), QBFResult{QBF_OK});
        EXPECT_EQ(provider->RetrieveAll(0, database.Handle(), 0), QBFResult{QBF_OK});
        EXPECT_EQ(provider->RetrieveAll(99, database.Handle(), 0), QBFResult{QBF_E_FAILED});
    }
    EXPECT_GT(traces.Records().size(), 100U);
    for (const tal::test::TraceRecord& record : traces.Records()) {
        SCOPED_TRACE(ToLine(record));
        ASSERT_TRUE(LiesInTheLibrary(record.site));
        const auto& site = *static_cast<const TraceSite*>(record.site);
        EXPECT_EQ(site.sourcePath, record.sourcePath);
        EXPECT_EQ(site.sourceLine, record.line);
        EXPECT_EQ(site.operationName, record.operation);
        EXPECT_TRUE(LiesInTheLibrary(site.sourcePath));
        EXPECT_TRUE(LiesInTheLibrary(site.operationName));
    }
}

/// Where `unsigned long` has 64 bits: of a host's code only the low 32 count, also in the record that reports it.
constexpr auto kHostCodeBeyond32Bits = static_cast<QBFResult>(0x7700008123ULL);

/// Keeps the codes that are asked for as levels.
class AskedLevels {
public:
    AskedLevels() {
        traces_.MapLevelsBy([this](QBFResult code) {
            asked_.push_back(code);
            return static_cast<int>(code);
        });
    }

    /// The one record with this message has the level and the code line of 0x8123.
    void Expect8123In(const std::string& message) const {
        int records = 0;
        for (const tal::test::TraceRecord& record : traces_.Records()) {
            if (record.message == message) {
                ++records;
                EXPECT_EQ(record.level, 0x8123);
                EXPECT_EQ(record.codeLine, "      code: 0x8123\n");
            }
        }
        EXPECT_EQ(records, 1) << message;
        EXPECT_THAT(asked_, testing::Contains(QBFResult{0x8123}));
        EXPECT_THAT(asked_, testing::Each(testing::Lt(0x10000U)));
    }

private:
    tal::test::TraceRecorder traces_;
    std::vector<QBFResult> asked_;
};

TEST(Providers, TheRecordOfAHostsCodeShowsItsLow32Bits) {
    const tal::test::TemporaryDirectory directory;
    Database database;
    tal::test::BuildTree(database);
    for (const FileProvider& files : tal::test::kFileProviders) {
        SCOPED_TRACE(files.name);
        IStorageProvider* const provider = files.Prepare("file");
        EXPECT_EQ(provider->StoreAll(0, database.Handle(), 0), QBFResult{QBF_OK});
        tal::test::HostCalls host;
        host.Override("CDatabase_SetNotRetrievedVariablesToDefault", 1, kHostCodeBeyond32Bits);
        const AskedLevels levels;
        EXPECT_EQ(provider->RetrieveAll(0, database.Handle(), 0), QBFResult{QBF_E_FAILED});
        levels.Expect8123In("Error when setting missing variables to default");
    }
}

TEST(Providers, TheRecordOfAContentThatCannotBeHadShowsTheLow32BitsOfTheHostsCode) {
    const tal::test::TemporaryDirectory directory;
    Database database;
    database.AddRegion("R").AddObject("O").U8("a", 1);
    IStorageProvider* const provider = tal::test::kXmlFiles.Prepare("file");
    {
        tal::test::HostCalls host;
        host.Fail("CVariable_GetContentAddress", 1, kHostCodeBeyond32Bits);
        const AskedLevels levels;
        EXPECT_EQ(provider->StoreAll(0, database.Handle(), 0), QBFResult{QBF_E_FAILED});
        levels.Expect8123In("Could not get content address");
    }
    EXPECT_EQ(provider->StoreAll(0, database.Handle(), 0), QBFResult{QBF_OK});
    tal::test::HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, kHostCodeBeyond32Bits);
    const AskedLevels levels;
    EXPECT_EQ(provider->RetrieveAll(0, database.Handle(), 0), QBFResult{QBF_OK});
    levels.Expect8123In("Could not get content address");
}

}  // namespace
