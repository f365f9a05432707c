#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "TypeTable.h"
#include "support/GeneratedDatabase.h"

namespace tal::test {

namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(GeneratedDatabase, TheSameSeedGivesTheSameTreeAndValues) {
    EXPECT_EQ(ContentOf(*GenerateDatabase(7)), ContentOf(*GenerateDatabase(7)));
}

TEST(GeneratedDatabase, AnotherSeedGivesAnotherTree) {
    EXPECT_NE(ContentOf(*GenerateDatabase(7)), ContentOf(*GenerateDatabase(8)));
}

// Written down so that a seed that a failing test names builds the same tree on any machine.
TEST(GeneratedDatabase, ATreeIsTheSameOnEveryMachine) {
    GeneratedShape shape;
    shape.regions = shape.objectsPerRegion = 1;
    shape.variablesPerObject = 3;
    shape.nesting = 0;
    EXPECT_THAT(ContentOf(*GenerateDatabase(2, shape)),
                ElementsAre(Pair("vtM2r3zl1/oJ2/1aZ9bbzNvM4", ElementsAre()),
                            Pair("vtM2r3zl1/oJ2/Uc5", ElementsAre(0x00, 0x50, 0x43, 0xC3)),
                            Pair("vtM2r3zl1/oJ2/Zf3", ElementsAre(0x00, 0x00, 0x00, 0x80))));
}

TEST(GeneratedDatabase, AFewTreesHoldEveryType) {
    std::set<VariableType> types;
    for (std::uint32_t seed = 1; seed <= 10; ++seed) {
        GenerateDatabase(seed)->ForEachVariable(
            [&](const std::string&, host::Variable& variable) { types.insert(variable.Type()); });
    }
    std::set<VariableType> expected;
    for (VariableType code = 0; host::FindType(code) != nullptr; ++code) {
        expected.insert(code);
    }
    EXPECT_EQ(types, expected);
}

TEST(GeneratedDatabase, ValuesAreDefaultsUntilTheyAreFilledAnew) {
    const auto database = GenerateDatabase(3);
    const DatabaseContent defaults = ContentOf(*database);
    FillWithRandomValues(*database, 4);
    EXPECT_NE(ContentOf(*database), defaults);
    database->ResetToDefaults();
    EXPECT_EQ(ContentOf(*database), defaults);
}

TEST(GeneratedDatabase, StringsForXmlAreTerminatedAndNotEmpty) {
    const auto database = GenerateDatabase(5);
    int strings = 0;
    database->ForEachVariable([&](const std::string& path, host::Variable& variable) {
        if (variable.Type() == VARIABLE_TYPE_STRING) {
            ++strings;
            EXPECT_GT(variable.Text().size(), 0U) << path;
            EXPECT_LT(variable.Text().size(), variable.SizeInBytes()) << path;
        }
    });
    EXPECT_GT(strings, 0);
}

TEST(GeneratedDatabase, ValuesInReadOnlyObjectsAndBeneathThemAreNotWritable) {
    host::Database database;
    host::Object& object = database.AddRegion("R").AddObject("O");
    object.U8("a").EmptyObjectArray("none").AddNested("N").U8("b");
    host::Object& readOnly = object.AddToArray("A", "E").ReadOnly();
    readOnly.U8("c").AddNested("M").U8("d");
    EXPECT_THAT(PathsOfWritableValues(database), ElementsAre("R/O/a", "R/O/N/b"));
}

}  // namespace

}  // namespace tal::test
