#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/ReferenceHost.h"
#include "support/AllocationFaults.h"
#include "support/CLibraryFaults.h"
#include "support/CallWatch.h"
#include "support/Files.h"
#include "support/HostCalls.h"
#include "support/TraceRecorder.h"

namespace {

/// What the base's entry point answers in place of its own result; nothing is handed out when it is a failure.
bool answersInPlaceOfTheBase = false;
QBFResult answerOfTheBase = QBF_OK;

}  // namespace

QBFResult CXmlFileStorageProviderBase_GetInterface(IStorageProvider** out) {
    static auto* const real =
        tal::test::Real<decltype(CXmlFileStorageProviderBase_GetInterface)>("CXmlFileStorageProviderBase_GetInterface");
    if (!answersInPlaceOfTheBase) {
        return real(out);
    }
    if (answerOfTheBase < QBF_E_FAILED) {
        real(out);
    }
    return answerOfTheBase;
}

namespace tal::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Lets the base's entry point answer `result` while it lives.
class BaseAnswers {
public:
    explicit BaseAnswers(QBFResult result) {
        answersInPlaceOfTheBase = true;
        answerOfTheBase = result;
    }
    ~BaseAnswers() { answersInPlaceOfTheBase = false; }
    BaseAnswers(const BaseAnswers&) = delete;
    BaseAnswers& operator=(const BaseAnswers&) = delete;
};

/// The tables that the three entry points hand out, and an empty working directory for what their operations do.
class XmlInterfaces : public testing::Test {
protected:
    XmlInterfaces() {
        CXmlFileStorageProviderBase_GetInterface(&base_);
        CReadOnlyXmlFileStorageProvider_GetInterface(&readOnly_);
        CXmlFileStorageProvider_GetInterface(&readWrite_);
        traces_.Clear();
    }

    [[nodiscard]] bool DirectoryIsEmpty() const { return std::filesystem::is_empty(directory_.Path()); }

    TemporaryDirectory directory_;
    TraceRecorder traces_;
    host::Database database_;
    IStorageProvider* base_ = nullptr;
    IStorageProvider* readOnly_ = nullptr;
    IStorageProvider* readWrite_ = nullptr;
};

TEST_F(XmlInterfaces, BaseTracesItsEntryAndSucceeds) {
    IStorageProvider* provider = nullptr;
    EXPECT_EQ(CXmlFileStorageProviderBase_GetInterface(&provider), 0U);

    EXPECT_NE(provider, nullptr);
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 CXmlFileStorageProviderBase_GetInterface: "
                                             "Enter: CXmlFileStorageProviderBase_GetInterface"));
}

TEST_F(XmlInterfaces, BaseTableStoresAndRetrieves) {
    CXmlFileStorageProviderBase_SetStorageFilenames("stored.xml", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                    nullptr, nullptr, nullptr);
    database_.AddRegion("R").AddObject("O").U8("v", 5);

    EXPECT_EQ(base_->Initialize(0), 0U);
    EXPECT_EQ(base_->StoreAll(0, database_.Handle(), 0), 0U);
    database_.SetAllToZero();
    EXPECT_EQ(base_->RetrieveAll(0, database_.Handle(), 0), 0U);

    EXPECT_EQ(database_.At("R/O/v").Get<std::uint8_t>(), 5);
}

TEST_F(XmlInterfaces, BaseDoesNotOfferToReserveWritableSpace) {
    EXPECT_EQ(base_->ReserveWritableSpace(0, 100), 0x1008U);
    EXPECT_THAT(traces_.Lines(), IsEmpty());
}

/// Surprise: `QBF_W_NOT_SUPPORTED` is a success
TEST_F(XmlInterfaces, BaseDoesNotOfferToStoreTheWritableSubset) {
    EXPECT_EQ(base_->StoreAllWritable(0, nullptr, 0), 0x1008U);
    EXPECT_THAT(traces_.Lines(), IsEmpty());
    EXPECT_TRUE(DirectoryIsEmpty());
}

