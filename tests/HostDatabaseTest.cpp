#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "ReferenceHost.h"
#include "support/AllocationFaults.h"

namespace {

using tal::host::Database;
using tal::host::Object;
using tal::host::Region;
using tal::host::Variable;
using tal::test::AllocationFaults;
using tal::test::Watch;

/// The words of a host structure, as the library reads them.
void* const* WordsOf(const void* structure) {
    return static_cast<void* const*>(structure);
}

/// Follows a list as the library does, from its sentinel's first word until it is back at the sentinel.
std::vector<void*> ElementsOf(const void* sentinel) {
    std::vector<void*> elements;
    for (const void* node = WordsOf(sentinel)[0]; node != sentinel; node = WordsOf(node)[0]) {
        elements.push_back(WordsOf(node)[2]);
    }
    return elements;
}

std::string NameOf(CVariable* variable) {
    char* name = nullptr;
    EXPECT_EQ(CVariable_GetName(variable, &name), 0U);
    return name;
}

CVariable* Registered(Database& database, const char* path) {
    CVariable* variable = nullptr;
    return CDatabase_GetVariableByPath(database.Handle(), path, &variable) == 0 ? variable : nullptr;
}

// ---- Lists -----------------------------------------------------------------------------------------------------

TEST(HostDatabase, FirstWordOfADatabaseWithoutRegionsPointsToTheDatabase) {
    Database database;

    EXPECT_EQ(WordsOf(database.Handle())[0], database.Handle());
}

TEST(HostDatabase, ListOfRegionsStartsInTheDatabaseItself) {
    Database database;
    Region& first = database.AddRegion("First");
    Region& second = database.AddRegion("Second");
    Region& third = database.AddRegion("Third");

    EXPECT_EQ(ElementsOf(database.Handle()), (std::vector<void*>{first.Handle(), second.Handle(), third.Handle()}));
}

TEST(HostDatabase, SecondWordOfARegionWithoutObjectsPointsToItself) {
    Database database;
    void* const* const words = WordsOf(database.AddRegion("R").Handle());

    EXPECT_EQ(words[1], words + 1);
}

TEST(HostDatabase, ListOfObjectsStartsInTheSecondWordOfTheRegion) {
    Database database;
    Region& region = database.AddRegion("R");
    Object& first = region.AddObject("First");
    Object& second = region.AddObject("Second");

    EXPECT_EQ(ElementsOf(WordsOf(region.Handle()) + 1), (std::vector<void*>{first.Handle(), second.Handle()}));
}

TEST(HostDatabase, NestedObjectsAreInNoList) {
    Database database;
    Region& region = database.AddRegion("R");
    Object& object = region.AddObject("O");
    object.AddNested("N");
    object.AddToArray("A", "E");

    EXPECT_EQ(ElementsOf(WordsOf(region.Handle()) + 1), std::vector<void*>{object.Handle()});
}

// ---- Names and flags -------------------------------------------------------------------------------------------

TEST(HostDatabase, RegionHandsOutItsName) {
    Database database;
    char* name = nullptr;

    EXPECT_EQ(CStorageRegion_GetName(database.AddRegion("Config").Handle(), &name), 0U);

    EXPECT_STREQ(name, "Config");
}

TEST(HostDatabase, ObjectHandsOutItsName) {
    Database database;
    char* name = nullptr;

    EXPECT_EQ(CStorageObject_GetName(database.AddRegion("R").AddObject("Radio").Handle(), &name), 0U);

    EXPECT_STREQ(name, "Radio");
}

TEST(HostDatabase, NameStaysWhereItIsWhenMoreIsAdded) {
    Database database;
    Region& region = database.AddRegion("R");
    char* before = nullptr;
    CStorageObject_GetName(region.AddObject("O").Handle(), &before);

    for (int i = 0; i < 100; ++i) {
        region.AddObject("Other");
    }

    char* after = nullptr;
    CStorageObject_GetName(region.Objects().front()->Handle(), &after);
    EXPECT_EQ(before, after);
}

TEST(HostDatabase, ObjectIsWritableUnlessMadeReadOnly) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O");
    EXPECT_NE(CStorageObject_IsWritable(object.Handle()), 0);

    object.ReadOnly();

    EXPECT_EQ(CStorageObject_IsWritable(object.Handle()), 0);
}

// ---- Iteration -------------------------------------------------------------------------------------------------

