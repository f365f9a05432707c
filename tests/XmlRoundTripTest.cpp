#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "host/DatabaseDescription.h"
#include "support/GeneratedDatabase.h"
#include "support/XmlFixture.h"

namespace tal::test {

namespace {

using testing::IsEmpty;

class XmlRoundTrip : public XmlFixture {
protected:
    QBFResult StoreFrom(host::Database& database) { return provider_->StoreAll(0, database.Handle(), 0); }
    QBFResult RetrieveInto(host::Database& database) { return provider_->RetrieveAll(0, database.Handle(), 0); }

    /// Stores the database, wipes it and retrieves it: what the document carries comes back, everything else takes its
    /// default.
    void ExpectRoundTrip(host::Database& database) {
        traces_.SetThreshold(-1);
        traces_.MapLevelsBy([](QBFResult code) { return code >= QBF_E_FAILED ? -1 : 0; });
        const DatabaseContent stored = ContentOf(database);
        const std::vector<std::string> paths = PathsOfWritableValues(database);
        const std::set<std::string> writable(paths.begin(), paths.end());
        ASSERT_EQ(StoreFrom(database), QBFResult{QBF_OK});
        const std::string document = ReadFile(kXmlFile);

        database.SetAllToZero();
        ASSERT_EQ(RetrieveInto(database), QBFResult{QBF_OK});
        EXPECT_THAT(traces_.Failures(), IsEmpty());
        EXPECT_TRUE(database.GuardsIntact());
        const DatabaseContent restored = ContentOf(database);
        for (const auto& [path, bytes] : stored) {
            host::Variable& variable = database.At(path);
            EXPECT_EQ(variable.Retrieved(), writable.count(path) != 0) << path;
            if (variable.Retrieved()) {
                EXPECT_EQ(restored.at(path), bytes) << path;
            } else {
                EXPECT_TRUE(variable.HoldsDefault()) << path;
            }
        }

        ASSERT_EQ(StoreFrom(database), QBFResult{QBF_OK});
        EXPECT_EQ(ReadFile(kXmlFile), document);
    }
};

TEST_F(XmlRoundTrip, TheExampleDatabaseSurvives) {
    const auto database = host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");
    ExpectRoundTrip(*database);
}

TEST_F(XmlRoundTrip, TheExampleDatabaseSurvivesWithOtherValuesThanItsDefaults) {
    const auto database = host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");
    FillWithRandomValues(*database, 11);
    ExpectRoundTrip(*database);
}

TEST_F(XmlRoundTrip, TheExampleDatabaseSurvivesForAChannelThatIsInNoName) {
    const auto database = host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");
    FillWithRandomValues(*database, 12);
    const DatabaseContent stored = ContentOf(*database);
    ASSERT_EQ(provider_->StoreAll(0, database->Handle(), 77), QBFResult{QBF_OK});
    database->SetAllToZero();
    ASSERT_EQ(provider_->RetrieveAll(0, database->Handle(), 77), QBFResult{QBF_OK});
    for (const std::string& path : PathsOfWritableValues(*database)) {
        EXPECT_EQ(database->At(path).Bytes(), stored.at(path)) << path;
    }
}

/// Promise 8
TEST_F(XmlRoundTrip, GeneratedDatabasesSurvive) {
    for (std::uint32_t seed = 1; seed <= 60 && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const auto database = GenerateDatabase(seed);
        FillWithRandomValues(*database, seed + 1000);
        ExpectRoundTrip(*database);
    }
}

TEST_F(XmlRoundTrip, AWideGeneratedDatabaseSurvives) {
    GeneratedShape shape;
    shape.regions = 6;
    shape.objectsPerRegion = 8;
    shape.variablesPerObject = 30;
    shape.elements = 60;
    shape.stringCapacity = 2000;
    const auto database = GenerateDatabase(61, shape);
    FillWithRandomValues(*database, 62);
    ExpectRoundTrip(*database);
}

// What the format cannot carry, it loses in a defined way.

/// Surprise: An empty string comes back as `STRING`
TEST_F(XmlRoundTrip, AnEmptyStringComesBackAsTheTextBeforeIt) {
    database_.AddRegion("R").AddObject("O").String("s", 16, "");
    EXPECT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/s").Text(), "STRING");
}

/// Surprise: A text with a line break comes back as its last line
TEST_F(XmlRoundTrip, AStringWithALineBreakComesBackAsItsLastLine) {
    database_.AddRegion("R").AddObject("O").String("s", 16, "one\ntwo");
    EXPECT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/s").Text(), "two");
}

/// Surprise: A string with `<` or `&`, a name with those or `"`
TEST_F(XmlRoundTrip, AStringWithMarkupMakesADocumentThatCannotBeRead) {
    for (const char* text : {"a<b", "a&b"}) {
        host::Database database;
        database.AddRegion("R").AddObject("O").String("s", 16, text);
        EXPECT_EQ(StoreFrom(database), QBFResult{QBF_OK});
        EXPECT_EQ(RetrieveInto(database), QBFResult{QBF_E_FAILED});
    }
}

/// Surprise: A string with `<` or `&`, a name with those or `"`
TEST_F(XmlRoundTrip, ANameWithAQuoteMakesADocumentThatCannotBeRead) {
    database_.AddRegion("R").AddObject("O").U8("a\"b", 1);
    EXPECT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
}

/// Surprise: Doubles and floats keep seven digits
TEST_F(XmlRoundTrip, ADoubleComesBackWithSevenDigits) {
    database_.AddRegion("R").AddObject("O").Double("d", 1234.56789);
    EXPECT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/d").Get<double>(), 1234.568);
}

/// Surprise: A truth value comes back as 1
TEST_F(XmlRoundTrip, ATrueBooleanComesBackAsOne) {
    database_.AddRegion("R").AddObject("O").Bool("b", 2).BoolArray("c", {0, 7});
    EXPECT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/b").Get<std::uint32_t>(), 1U);
    EXPECT_EQ(database_.At("R/O/c").Get<std::uint32_t>(1), 1U);
}

/// Surprise: Unsigned 32-bit values from 2147483648 up are written as negative numbers
TEST_F(XmlRoundTrip, UnsignedNumbersOfAllSizesComeBackWhole) {
    database_.AddRegion("R")
        .AddObject("O")
        .U8("a", 255)
        .U16("b", 65535)
        .U32("c", 4294967295U)
        .U32Array("d", {0, 2147483648U, 4294967295U});
    EXPECT_EQ(Store(), QBFResult{QBF_OK});
    const DatabaseContent stored = ContentOf(database_);
    database_.SetAllToZero();
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(ContentOf(database_), stored);
}

/// Surprise: Inside more than five objects nothing is restored
TEST_F(XmlRoundTrip, ObjectsNestedDeeperThanFiveAreStoredAndReportedOnTheWayBack) {
    host::Object* object = &database_.AddRegion("R").AddObject("1");
    for (const char* name : {"2", "3", "4", "5", "6"}) {
        object = &object->AddNested(name);
    }
    object->U8("v", 9);
    EXPECT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_FALSE(database_.At("R/1/2/3/4/5/6/v").Retrieved());
}

/// Surprise: Region names beyond 39 characters, object and variable names beyond 119 are not found again
TEST_F(XmlRoundTrip, ANameBeyondItsLimitIsNotFoundAgain) {
    database_.AddRegion("R").AddObject("O").U8(std::string(119, 'a'), 1).U8(std::string(120, 'b'), 2);
    EXPECT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_TRUE(database_.At("R/O/" + std::string(119, 'a')).Retrieved());
    EXPECT_FALSE(database_.At("R/O/" + std::string(120, 'b')).Retrieved());
}

// ---- A layout that has changed since

TEST_F(XmlRoundTrip, AChangedLayoutRestoresWhatItStillKnows) {
    host::Database before;
    before.AddRegion("R")
        .AddObject("O")
        .U8("kept", 1)
        .U8("removed", 2)
        .U32("resized", 3)
        .U8Array("shorter", {1, 2, 3})
        .U8Array("longer", {4, 5})
        .String("narrower", 10, "abcdef")
        .AddNested("N")
        .U8("moved", 6);
    ASSERT_EQ(StoreFrom(before), QBFResult{QBF_OK});

    host::Database after;
    host::Object& object = after.AddRegion("R").AddObject("O");
    object.String("narrower", 4)
        .U8("added", 9)
        .U8("moved", 8)
        .U8Array("longer", {7, 7, 7})
        .U8Array("shorter", {7, 7})
        .U16("resized", 7)
        .U8("kept", 7);
    EXPECT_EQ(RetrieveInto(after), QBFResult{QBF_OK});
    EXPECT_EQ(after.At("R/O/kept").Get<std::uint8_t>(), 1);
    EXPECT_EQ(after.At("R/O/added").Get<std::uint8_t>(), 9);
    EXPECT_EQ(after.At("R/O/moved").Get<std::uint8_t>(), 8);
    EXPECT_EQ(after.At("R/O/resized").Get<std::uint16_t>(), 3);
    EXPECT_THAT(after.At("R/O/shorter").Bytes(), testing::ElementsAre(1, 2));
    EXPECT_THAT(after.At("R/O/longer").Bytes(), testing::ElementsAre(4, 5, 7));
    EXPECT_EQ(after.At("R/O/narrower").Text(), "abc");
    EXPECT_TRUE(after.GuardsIntact());
}

}  // namespace

}  // namespace tal::test