TEST_F(XmlInterfaces, ReadWriteConfigurationHandsOutTheTableOfTheBase) {
    EXPECT_EQ(readWrite_, base_);
}

TEST_F(XmlInterfaces, ReadWriteConfigurationSetsItsFileNamesThenAsksTheBase) {
    EXPECT_EQ(CXmlFileStorageProvider_GetInterface(&readWrite_), 0U);

    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre("0x800 CXmlFileStorageProviderBase_SetStorageFilenames: "
                    "Enter: CXmlFileStorageProviderBase_SetStorageFilenames",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: "
                    "Set storage: storage_calibration_database.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: storage_hardware_database.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: storage_hardware_database.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: storage_hardware_database.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: "
                    "Set storage: storage_application_configuration.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: CommonBoard.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: MicrowaveBoard.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: /lib/firmware/bin/Drivers.xml",
                    "0x800 CXmlFileStorageProviderBase_GetInterface: "
                    "Enter: CXmlFileStorageProviderBase_GetInterface"));
}

TEST_F(XmlInterfaces, ReadWriteConfigurationReturnsWhateverTheBaseReturns) {
    const BaseAnswers answer(0x8003);
    IStorageProvider* provider = nullptr;

    EXPECT_EQ(CXmlFileStorageProvider_GetInterface(&provider), 0x8003U);
    EXPECT_EQ(provider, nullptr);
}

TEST_F(XmlInterfaces, ReadOnlyConfigurationSetsItsFileNamesThenAsksTheBase) {
    EXPECT_EQ(CReadOnlyXmlFileStorageProvider_GetInterface(&readOnly_), 0U);

    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre("0x800 CReadOnlyXmlFileStorageProvider_GetInterface: "
                    "CReadOnlyXmlFileStorageProvider_GetInterface: Setting storage filenames...",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: "
                    "Enter: CXmlFileStorageProviderBase_SetStorageFilenames",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: "
                    "Set storage: storage_calibration_database.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: storage_hardware_database.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: "
                    "Set storage: storage_application_configuration.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: CommonBoard.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: MicrowaveBoard.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: MicrowaveBoard.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: MicrowaveBoard.xml",
                    "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: /lib/firmware/bin/Drivers.xml",
                    "0x800 CXmlFileStorageProviderBase_GetInterface: "
                    "Enter: CXmlFileStorageProviderBase_GetInterface"));
}

TEST_F(XmlInterfaces, ReadOnlyConfigurationHandsOutItsOwnTable) {
    EXPECT_NE(readOnly_, base_);
}

TEST_F(XmlInterfaces, ReadOnlyConfigurationInitializesAndRetrievesLikeTheBase) {
    EXPECT_EQ(readOnly_->Initialize, base_->Initialize);
    EXPECT_EQ(readOnly_->RetrieveAll, base_->RetrieveAll);
}

TEST_F(XmlInterfaces, ReadOnlyConfigurationLeavesTheTableOfTheBaseAlone) {
    const IStorageProvider before = *base_;

    CReadOnlyXmlFileStorageProvider_GetInterface(&readOnly_);

    EXPECT_EQ(base_->ReserveWritableSpace, before.ReserveWritableSpace);
    EXPECT_EQ(base_->StoreAll, before.StoreAll);
    EXPECT_EQ(base_->StoreAllWritable, before.StoreAllWritable);
}

TEST_F(XmlInterfaces, ReadOnlyConfigurationIgnoresReservingWritableSpace) {
    EXPECT_EQ(readOnly_->ReserveWritableSpace(0, 100), 0U);
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 CReadOnlyXmlFileStorageProvider_ReserveWritableSpace: "
                                             "Ignoring ReserveWritableSpace operation"));
}