TEST(HostDatabase, IteratorOfAnObjectWithoutVariablesIsAtTheEnd) {
    Database database;
    HostIterator iterator = nullptr;

    EXPECT_EQ(CStorageObject_GetVariableIterator(database.AddRegion("R").AddObject("O").Handle(), &iterator), 0x1004U);
}

TEST(HostDatabase, OnlyVariableComesWithTheEndOfTheVariables) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O").U8("a");
    HostIterator iterator = nullptr;
    CVariable* variable = nullptr;

    EXPECT_EQ(CStorageObject_GetVariableIterator(object.Handle(), &iterator), 0U);
    EXPECT_EQ(CStorageObject_GetNextVariable(object.Handle(), &variable, &iterator), 0x1004U);
    EXPECT_EQ(NameOf(variable), "a");
}

TEST(HostDatabase, VariablesComeInTheOrderOfAdding) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O").U8("b").U8("a");
    HostIterator iterator = nullptr;
    CVariable* variable = nullptr;

    CStorageObject_GetVariableIterator(object.Handle(), &iterator);
    EXPECT_EQ(CStorageObject_GetNextVariable(object.Handle(), &variable, &iterator), 0U);
    EXPECT_EQ(NameOf(variable), "b");
    EXPECT_EQ(CStorageObject_GetNextVariable(object.Handle(), &variable, &iterator), 0x1004U);
    EXPECT_EQ(NameOf(variable), "a");
}

TEST(HostDatabase, NoVariableComesAfterTheLast) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O").U8("a");
    HostIterator iterator = nullptr;
    CVariable* variable = nullptr;
    CStorageObject_GetVariableIterator(object.Handle(), &iterator);
    CStorageObject_GetNextVariable(object.Handle(), &variable, &iterator);
    variable = nullptr;

    EXPECT_EQ(CStorageObject_GetNextVariable(object.Handle(), &variable, &iterator), 0x8004U);
    EXPECT_EQ(variable, nullptr);
}

TEST(HostDatabase, IterationsOfOneObjectDoNotDisturbEachOther) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O").U8("a").U8("b");
    HostIterator outer = nullptr;
    HostIterator inner = nullptr;
    CVariable* variable = nullptr;
    CStorageObject_GetVariableIterator(object.Handle(), &outer);
    CStorageObject_GetNextVariable(object.Handle(), &variable, &outer);

    CStorageObject_GetVariableIterator(object.Handle(), &inner);
    CStorageObject_GetNextVariable(object.Handle(), &variable, &inner);
    EXPECT_EQ(NameOf(variable), "a");

    CStorageObject_GetNextVariable(object.Handle(), &variable, &outer);
    EXPECT_EQ(NameOf(variable), "b");
}

// ---- Paths -----------------------------------------------------------------------------------------------------

TEST(HostDatabase, NothingIsRegisteredBeforeThePathTableIsUpdated) {
    Database database;
    database.AddRegion("R").AddObject("O").U8("a");
    CVariable* variable = nullptr;

    EXPECT_EQ(CDatabase_GetVariableByPath(database.Handle(), "R/O/a", &variable), 0x800EU);
    EXPECT_EQ(variable, nullptr);
}

TEST(HostDatabase, RegisteredVariableIsFoundByItsPath) {
    Database database;
    database.AddRegion("R").AddObject("O").U8("a");
    EXPECT_EQ(CDatabase_UpdatePathHashTable(database.Handle()), 0U);
    CVariable* variable = nullptr;

    EXPECT_EQ(CDatabase_GetVariableByPath(database.Handle(), "R/O/a", &variable), 0U);

    EXPECT_EQ(variable, database.At("R/O/a").Handle());
}

TEST(HostDatabase, VariableAddedLaterIsRegisteredByTheNextUpdate) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O").U8("a");
    CDatabase_UpdatePathHashTable(database.Handle());

    object.U8("b");
    EXPECT_EQ(Registered(database, "R/O/b"), nullptr);

    CDatabase_UpdatePathHashTable(database.Handle());
    EXPECT_NE(Registered(database, "R/O/b"), nullptr);
    EXPECT_NE(Registered(database, "R/O/a"), nullptr);
}

TEST(HostDatabase, DatabaseWithoutVariablesRegistersNothing) {
    Database database;
    EXPECT_EQ(CDatabase_UpdatePathHashTable(database.Handle()), 0U);

    EXPECT_EQ(Registered(database, ""), nullptr);
}

