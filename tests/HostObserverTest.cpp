#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DatabaseObserver.h"
#include "Device/DeviceSupport/DeviceSupport.h"
#include "ReferenceHost.h"
#include "support/BinaryFixture.h"
#include "support/SecureRecords.h"
#include "support/XmlReaderFixture.h"

namespace {

using tal::host::Database;
using tal::host::DatabaseObserver;
using tal::host::Object;
using tal::host::Variable;
using tal::test::Bytes;
using tal::test::ObjectElement;
using tal::test::SecureHeader;
using tal::test::SecureRecord;
using tal::test::Value;
using testing::ElementsAre;
using testing::IsEmpty;

/// One line per call.
class Recorder final : public DatabaseObserver {
public:
    void OnLookUp(std::string_view path, const Variable* found) noexcept override {
        lines_.push_back("look-up " + std::string(path) + (found == nullptr ? ": none" : ": " + found->Path()));
    }
    void OnContentAddress(const Variable& variable) noexcept override {
        lines_.push_back("address " + variable.Path());
    }
    void OnMark(const Variable& variable, bool retrieved) noexcept override {
        lines_.push_back((retrieved ? "mark " : "unmark ") + variable.Path());
    }
    void OnDefaulting() noexcept override { lines_.emplace_back("defaulting"); }

    [[nodiscard]] const std::vector<std::string>& Lines() const { return lines_; }

private:
    std::vector<std::string> lines_;
};

class HostObserver : public testing::Test {
protected:
    HostObserver() {
        object_.U8("a", 1);
        CDatabase_UpdatePathHashTable(database_.Handle());
    }

    void LookUp(const char* path) {
        CVariable* variable = nullptr;
        CDatabase_GetVariableByPath(database_.Handle(), path, &variable);
    }

