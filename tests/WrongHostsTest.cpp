/// Hosts that break the contract: what the library does about it, the same in all file providers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "host/ReferenceHost.h"
#include "support/BinaryTree.h"
#include "support/CLibraryFaults.h"
#include "support/FileProviders.h"
#include "support/Files.h"
#include "support/HostCalls.h"
#include "support/TraceRecorder.h"

namespace {

using tal::test::CLibraryFaults;
using tal::test::FileProvider;
using tal::test::HostCalls;
using tal::test::TemporaryDirectory;
using tal::test::TraceRecorder;

constexpr const char* kFile = "file";

/// What a provider calls itself in its traces.
struct Operations {
    const char* storeAll;
    const char* retrieveAll;
    const char* storing;
    const char* retrieving;
    const char* walk;  ///< The operation that asks for a variable's name.
};

struct WrongHostCase {
    const FileProvider* provider;
    Operations operations;
};

void PrintTo(const WrongHostCase& wrongHost, std::ostream* stream) {
    *stream << wrongHost.provider->name;
}

constexpr WrongHostCase kXml = {
    &tal::test::kXmlFiles,
    {"CXmlFileStorageProviderBase_StoreAll", "CXmlFileStorageProviderBase_RetrieveAll",
     "CXmlFileStorageProviderBase: Storing all...", "XmlFileStorageProviderBase: Retrieving all...",
     "CXmlFileStorageProviderBase_StoreObject"}};
constexpr WrongHostCase kBinary = {
    &tal::test::kBinaryFiles,
    {"CBinaryFileStorageProvider_StoreAll", "CBinaryFileStorageProvider_RetrieveAll",
     "CBinaryFileStorageProvider: Storing all...", "CBinaryFileStorageProvider: Retrieving all...",
     "CBinaryFileStorageProvider_ProcessObject"}};
constexpr WrongHostCase kSecure = {
    &tal::test::kSecureFiles,
    {"CSecureBinaryFileStorageProvider_StoreAll", "CSecureBinaryFileStorageProvider_RetrieveAll",
     "CSecureBinaryFileStorageProvider: Storing all...", "CSecureBinaryFileStorageProvider: Retrieving all...",
     "CSecureBinaryFileStorageProvider_ProcessObject"}};

std::string Line(const char* code, const char* operation, const char* message) {
    return std::string(code) + ' ' + operation + ": " + message;
}

class WrongHost : public testing::TestWithParam<WrongHostCase> {
protected:
    WrongHost() { traces_.Clear(); }