TEST(HostDatabase, PathOfARegionOrObjectOrPartOfAPathIsNotRegistered) {
    Database database;
    database.AddRegion("R").AddObject("O").U8("ab");
    CDatabase_UpdatePathHashTable(database.Handle());

    for (const char* path : {"", "R", "R/O", "R/O/", "R/O/a", "R/O/abc", "/R/O/ab", "r/o/ab"}) {
        EXPECT_EQ(Registered(database, path), nullptr) << path;
    }
}

TEST(HostDatabase, VariableOfANestedObjectIsFoundByTheNameOfTheObject) {
    Database database;
    database.AddRegion("R").AddObject("O").AddNested("Variable", "Object").U8("a");
    CDatabase_UpdatePathHashTable(database.Handle());

    EXPECT_NE(Registered(database, "R/O/Object/a"), nullptr);
    EXPECT_EQ(Registered(database, "R/O/Variable/a"), nullptr);
}

TEST(HostDatabase, ObjectVariableItselfIsFoundByItsOwnName) {
    Database database;
    database.AddRegion("R").AddObject("O").AddNested("Variable", "Object");
    CDatabase_UpdatePathHashTable(database.Handle());

    EXPECT_NE(Registered(database, "R/O/Variable"), nullptr);
}

TEST(HostDatabase, VariableOfAnArrayElementIsFoundByTheNameOfTheElement) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O");
    object.AddToArray("Array", "Elem0").U8("a");
    object.AddToArray("Array", "Elem1").U8("a");
    CDatabase_UpdatePathHashTable(database.Handle());

    EXPECT_EQ(Registered(database, "R/O/Elem0/a"), database.At("R/O/Elem0/a").Handle());
    EXPECT_EQ(Registered(database, "R/O/Elem1/a"), database.At("R/O/Elem1/a").Handle());
    EXPECT_NE(Registered(database, "R/O/Array"), nullptr);
    EXPECT_EQ(Registered(database, "R/O/Array/Elem0/a"), nullptr);
}

TEST(HostDatabase, FirstOfTwoVariablesWithOnePathIsFound) {
    Database database;
    database.AddRegion("R").AddObject("O").U8("a", 1).U8("a", 2);
    CDatabase_UpdatePathHashTable(database.Handle());

    CVariable* const variable = Registered(database, "R/O/a");

    ASSERT_NE(variable, nullptr);
    EXPECT_EQ(variable, database.Variables().front()->Handle());
}

TEST(HostDatabase, EveryOneOfManyVariablesIsFound) {
    Database database;
    Region& region = database.AddRegion("R");
    for (int i = 0; i < 100; ++i) {
        Object& object = region.AddObject("Object" + std::to_string(i));
        for (int j = 0; j < 100; ++j) {
            object.U32("variable" + std::to_string(j));
        }
    }
    CDatabase_UpdatePathHashTable(database.Handle());

    for (Variable* variable : database.Variables()) {
        ASSERT_EQ(Registered(database, variable->Path().c_str()), variable->Handle()) << variable->Path();
    }
    EXPECT_EQ(database.Variables().size(), 10000U);
}

TEST(HostDatabase, LookUpAllocatesNothing) {
    Database database;
    database.AddRegion("A region with a long name").AddObject("An object with a long name").U8("a");
    CDatabase_UpdatePathHashTable(database.Handle());
    const AllocationFaults memory(Watch::Host);

    EXPECT_NE(Registered(database, "A region with a long name/An object with a long name/a"), nullptr);
    EXPECT_EQ(Registered(database, "A region with a long name/An object with a long name/b"), nullptr);

    EXPECT_EQ(memory.Allocations(), 0);
}

TEST(HostDatabase, UpdateWithoutMemoryFailsAndKeepsWhatIsRegistered) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O").U8("a");
    CDatabase_UpdatePathHashTable(database.Handle());
    object.U8("b").U8("c");
    {
        AllocationFaults memory(Watch::Host);
        memory.Fail(1);

        EXPECT_EQ(CDatabase_UpdatePathHashTable(database.Handle()), 0x8000U);

        EXPECT_TRUE(memory.Fired());
    }
    EXPECT_NE(Registered(database, "R/O/a"), nullptr);
    EXPECT_EQ(CDatabase_UpdatePathHashTable(database.Handle()), 0U);
    EXPECT_NE(Registered(database, "R/O/c"), nullptr);
}

// ---- Retrieved marks and defaults ------------------------------------------------------------------------------