    Database database_;
    Object& object_ = database_.AddRegion("R").AddObject("O");
    Recorder recorder_;
};

TEST_F(HostObserver, SeesTheVariableThatALookUpFinds) {
    database_.SetObserver(&recorder_);

    LookUp("R/O/a");

    EXPECT_THAT(recorder_.Lines(), ElementsAre("look-up R/O/a: R/O/a"));
}

TEST_F(HostObserver, SeesALookUpThatFindsNothing) {
    database_.SetObserver(&recorder_);

    LookUp("R/O/zzz");

    EXPECT_THAT(recorder_.Lines(), ElementsAre("look-up R/O/zzz: none"));
}

TEST_F(HostObserver, SeesThatTheContentIsAskedFor) {
    database_.SetObserver(&recorder_);
    void* address = nullptr;

    CVariable_GetContentAddress(database_.At("R/O/a").Handle(), &address);

    EXPECT_THAT(recorder_.Lines(), ElementsAre("address R/O/a"));
}

TEST_F(HostObserver, SeesAMarkAndThatItIsTakenBack) {
    database_.SetObserver(&recorder_);

    CVariable_SetRetrieved(database_.At("R/O/a").Handle(), 1);
    CVariable_SetRetrieved(database_.At("R/O/a").Handle(), 0);

    EXPECT_THAT(recorder_.Lines(), ElementsAre("mark R/O/a", "unmark R/O/a"));
}

TEST_F(HostObserver, SeesTheDefaultingBeforeAnyVariableIsChanged) {
    struct ContentAtDefaulting final : DatabaseObserver {
        explicit ContentAtDefaulting(const Variable& variable) : variable_(variable) {}
        void OnDefaulting() noexcept override { seen_ = variable_.Get<std::uint8_t>(); }
        const Variable& variable_;
        int seen_ = -1;
    } observer(database_.At("R/O/a"));
    database_.At("R/O/a").Set<std::uint8_t>(9);
    database_.SetObserver(&observer);

    CDatabase_SetNotRetrievedVariablesToDefault(database_.Handle());

    EXPECT_EQ(observer.seen_, 9);
}

TEST_F(HostObserver, SeesVariablesOfNestedObjects) {
    object_.AddNested("n").U8("b");
    database_.SetObserver(&recorder_);

    CVariable_SetRetrieved(database_.At("R/O/n/b").Handle(), 1);

    EXPECT_THAT(recorder_.Lines(), ElementsAre("mark R/O/n/b"));
}

TEST_F(HostObserver, SeesNothingOfCallsThatFailForANullArgument) {
    database_.SetObserver(&recorder_);

    CDatabase_GetVariableByPath(database_.Handle(), "R/O/a", nullptr);
    CVariable_GetContentAddress(database_.At("R/O/a").Handle(), nullptr);

    EXPECT_THAT(recorder_.Lines(), IsEmpty());
}

TEST_F(HostObserver, SeesNothingOfAnotherDatabase) {
    Database other;
    other.SetObserver(&recorder_);

    LookUp("R/O/a");

    EXPECT_THAT(recorder_.Lines(), IsEmpty());
}

TEST_F(HostObserver, SeesNothingMoreAfterItHasBeenTakenAway) {
    database_.SetObserver(&recorder_);
    database_.SetObserver(nullptr);

    LookUp("R/O/a");

    EXPECT_THAT(recorder_.Lines(), IsEmpty());
}

TEST_F(HostObserver, ThatOverridesNothingLetsEveryCallDoItsWork) {
    DatabaseObserver observer;
    Variable& variable = database_.At("R/O/a");
    database_.SetObserver(&observer);
    LookUp("R/O/a");
    variable.Set<std::uint8_t>(9);
    void* address = nullptr;

    CVariable_GetContentAddress(variable.Handle(), &address);
    CVariable_SetRetrieved(variable.Handle(), 0);
    CDatabase_SetNotRetrievedVariablesToDefault(database_.Handle());

    EXPECT_EQ(address, variable.Content());
    EXPECT_EQ(variable.Get<std::uint8_t>(), 1);
}

// ---- What it sees of a retrieve --------------------------------------------------------------------------------

class HostObserverOfSecureFile : public tal::test::SecureProviderTest {};

TEST_F(HostObserverOfSecureFile, TellsTheFateOfEveryRecord) {
    database_.AddRegion("R").AddObject("O").U8("a").U8("b").AddNested("n");
    Recorder recorder;
    database_.SetObserver(&recorder);

    RetrieveFrom(SecureRecord("R/O/a", Bytes({1})) + SecureRecord("R/O/b", Bytes({1, 2})) +
                 SecureRecord("R/O/n", "12345678") + SecureRecord("R/O/zzz", Bytes({1})) +
                 SecureRecord("R/O/b", Bytes({3})));

    EXPECT_THAT(recorder.Lines(), ElementsAre("look-up R/O/a: R/O/a", "address R/O/a", "mark R/O/a",  //
                                              "look-up R/O/b: R/O/b", "address R/O/b",                //
                                              "look-up R/O/n: R/O/n", "address R/O/n",                //
                                              "look-up R/O/zzz: none",                                //
                                              "look-up R/O/b: R/O/b", "address R/O/b", "mark R/O/b",  //
                                              "defaulting"));
}

TEST_F(HostObserverOfSecureFile, SeesTheLookUpAndNoMarkOfARecordThatTheFileCutsShort) {
    database_.AddRegion("R").AddObject("O").U16("a");
    Recorder recorder;
    database_.SetObserver(&recorder);

    RetrieveFrom(SecureHeader(5, 2) + "R/O/a" + Bytes({0, 1}));

    EXPECT_THAT(recorder.Lines(), ElementsAre("look-up R/O/a: R/O/a", "address R/O/a", "defaulting"));
}

class HostObserverOfRawImage : public tal::test::BinaryProviderTest {};

TEST_F(HostObserverOfRawImage, SeesEachVariableInItsPlace) {
    Object& object = database_.AddRegion("R").AddObject("O").U8("a");
    object.AddNested("n").U8("b");
    object.U16("c");
    Recorder recorder;
    database_.SetObserver(&recorder);

    RetrieveFrom(Bytes({1, 2, 3}));

    EXPECT_THAT(recorder.Lines(), ElementsAre("address R/O/a", "mark R/O/a",                       //
                                              "address R/O/n", "address R/O/n/b", "mark R/O/n/b",  //
                                              "address R/O/c",                                     //
                                              "defaulting"));
}

class HostObserverOfDocument : public tal::test::XmlReaderFixture {};

TEST_F(HostObserverOfDocument, TellsTheFateOfEveryVariable) {
    object_.U8("a").Bool("b").AddNested("n").U8("c");
    Recorder recorder;
    database_.SetObserver(&recorder);

    RetrieveVariables(Value("a", "1") + Value("zzz", "2") + ObjectElement("n", Value("c", "3")) + Value("b", "maybe"));

    EXPECT_THAT(recorder.Lines(), ElementsAre("look-up R/O/a: R/O/a", "address R/O/a", "mark R/O/a",          //
                                              "look-up R/O/zzz: none",                                        //
                                              "look-up R/O/n/c: R/O/n/c", "address R/O/n/c", "mark R/O/n/c",  //
                                              "look-up R/O/b: R/O/b", "address R/O/b",                        //
                                              "defaulting"));
}

}  // namespace