    TemporaryDirectory directory_;
    tal::host::Database database_;
    IStorageProvider* provider_ = GetParam().provider->Prepare(kFile);
    TraceRecorder traces_;
};

TEST_P(WrongHost, AStoreWithoutADatabaseIsReportedAndFails) {
    const QBFResult result = provider_->StoreAll(0, nullptr, 0);

    EXPECT_EQ(result, QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Lines(),
                testing::ElementsAre(Line("0x800", GetParam().operations.storeAll, GetParam().operations.storing),
                                     Line("0x8002", GetParam().operations.storeAll, "database is a nullptr")));
}

TEST_P(WrongHost, AStoreWithoutADatabaseLeavesTheFileAlone) {
    tal::test::WriteFile(kFile, "what stood there");
    CLibraryFaults files;

    provider_->StoreAll(0, nullptr, 0);

    EXPECT_THAT(files.Calls(), testing::IsEmpty());
    EXPECT_EQ(tal::test::ReadFile(kFile), "what stood there");
}

TEST_P(WrongHost, AnIterationThatEndsOneCallLateIsAVariableWithoutAName) {
    tal::host::Object& object = database_.AddRegion("R").AddObject("O");
    object.U8("first", 1).U8("last", 2);
    HostCalls host;
    host.Override("CStorageObject_GetNextVariable", 2, QBF_OK);
    host.Fail("CStorageObject_GetNextVariable", 3, QBF_W_END_OF_VARIABLES);

    const QBFResult result = provider_->StoreAll(0, database_.Handle(), 0);

    EXPECT_EQ(result, QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Lines(),
                testing::Contains(Line("0x8004", GetParam().operations.walk, "Could not get variable name")).Times(1));
}

TEST_P(WrongHost, AnIterationThatEndsOneCallLateStoresWhatItHandedOut) {
    tal::host::Object& object = database_.AddRegion("R").AddObject("O");
    object.U8("first", 1).U8("last", 2);
    EXPECT_EQ(provider_->StoreAll(0, database_.Handle(), 0), QBFResult{QBF_OK});
    const std::string stored = tal::test::ReadFile(kFile);
    HostCalls host;
    host.Override("CStorageObject_GetNextVariable", 2, QBF_OK);
    host.Fail("CStorageObject_GetNextVariable", 3, QBF_W_END_OF_VARIABLES);

    provider_->StoreAll(0, database_.Handle(), 0);

    EXPECT_EQ(tal::test::ReadFile(kFile), stored);
}

TEST_P(WrongHost, NothingIsAskedOfAVariableThatALateEndOfTheIterationDoesNotHandOut) {
    database_.AddRegion("R").AddObject("O").U8("a", 1);
    HostCalls host;
    host.Override("CStorageObject_GetNextVariable", 1, QBF_OK);
    host.Fail("CStorageObject_GetNextVariable", 2, QBF_W_END_OF_VARIABLES);

    provider_->StoreAll(0, database_.Handle(), 0);

    EXPECT_EQ(host.Count("CVariable_GetName"), 1);
    EXPECT_EQ(host.Count("CVariable_GetNoOfElements"), 1);
}

TEST_P(WrongHost, AnIterationThatNeverEndsAndHandsNothingOutIsLeftAtItsFirstStep) {
    database_.AddRegion("R").AddObject("O").U8("a", 1);
    HostCalls host;
    host.FailAll("CStorageObject_GetNextVariable", 0x80000000);

    const QBFResult result = provider_->StoreAll(0, database_.Handle(), 0);

    EXPECT_EQ(result, QBFResult{QBF_E_FAILED});
    EXPECT_EQ(host.Count("CStorageObject_GetNextVariable"), 1);
}

TEST_P(WrongHost, ANameThatIsNeverHandedOutIsUsedNowhere) {
    tal::test::BuildTree(database_);
    HostCalls host;
    host.FailAll("CStorageObject_GetName", 0xFFFFFFFF);

    const QBFResult result = provider_->StoreAll(0, database_.Handle(), 0);

    EXPECT_EQ(result, QBFResult{QBF_E_FAILED});
}

TEST_P(WrongHost, TheHostIsNotAskedForTheNameOfANullElementOfAnObjectArray) {
    tal::host::Object& object = database_.AddRegion("R").AddObject("O");
    object.AddToArray("array", "first").U8("a", 1);
    object.AddToArray("array", "second").U8("b", 2);
    auto** const elements = static_cast<CStorageObject**>(database_.At("R/O/array").Content());
    CStorageObject* const first = elements[0];
    elements[0] = nullptr;
    HostCalls host;

    provider_->StoreAll(0, database_.Handle(), 0);

    EXPECT_EQ(host.Count("CStorageObject_GetName null"), 0);
    elements[0] = first;
}

INSTANTIATE_TEST_SUITE_P(FileProviders, WrongHost, testing::Values(kXml, kBinary, kSecure),
                         testing::PrintToStringParamName());

/// The binary retrieve reads the database itself.
class WrongHostOfBinary : public WrongHost {};

TEST_P(WrongHostOfBinary, ARetrieveWithoutADatabaseIsReportedAndFails) {
    CLibraryFaults files;

    const QBFResult result = provider_->RetrieveAll(0, nullptr, 0);

    EXPECT_EQ(result, QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Lines(),
                testing::ElementsAre(Line("0x800", GetParam().operations.retrieveAll, GetParam().operations.retrieving),
                                     Line("0x8002", GetParam().operations.retrieveAll, "database is a nullptr")));
    EXPECT_THAT(files.Calls(), testing::IsEmpty());
}

TEST_P(WrongHostOfBinary, ARetrieveWithoutADatabaseDoesNotReachTheHost) {
    HostCalls host;

    provider_->RetrieveAll(0, nullptr, 0);

    EXPECT_THAT(host.Calls(), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(FileProviders, WrongHostOfBinary, testing::Values(kBinary), testing::PrintToStringParamName());

/// The retrieves that leave the database to the host.
class WrongHostOfAReaderByPath : public WrongHost {};

TEST_P(WrongHostOfAReaderByPath, ARetrieveHandsAMissingDatabaseOnToTheHost) {
    HostCalls host;

    const QBFResult result = provider_->RetrieveAll(0, nullptr, 0);

    EXPECT_EQ(result, QBFResult{QBF_E_FAILED});
    EXPECT_EQ(host.Count("CDatabase_UpdatePathHashTable"), 1);
    EXPECT_THAT(traces_.Lines(), testing::Not(testing::Contains(testing::HasSubstr("database is a nullptr"))));
}

INSTANTIATE_TEST_SUITE_P(FileProviders, WrongHostOfAReaderByPath, testing::Values(kXml, kSecure),
                         testing::PrintToStringParamName());

/// A node without an element is outside the contract, and an element without a name as far as the library goes on.
class WrongHostLists : public testing::Test {
protected:
    TemporaryDirectory directory_;
    tal::host::Database database_;
    IStorageProvider* provider_ = tal::test::kXmlFiles.Prepare(kFile);
    TraceRecorder traces_;
};

TEST_F(WrongHostLists, ANullObjectIsOneWithoutAName) {
    CStorageRegion* const region = database_.AddRegion("R").Handle();
    auto* const objects = reinterpret_cast<HostListNode*>(reinterpret_cast<void**>(region) + 1);
    HostListNode node = {objects, objects, nullptr};
    objects->next = &node;

    const QBFResult result = provider_->StoreAll(0, database_.Handle(), 0);

    EXPECT_EQ(result, QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Lines(), testing::Contains("0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get "
                                                   "object name"));
}

TEST_F(WrongHostLists, ANullRegionIsOneWithoutAName) {
    HostListNode regions{};
    HostListNode node = {&regions, &regions, nullptr};
    regions.next = &node;

    const QBFResult result = provider_->StoreAll(0, reinterpret_cast<CDatabase*>(&regions), 0);

    EXPECT_EQ(result, QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Lines(), testing::Contains("0x8004 CXmlFileStorageProviderBase_ManageStore: Could not get "
                                                   "region name"));
}

}  // namespace