TEST(HostDatabase, SetAsNotRetrievedClearsEveryMark) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O").U8("a");
    object.AddNested("N").U8("b");
    object.AddToArray("A", "E").U8("c");
    for (Variable* variable : database.Variables()) {
        EXPECT_EQ(CVariable_SetRetrieved(variable->Handle(), 1), 0U);
        EXPECT_TRUE(variable->Retrieved()) << variable->Path();
    }

    EXPECT_EQ(CDatabase_SetAsNotRetrieved(database.Handle()), 0U);

    for (const Variable* variable : database.Variables()) {
        EXPECT_FALSE(variable->Retrieved()) << variable->Path();
    }
}

TEST(HostDatabase, VariableIsNotRetrievedAtFirst) {
    Database database;
    database.AddRegion("R").AddObject("O").U8("a");

    EXPECT_FALSE(database.At("R/O/a").Retrieved());
}

TEST(HostDatabase, RetrievedMarkCanBeTakenBack) {
    Database database;
    database.AddRegion("R").AddObject("O").U8("a");
    Variable& variable = database.At("R/O/a");
    CVariable_SetRetrieved(variable.Handle(), 1);

    EXPECT_EQ(CVariable_SetRetrieved(variable.Handle(), 0), 0U);

    EXPECT_FALSE(variable.Retrieved());
}

TEST(HostDatabase, DefaultingLeavesRetrievedVariablesAlone) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O").U16("kept", 1).U16("lost", 2);
    object.AddNested("N").String("text", 8, "north");
    object.AddToArray("A", "E").FloatArray("list", {1.5F, 2.5F});
    database.SetAllToZero();
    database.At("R/O/kept").Set<std::uint16_t>(77).SetRetrieved(true);

    EXPECT_EQ(CDatabase_SetNotRetrievedVariablesToDefault(database.Handle()), 0U);

    EXPECT_EQ(database.At("R/O/kept").Get<std::uint16_t>(), 77);
    EXPECT_EQ(database.At("R/O/lost").Get<std::uint16_t>(), 2);
    EXPECT_EQ(database.At("R/O/N/text").Text(), "north");
    EXPECT_EQ(database.At("R/O/E/list").Get<float>(1), 2.5F);
}

TEST(HostDatabase, DefaultingKeepsNestedObjects) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O");
    const Object& nested = object.AddNested("N");
    const Object& element = object.AddToArray("A", "E");

    CDatabase_SetNotRetrievedVariablesToDefault(database.Handle());

    EXPECT_EQ(database.At("R/O/N").Objects().front().get(), &nested);
    EXPECT_EQ(database.At("R/O/A").Objects().front().get(), &element);
    EXPECT_TRUE(database.GuardsIntact());
}

TEST(HostDatabase, WipingZeroesEveryValueAndClearsTheMarks) {
    Database database;
    database.AddRegion("R").AddObject("O").U32("a", 5).AddNested("N").String("b", 4, "abc");
    database.At("R/O/a").SetRetrieved(true);

    database.SetAllToZero();

    EXPECT_EQ(database.At("R/O/a").Get<std::uint32_t>(), 0U);
    EXPECT_FALSE(database.At("R/O/a").Retrieved());
    EXPECT_EQ(database.At("R/O/N/b").Bytes(), (std::vector<std::uint8_t>{0, 0, 0, 0}));
}

TEST(HostDatabase, ResettingGivesEveryValueItsDefaultAndClearsTheMarks) {
    Database database;
    database.AddRegion("R").AddObject("O").U32("a", 5).U32("b", 6);
    database.SetAllToZero();
    database.At("R/O/a").SetRetrieved(true);

    database.ResetToDefaults();

    EXPECT_EQ(database.At("R/O/a").Get<std::uint32_t>(), 5U);
    EXPECT_FALSE(database.At("R/O/a").Retrieved());
    EXPECT_EQ(database.At("R/O/b").Get<std::uint32_t>(), 6U);
}

// ---- For tests and tools ---------------------------------------------------------------------------------------

TEST(HostDatabase, MissingVariableIsNamedByTheException) {
    Database database;

    try {
        static_cast<void>(database.At("R/O/a"));
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "no variable at \"R/O/a\"");
    }
}

TEST(HostDatabase, FindKnowsVariablesThatAreNotRegisteredYet) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O").U8("a");
    EXPECT_NE(database.Find("R/O/a"), nullptr);
    EXPECT_EQ(database.Find("R/O/b"), nullptr);

    object.U8("b");

    EXPECT_NE(database.Find("R/O/b"), nullptr);
    EXPECT_EQ(Registered(database, "R/O/b"), nullptr);
}

