#include "support/BinaryFixture.h"
#include "support/SecureRecords.h"

namespace tal::test {

namespace {

using ::testing::Contains;

/// The channel number outlives the provider's other settings, so every test ends without one.
class SecureChannel : public SecureProviderTest {
protected:
    ~SecureChannel() override { CSecureBinaryFileStorageProvider_SetChannelNumber(0); }

    /// What the only variable of the database is stored under for channel 3.
    std::string StoredPath() {
        CSecureBinaryFileStorageProvider_SetChannelNumber(3);
        const std::string bytes = StoredBytes();
        EXPECT_GT(bytes.size(), kPathAt);
        return bytes.substr(kPathAt, bytes.find('\0', kPathAt) - kPathAt);
    }

    /// The path that is looked up for the stored one.
    std::string LookedUpPath(const std::string& stored) {
        const HostCalls host;
        EXPECT_EQ(RetrieveFrom(SecureRecord(stored, Bytes({1}))), QBFResult{QBF_OK});
        for (const std::string& call : host.Calls()) {
            const std::string lookUp = "CDatabase_GetVariableByPath ";
            if (call.rfind(lookUp, 0) == 0) {
                return call.substr(lookUp.size());
            }
        }
        return "nothing looked up";
    }
};

TEST_F(SecureChannel, RegionNameLosesTheNumberOfItsCalibrationTab) {
    database_.AddRegion("CalibrationTabRf3").AddObject("O").U8("V", 1);
    EXPECT_EQ(StoredPath(), "CalibrationTabRfX/O/V");
    EXPECT_THAT(traces_.Lines(),
                Contains(Info("ManageStore", "RegionPath after channel injection: CalibrationTabRfX")));
}

TEST_F(SecureChannel, RegionNameIsCutBeforeItLosesTheNumber) {
    database_.AddRegion(std::string(22, 'r') + "CalibrationTabRf37").AddObject("O").U8("V", 1);
    EXPECT_EQ(StoredPath(), std::string(22, 'r') + "CalibrationTabRfX/O/V");
}

TEST_F(SecureChannel, DottedChannelOfARegionIsReplacedInTheFinishedPathOnly) {
    database_.AddRegion("Channel.3.").AddObject("O").U8("V", 1);
    EXPECT_EQ(StoredPath(), "Channel.X./O/V");
    EXPECT_THAT(traces_.Lines(), Contains(Info("ManageStore", "RegionPath after channel injection: Channel.3.")));
}

TEST_F(SecureChannel, ObjectNamesLoseBothNumbers) {
    database_.AddRegion("R").AddObject("Channel.3.").AddNested("CalibrationTabRf3").U8("V", 1);
    EXPECT_EQ(StoredPath(), "R/Channel.X./CalibrationTabRfX/V");
    EXPECT_THAT(traces_.Lines(),
                Contains(Info("ProcessObject", "ObjectPath after channel injection: Channel.X./CalibrationTabRfX/")));
}

TEST_F(SecureChannel, VariableNameLosesBothNumbers) {
    database_.AddRegion("R").AddObject("O").U8("Channel.3.CalibrationTabRf3", 1);
    EXPECT_EQ(StoredPath(), "R/O/Channel.X.CalibrationTabRfX");
    EXPECT_THAT(
        traces_.Lines(),
        Contains(Info("ProcessObject", "VariablePath after channel injection: R/O/Channel.X.CalibrationTabRfX")));
}

TEST_F(SecureChannel, AVariableNameThatGetsShorterIsWrittenWithItsNewLength) {
    CSecureBinaryFileStorageProvider_SetChannelNumber(4294967295);
    database_.AddRegion("R").AddObject("O").U8("Channel.4294967295.Gain", 1);
    EXPECT_EQ(StoredBytes(), SecureRecord("R/O/Channel.X.Gain", Bytes({1})));
}

TEST_F(SecureChannel, OnlyTheFirstOccurrenceIsReplacedEachTime) {
    database_.AddRegion("R").AddObject("Channel.3.Channel.3.Channel.3.").U8("V", 1);
    // Once in the object part, once in the finished path.
    EXPECT_EQ(StoredPath(), "R/Channel.X.Channel.X.Channel.3./V");
}

TEST_F(SecureChannel, OtherChannelsStay) {
    database_.AddRegion("CalibrationTabRf4").AddObject("Channel.33.").U8("Channel.2.", 1);
    EXPECT_EQ(StoredPath(), "CalibrationTabRf4/Channel.33./Channel.2.");
}

TEST_F(SecureChannel, LongerNumbersThatBeginAlikeAreTakenForTheChannelInCalibrationTabs) {
    database_.AddRegion("CalibrationTabRf35").AddObject("O").U8("V", 1);
    EXPECT_EQ(StoredPath(), "CalibrationTabRfX5/O/V");
}

TEST_F(SecureChannel, WithoutAChannelNumberPathsStayAsTheyAreUntraced) {
    database_.AddRegion("CalibrationTabRf0").AddObject("Channel.0.").U8("V", 1);
    EXPECT_EQ(StoredBytes(), SecureRecord("CalibrationTabRf0/Channel.0./V", Bytes({1})));
    for (const std::string& line : traces_.Lines()) {
        EXPECT_EQ(line.find("channel injection"), std::string::npos) << line;
    }
}

/// Promise 17
TEST_F(SecureChannel, NamesOfTheHostAreNotWrittenTo) {
    const std::string longName(200, 'n');
    host::Object& object = database_.AddRegion("CalibrationTabRf3").AddObject("Channel.3.CalibrationTabRf3");
    object.U8("Channel.3.", 1).AddNested("N", longName).U8(longName, 2);
    CSecureBinaryFileStorageProvider_SetChannelNumber(3);
    EXPECT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(database_.Regions()[0]->Name(), "CalibrationTabRf3");
    EXPECT_EQ(object.Name(), "Channel.3.CalibrationTabRf3");
    EXPECT_EQ(object.Variables()[0]->Name(), "Channel.3.");
    EXPECT_EQ(object.Variables()[1]->Objects()[0]->Name(), longName);
    EXPECT_EQ(object.Variables()[1]->Objects()[0]->Variables()[0]->Name(), longName);
}

TEST_F(SecureChannel, TheObjectPartHolds1209Characters) {
    host::Object& outer = database_.AddRegion("R").AddObject(std::string(700, 'o'));
    outer.AddNested(std::string(506, 'p')).AddNested(std::string(10, 'q'));
    CSecureBinaryFileStorageProvider_SetChannelNumber(3);
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    const std::string twoLevels = std::string(700, 'o') + "/" + std::string(506, 'p') + "/";
    ASSERT_EQ(twoLevels.size(), 1208U);
    EXPECT_THAT(traces_.Lines(), Contains(Info("ProcessObject", "ObjectPath after channel injection: " + twoLevels)));
    EXPECT_THAT(traces_.Lines(),
                Contains(Info("ProcessObject", "ObjectPath after channel injection: " + twoLevels + "q")));
}

TEST_F(SecureChannel, PathsAreLookedUpWithTheNumber) {
    CSecureBinaryFileStorageProvider_SetChannelNumber(12);
    EXPECT_EQ(LookedUpPath("R/Channel.X./CalibrationTabRfX/V"), "R/Channel.12./CalibrationTabRf12/V");
    EXPECT_THAT(traces_.Lines(),
                Contains(Info("PrepareForVariableUpdate",
                              "VariablePath after channel injection: R/Channel.12./CalibrationTabRf12/V")));
}

TEST_F(SecureChannel, OnlyTheFirstPlaceholderOfEachKindGetsTheNumber) {
    CSecureBinaryFileStorageProvider_SetChannelNumber(12);
    EXPECT_EQ(LookedUpPath("Channel.X.Channel.X.CalibrationTabRfXCalibrationTabRfX"),
              "Channel.12.Channel.X.CalibrationTabRf12CalibrationTabRfX");
}

TEST_F(SecureChannel, WithoutAChannelNumberPlaceholdersAreLookedUpLiterally) {
    EXPECT_EQ(LookedUpPath("R/Channel.X./CalibrationTabRfX/V"), "R/Channel.X./CalibrationTabRfX/V");
}

TEST_F(SecureChannel, PathThatGrowsBeyond511CharactersIsCut) {
    CSecureBinaryFileStorageProvider_SetChannelNumber(4294967295UL);
    const std::string tail(500, 't');
    EXPECT_EQ(LookedUpPath("Channel.X." + tail), "Channel.4294967295." + tail.substr(0, 511 - 19));
}

TEST_F(SecureChannel, OneFileServesEveryChannel) {
    database_.AddRegion("CalibrationTabRf1").AddObject("Channel.1.").U32("Gain", 7);
    CSecureBinaryFileStorageProvider_SetChannelNumber(1);
    const std::string bytes = StoredBytes();

    host::Database other;
    other.AddRegion("CalibrationTabRf2").AddObject("Channel.2.").U32("Gain", 0);
    CSecureBinaryFileStorageProvider_SetChannelNumber(2);
    EXPECT_EQ(provider_->RetrieveAll(0, other.Handle(), 0), QBFResult{QBF_OK});
    EXPECT_EQ(other.At("CalibrationTabRf2/Channel.2./Gain").Get<std::uint32_t>(), 7U);
    EXPECT_EQ(provider_->StoreAll(0, other.Handle(), 0), QBFResult{QBF_OK});
    EXPECT_EQ(ReadFile(kCalibrationFile), bytes);
}

/// Surprise: Channel injector and channel number are two things
TEST_F(SecureChannel, TheNumberSurvivesInitializeAndTheEntryPoint) {
    database_.AddRegion("R").AddObject("Channel.3.").U8("V", 1);
    CSecureBinaryFileStorageProvider_SetChannelNumber(3);
    CSecureBinaryFileStorageProvider_GetInterface(&provider_);
    provider_->Initialize(0);
    CSecureBinaryFileStorageProvider_SetStorageFilenames(kCalibrationFile, "", "");
    EXPECT_EQ(StoredBytes(), SecureRecord("R/Channel.X./V", Bytes({1})));
}

TEST_F(SecureChannel, SettingTheNumberIsUntraced) {
    CSecureBinaryFileStorageProvider_SetChannelNumber(3);
    EXPECT_EQ(traces_.MappingCalls(), 0);
}

}  // namespace

}  // namespace tal::test