/// Surprise: Stores at the locations 7, 8 and 11 fail
TEST_F(XmlInterfaces, ReadOnlyConfigurationIgnoresStoringAll) {
    database_.AddRegion("R").AddObject("O").U8("v", 5);
    const HostCalls host;
    const CLibraryFaults files;

    EXPECT_EQ(readOnly_->StoreAll(0, database_.Handle(), 1), 0U);

    EXPECT_THAT(traces_.Lines(),
                ElementsAre("0x800 CReadOnlyXmlFileStorageProvider_StoreAll: Ignoring StoreAll operation"));
    EXPECT_THAT(host.Calls(), IsEmpty());
    EXPECT_THAT(files.Calls(), IsEmpty());
    EXPECT_TRUE(DirectoryIsEmpty());
}

TEST_F(XmlInterfaces, ReadOnlyConfigurationIgnoresStoringTheWritableSubset) {
    EXPECT_EQ(readOnly_->StoreAllWritable(0, nullptr, 3), 0U);
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 CReadOnlyXmlFileStorageProvider_StoreAllWritable: "
                                             "Ignoring StoreAllWritable operation"));
}

TEST_F(XmlInterfaces, ReadOnlyConfigurationIgnoresInvalidLocations) {
    EXPECT_EQ(readOnly_->ReserveWritableSpace(12, 0), 0U);
    EXPECT_EQ(readOnly_->StoreAll(12, nullptr, 0), 0U);
    EXPECT_EQ(readOnly_->StoreAllWritable(12, nullptr, 0), 0U);
}

TEST_F(XmlInterfaces, ReadOnlyConfigurationReportsAFailureOfTheBase) {
    const BaseAnswers failure(0x8003);
    IStorageProvider* provider = nullptr;

    EXPECT_EQ(CReadOnlyXmlFileStorageProvider_GetInterface(&provider), 0x8003U);

    EXPECT_EQ(provider, nullptr);
    EXPECT_THAT(traces_.Failures(), ElementsAre("0x8003 CReadOnlyXmlFileStorageProvider_GetInterface: "
                                                "Could not get base class interface"));
}

TEST_F(XmlInterfaces, ReadOnlyConfigurationTakesTheBasesWarningForASuccess) {
    const BaseAnswers warning(0x1000);
    IStorageProvider* provider = nullptr;

    EXPECT_EQ(CReadOnlyXmlFileStorageProvider_GetInterface(&provider), 0U);

    EXPECT_EQ(provider, readOnly_);
    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

TEST_F(XmlInterfaces, RecordsNameTheSourceFileOfTheirConfiguration) {
    CReadOnlyXmlFileStorageProvider_GetInterface(&readOnly_);

    ASSERT_FALSE(traces_.Records().empty());
    EXPECT_EQ(traces_.Records().front().sourcePath, "src/Device/DeviceSupport/private/CReadOnlyXmlFileStorageProvider");
    EXPECT_EQ(traces_.Records().back().sourcePath, "src/Device/DeviceSupport/private/CXmlFileStorageProviderBase");
}

TEST_F(XmlInterfaces, EveryTraceCallHasALineOfItsOwn) {
    readOnly_->StoreAll(0, nullptr, 0);
    readOnly_->StoreAllWritable(0, nullptr, 0);

    ASSERT_EQ(traces_.Records().size(), 2U);
    EXPECT_GT(traces_.Records()[0].line, 0U);
    EXPECT_LT(traces_.Records()[0].line, traces_.Records()[1].line);
}

TEST_F(XmlInterfaces, ConfigurationsWorkSilentlyBelowTheThreshold) {
    traces_.SetThreshold(-1);

    EXPECT_EQ(CReadOnlyXmlFileStorageProvider_GetInterface(&readOnly_), 0U);
    EXPECT_EQ(readOnly_->StoreAll(0, database_.Handle(), 0), 0U);

    EXPECT_THAT(traces_.Records(), IsEmpty());
}

TEST_F(XmlInterfaces, NoEntryPointAllocatesOrTouchesAFile) {
    const CLibraryFaults files;
    const AllocationFaults memory;

    CReadOnlyXmlFileStorageProvider_GetInterface(&readOnly_);
    CXmlFileStorageProvider_GetInterface(&readWrite_);

    EXPECT_THAT(files.Calls(), IsEmpty());
    EXPECT_EQ(memory.Allocations(), 0);
}

}  // namespace

}  // namespace tal::test