TEST(HostDatabase, VariablesAreVisitedInTreeOrder) {
    Database database;
    Region& first = database.AddRegion("R");
    Object& object = first.AddObject("O");
    database.AddRegion("S").AddObject("O").U8("f");
    object.U8("a").AddNested("N").U8("b");
    object.AddToArray("A", "E0").U8("c");
    object.U8("e");
    object.AddToArray("A", "E1").U8("d");
    std::vector<std::string> paths;

    database.ForEachVariable([&paths](const std::string& path, Variable& variable) {
        EXPECT_EQ(path, variable.Path());
        paths.push_back(path);
    });

    EXPECT_EQ(paths, (std::vector<std::string>{"R/O/a", "R/O/N", "R/O/N/b", "R/O/A", "R/O/E0/c", "R/O/E1/d", "R/O/e",
                                               "S/O/f"}));
}

TEST(HostDatabase, OverwrittenPointerToAnArrayElementIsNoticed) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O");
    object.AddToArray("A", "E");
    ASSERT_TRUE(database.GuardsIntact());

    *static_cast<CStorageObject**>(database.At("R/O/A").Content()) = object.Handle();

    EXPECT_FALSE(database.GuardsIntact());
}

TEST(HostDatabase, OverwrittenWordBeforeTheListOfObjectsIsNoticed) {
    Database database;
    Region& region = database.AddRegion("R");
    ASSERT_TRUE(database.GuardsIntact());

    region.Handle()->reserved = nullptr;

    EXPECT_FALSE(database.GuardsIntact());
}

// ---- Null ------------------------------------------------------------------------------------------------------

TEST(HostDatabase, NullDatabaseFails) {
    CVariable* variable = nullptr;

    EXPECT_EQ(CDatabase_GetVariableByPath(nullptr, "R/O/a", &variable), 0x8002U);
    EXPECT_EQ(CDatabase_UpdatePathHashTable(nullptr), 0x8002U);
    EXPECT_EQ(CDatabase_SetAsNotRetrieved(nullptr), 0x8002U);
    EXPECT_EQ(CDatabase_SetNotRetrievedVariablesToDefault(nullptr), 0x8002U);
}

TEST(HostDatabase, NullRegionOrObjectFails) {
    char* name = nullptr;
    HostIterator iterator = nullptr;
    CVariable* variable = nullptr;

    EXPECT_EQ(CStorageRegion_GetName(nullptr, &name), 0x8002U);
    EXPECT_EQ(CStorageObject_GetName(nullptr, &name), 0x8002U);
    EXPECT_EQ(CStorageObject_IsWritable(nullptr), 0);
    EXPECT_EQ(CStorageObject_GetVariableIterator(nullptr, &iterator), 0x8002U);
    EXPECT_EQ(CStorageObject_GetNextVariable(nullptr, &variable, &iterator), 0x8002U);
}

TEST(HostDatabase, NullOutParameterFails) {
    Database database;
    Region& region = database.AddRegion("R");
    Object& object = region.AddObject("O").U8("a");
    HostIterator iterator = nullptr;
    CVariable* variable = nullptr;

    EXPECT_EQ(CDatabase_GetVariableByPath(database.Handle(), nullptr, &variable), 0x8002U);
    EXPECT_EQ(CDatabase_GetVariableByPath(database.Handle(), "R/O/a", nullptr), 0x8002U);
    EXPECT_EQ(CStorageRegion_GetName(region.Handle(), nullptr), 0x8002U);
    EXPECT_EQ(CStorageObject_GetName(object.Handle(), nullptr), 0x8002U);
    EXPECT_EQ(CStorageObject_GetVariableIterator(object.Handle(), nullptr), 0x8002U);
    EXPECT_EQ(CStorageObject_GetNextVariable(object.Handle(), nullptr, &iterator), 0x8002U);
    EXPECT_EQ(CStorageObject_GetNextVariable(object.Handle(), &variable, nullptr), 0x8002U);
}

TEST(HostDatabase, IteratorThatWasNeverStartedGivesNothing) {
    Database database;
    Object& object = database.AddRegion("R").AddObject("O").U8("a");
    HostIterator iterator = nullptr;
    CVariable* variable = nullptr;

    EXPECT_EQ(CStorageObject_GetNextVariable(object.Handle(), &variable, &iterator), 0x8004U);
}

}  // namespace
