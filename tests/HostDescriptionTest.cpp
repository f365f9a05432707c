#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "DatabaseDescription.h"

namespace {

using nlohmann::json;
using tal::host::Database;
using tal::host::DescribeDatabase;
using tal::host::DescriptionError;
using tal::host::LoadDatabase;
using tal::host::LoadDatabaseFromFile;
using tal::host::LoadDatabaseFromText;
using tal::host::Variable;

/// The description of a database with one object "R/O" that has these variables.
std::string WithVariables(const std::string& variables) {
    return R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [)" + variables + "]}]}]}";
}

std::unique_ptr<Database> LoadVariables(const std::string& variables) {
    return LoadDatabaseFromText(WithVariables(variables));
}

/// @return what the refusal says, or "accepted".
template <class Load>
std::string Refusal(Load load) {
    try {
        load();
        return "accepted";
    } catch (const DescriptionError& error) {
        return error.what();
    }
}

std::string RefusalOfText(const std::string& text) {
    return Refusal([&text] { static_cast<void>(LoadDatabaseFromText(text)); });
}

/// Objects named "N" in one another below the object of the region, so that there are `depth` of them in all.
std::string NestedObjects(int depth) {
    std::string before;
    std::string after;
    for (int i = 1; i < depth; ++i) {
        before += R"({"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [)";
        after += "]}}";
    }
    return WithVariables(before + after);
}

// ---- What is understood ----------------------------------------------------------------------------------------

TEST(HostDescription, TreeIsBuiltInTheOrderOfTheDescription) {
    const auto database = LoadDatabaseFromText(R"({"regions": [
        {"name": "R", "objects": [{"name": "P", "variables": []}, {"name": "O", "variables": []}]},
        {"name": "Q", "objects": []}]})");

    ASSERT_EQ(database->Regions().size(), 2U);
    EXPECT_EQ(database->Regions()[0]->Name(), "R");
    EXPECT_EQ(database->Regions()[1]->Name(), "Q");
    ASSERT_EQ(database->Regions()[0]->Objects().size(), 2U);
    EXPECT_EQ(database->Regions()[0]->Objects()[0]->Name(), "P");
    EXPECT_EQ(database->Regions()[0]->Objects()[1]->Name(), "O");
}

TEST(HostDescription, ObjectIsWritableUnlessItSaysOtherwise) {
    const auto database = LoadDatabaseFromText(R"({"regions": [{"name": "R", "objects": [
        {"name": "Silent", "variables": []},
        {"name": "Yes", "writable": true, "variables": []},
        {"name": "No", "writable": false, "variables": []}]}]})");

    const auto& objects = database->Regions()[0]->Objects();
    EXPECT_TRUE(objects[0]->Writable());
    EXPECT_TRUE(objects[1]->Writable());
    EXPECT_FALSE(objects[2]->Writable());
}

TEST(HostDescription, NestedObjectAndArrayElementAreBuiltWithTheirOwnNames) {
    const auto database = LoadVariables(R"(
        {"name": "v", "type": "OBJECT", "object":
            {"name": "N", "writable": false, "variables": [{"name": "a", "type": "U8", "default": 1}]}},
        {"name": "w", "type": "OBJECT_ARRAY", "objects": [
            {"name": "E0", "variables": [{"name": "a", "type": "U8", "default": 2}]},
            {"name": "E1", "variables": [{"name": "a", "type": "U8", "default": 3}]}]},
        {"name": "x", "type": "OBJECT_ARRAY", "objects": []})");

    EXPECT_EQ(database->At("R/O/N/a").Get<std::uint8_t>(), 1);
    EXPECT_FALSE(database->At("R/O/v").Objects()[0]->Writable());
    EXPECT_EQ(database->At("R/O/E0/a").Get<std::uint8_t>(), 2);
    EXPECT_EQ(database->At("R/O/E1/a").Get<std::uint8_t>(), 3);
    EXPECT_EQ(database->At("R/O/w").ElementCount(), 2U);
    EXPECT_EQ(database->At("R/O/x").ElementCount(), 0U);
    EXPECT_EQ(database->At("R/O/x").Type(), VARIABLE_TYPE_OBJECT_ARRAY);
}

struct AcceptedVariable {
    const char* text;  ///< Without the name.
    VariableType type;
    std::uint32_t elementCount;
    std::vector<std::uint8_t> content;
};

void PrintTo(const AcceptedVariable& accepted, std::ostream* out) {
    *out << accepted.text;
}

class HostDescriptionOfVariable : public testing::TestWithParam<AcceptedVariable> {};

TEST_P(HostDescriptionOfVariable, GivesTypeCountAndDefault) {
    const auto database = LoadVariables(R"({"name": "a", )" + std::string(GetParam().text) + "}");

    const Variable& variable = database->At("R/O/a");
    EXPECT_EQ(variable.Type(), GetParam().type);
    EXPECT_EQ(variable.ElementCount(), GetParam().elementCount);
    EXPECT_EQ(variable.Bytes(), GetParam().content);
    EXPECT_TRUE(variable.HoldsDefault());
}

TEST_P(HostDescriptionOfVariable, SurvivesTheWayThereAndBack) {
    const auto database = LoadVariables(R"({"name": "a", )" + std::string(GetParam().text) + "}");

    const auto again = LoadDatabaseFromText(DescribeDatabase(*database).dump());

    EXPECT_EQ(again->At("R/O/a").Type(), GetParam().type);
    EXPECT_EQ(again->At("R/O/a").Bytes(), GetParam().content);
}

const AcceptedVariable kAcceptedVariables[] = {
    {R"("type": "U8", "default": 255)", 0, 1, {255}},
    {R"("type": "U8")", 0, 1, {0}},
    {R"("type": "U8_ARRAY", "count": 2, "default": [1, 2])", 1, 2, {1, 2}},
    {R"("type": "U8_ARRAY", "count": 2)", 1, 2, {0, 0}},
    {R"("type": "U8_ARRAY", "count": 0, "default": [])", 1, 0, {}},
    {R"("type": "U16", "default": 65535)", 2, 1, {0xFF, 0xFF}},
    {R"("type": "U16_ARRAY", "count": 1, "default": [258])", 3, 1, {2, 1}},
    {R"("type": "U32", "default": 4294967295)", 4, 1, {0xFF, 0xFF, 0xFF, 0xFF}},
    {R"("type": "U32_ARRAY", "count": 1, "default": [1])", 5, 1, {1, 0, 0, 0}},
    {R"("type": "S8", "default": -128)", 6, 1, {0x80}},
    {R"("type": "S8_ARRAY", "count": 2, "default": [-1, 127])", 7, 2, {0xFF, 0x7F}},
    {R"("type": "S16", "default": -32768)", 8, 1, {0, 0x80}},
    {R"("type": "S16_ARRAY", "count": 1, "default": [-2])", 9, 1, {0xFE, 0xFF}},
    {R"("type": "S32", "default": -2147483648)", 10, 1, {0, 0, 0, 0x80}},
    {R"("type": "S32_ARRAY", "count": 1, "default": [2147483647])", 11, 1, {0xFF, 0xFF, 0xFF, 0x7F}},
    {R"("type": "BOOL", "default": true)", 12, 1, {1, 0, 0, 0}},
    {R"("type": "BOOL")", 12, 1, {0, 0, 0, 0}},
    {R"("type": "BOOL_ARRAY", "count": 2, "default": [false, true])", 13, 2, {0, 0, 0, 0, 1, 0, 0, 0}},
    {R"("type": "CHAR", "default": 65)", 14, 1, {65}},
    {R"("type": "CHAR_ARRAY", "count": 2, "default": [65, 0])", 15, 2, {65, 0}},
    {R"("type": "STRING", "count": 4, "default": "mii")", 16, 4, {'m', 'i', 'i', 0}},
    {R"("type": "STRING", "count": 4)", 16, 4, {0, 0, 0, 0}},
    {R"("type": "STRING", "count": 0, "default": "")", 16, 0, {}},
    {R"("type": "FLOAT", "default": 0.1)", 17, 1, {0xCD, 0xCC, 0xCC, 0x3D}},
    {R"("type": "FLOAT", "default": 2)", 17, 1, {0, 0, 0, 0x40}},
    {R"("type": "FLOAT", "default": 3.4028235e38)", 17, 1, {0xFF, 0xFF, 0x7F, 0x7F}},
    {R"("type": "FLOAT", "default": "-inf")", 17, 1, {0, 0, 0x80, 0xFF}},
    {R"("type": "FLOAT", "default": "nan")", 17, 1, {0, 0, 0xC0, 0x7F}},
    {R"("type": "FLOAT_ARRAY", "count": 1, "default": [1.5])", 18, 1, {0, 0, 0xC0, 0x3F}},
    {R"("type": "DOUBLE", "default": 0.1)", 19, 1, {0x9A, 0x99, 0x99, 0x99, 0x99, 0x99, 0xB9, 0x3F}},
    {R"("type": "DOUBLE", "default": "inf")", 19, 1, {0, 0, 0, 0, 0, 0, 0xF0, 0x7F}},
    {R"("type": "DOUBLE_ARRAY", "count": 1, "default": [-1.5])", 20, 1, {0, 0, 0, 0, 0, 0, 0xF8, 0xBF}},
};

INSTANTIATE_TEST_SUITE_P(, HostDescriptionOfVariable, testing::ValuesIn(kAcceptedVariables));

TEST(HostDescription, KeysMayStandInAnyOrder) {
    const auto database = LoadDatabaseFromText(
        R"({"regions": [{"objects": [{"variables": [{"default": [7, 8], "count": 2, "type": "U8_ARRAY", "name": "a"}],
            "writable": false, "name": "O"}], "name": "R"}]})");

    EXPECT_EQ(database->At("R/O/a").Bytes(), (std::vector<std::uint8_t>{7, 8}));
    EXPECT_FALSE(database->Regions()[0]->Objects()[0]->Writable());
}

TEST(HostDescription, OfAKeyThatIsThereTwiceTheLastCounts) {
    const auto database = LoadVariables(R"({"name": "a", "type": "U8", "default": [1], "default": 2})");

    EXPECT_EQ(database->At("R/O/a").Get<std::uint8_t>(), 2);
}

TEST(HostDescription, NameIsTakenWithItsEscapesResolved) {
    const auto database = LoadVariables(R"({"name": "a\"\u00e9", "type": "U8", "default": 9})");

    EXPECT_EQ(database->At("R/O/a\"\xC3\xA9").Get<std::uint8_t>(), 9);
}

TEST(HostDescription, VariablesAfterANestedObjectAndAnArrayKeepTheirOwnValues) {
    const auto database = LoadVariables(R"(
        {"name": "v", "type": "OBJECT", "object": {"name": "N", "variables": [{"name": "a", "type": "U8"}]}},
        {"name": "w", "type": "U8_ARRAY", "count": 2, "default": [1, 2]},
        {"name": "x", "type": "U8", "default": 3})");

    EXPECT_EQ(database->At("R/O/w").Bytes(), (std::vector<std::uint8_t>{1, 2}));
    EXPECT_EQ(database->At("R/O/x").Get<std::uint8_t>(), 3);
}

TEST(HostDescription, SixtyFourObjectsInOneAnotherAreAccepted) {
    EXPECT_EQ(RefusalOfText(NestedObjects(64)), "accepted");
}

TEST(HostDescription, VariableMayHaveAMillionElements) {
    const auto database = LoadVariables(R"({"name": "a", "type": "U8_ARRAY", "count": 1048576})");

    EXPECT_EQ(database->At("R/O/a").SizeInBytes(), 1048576U);
}

// ---- What is refused -------------------------------------------------------------------------------------------

struct RefusedText {
    const char* text;
    const char* message;
};

void PrintTo(const RefusedText& refused, std::ostream* out) {
    *out << refused.text;
}

class HostDescriptionRefusal : public testing::TestWithParam<RefusedText> {};

TEST_P(HostDescriptionRefusal, NamesThePlaceAndTheProblem) {
    EXPECT_EQ(RefusalOfText(GetParam().text), GetParam().message);
}

const RefusedText kRefusedTexts[] = {
    {"", "description: not valid JSON at line 1, column 1"},
    {"{\"regions\": [\n  {]}", "description: not valid JSON at line 2, column 4"},
    {R"({"regions": [1e999]})", "description: a number is too large"},
    {"[]", "description: must be an object, found array"},
    {"{}", R"(description: missing field "regions")"},
    {R"({"regions": [], "region": 1})", R"(description: unknown key "region")"},
    {R"({"regions": 1})", "regions: must be an array, found number"},
    {R"({"regions": [7]})", "regions[0]: must be an object, found number"},
    {R"({"regions": [{"objects": []}]})", R"(regions[0]: missing field "name")"},
    {R"({"regions": [{"name": "R"}]})", R"(regions[0]: missing field "objects")"},
    {R"({"regions": [{"name": 1, "objects": []}]})", "regions[0].name: must be a string, found number"},
    {R"({"regions": [{"name": "", "objects": []}]})", "regions[0].name: is empty"},
    {R"({"regions": [{"name": "a\u0000b", "objects": []}]})", "regions[0].name: contains a NUL character"},
    {R"({"regions": [{"name": "R", "objects": {}}]})", "regions[0].objects: must be an array, found object"},
    {R"({"regions": [{"name": "R", "objects": [], "writable": true}]})", R"(regions[0]: unknown key "writable")"},
    {R"({"regions": [{"name": "R", "objects": []}, {"name": "R", "objects": []}]})",
     R"(regions[1]: duplicate name "R")"},
    {R"({"regions": [{"name": "R", "objects": [null]}]})", "regions[0].objects[0]: must be an object, found null"},
    {R"({"regions": [{"name": "R", "objects": [{"name": "O"}]}]})",
     R"(regions[0].objects[0]: missing field "variables")"},
    {R"({"regions": [{"name": "R", "objects": [{"variables": []}]}]})",
     R"(regions[0].objects[0]: missing field "name")"},
    {R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [], "type": "U8"}]}]})",
     R"(regions[0].objects[0]: unknown key "type")"},
    {R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [], "writable": 1}]}]})",
     "regions[0].objects[0].writable: must be true or false, found number"},
    {R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": []}, {"name": "O", "variables": []}]}]})",
     R"(regions[0].objects[1]: duplicate name "O")"},
};

INSTANTIATE_TEST_SUITE_P(, HostDescriptionRefusal, testing::ValuesIn(kRefusedTexts));

class HostDescriptionRefusalOfVariable : public testing::TestWithParam<RefusedText> {};

TEST_P(HostDescriptionRefusalOfVariable, NamesThePlaceAndTheProblem) {
    const std::string text = WithVariables(R"({"name": "first", "type": "U8"}, )" + std::string(GetParam().text));

    EXPECT_EQ(RefusalOfText(text), "regions[0].objects[0].variables[1]" + std::string(GetParam().message));
}

const RefusedText kRefusedVariables[] = {
    {"5", ": must be an object, found number"},
    {R"({"type": "U8"})", R"(: missing field "name")"},
    {R"({"name": "a"})", R"(: missing field "type")"},
    {R"({"name": "a", "type": "U9"})", R"(: unknown type "U9")"},
    {R"({"name": "a", "type": "S32_Array"})", R"(: unknown type "S32_Array")"},
    {R"({"name": "a", "type": 4})", ".type: must be a string, found number"},
    {R"({"name": "a", "type": "U8", "value": 4})", R"(: unknown key "value")"},
    {R"({"name": "first", "type": "U16"})", R"(: duplicate name "first")"},

    {R"({"name": "a", "type": "U8", "count": 1})", R"(: "count" does not belong to type U8)"},
    {R"({"name": "a", "type": "U8", "object": {}})", R"(: "object" does not belong to type U8)"},
    {R"({"name": "a", "type": "U8_ARRAY", "count": 1, "objects": []})",
     R"(: "objects" does not belong to type U8_ARRAY)"},
    {R"({"name": "a", "type": "STRING", "count": 1, "objects": []})", R"(: "objects" does not belong to type STRING)"},
    {R"({"name": "a", "type": "OBJECT", "default": 1})", R"(: "default" does not belong to type OBJECT)"},
    {R"({"name": "a", "type": "OBJECT_ARRAY", "count": 1})", R"(: "count" does not belong to type OBJECT_ARRAY)"},

    {R"({"name": "a", "type": "U8", "default": 256})", ".default: 256 is out of range (0 to 255)"},
    {R"({"name": "a", "type": "U8", "default": -1})", ".default: -1 is out of range (0 to 255)"},
    {R"({"name": "a", "type": "S8", "default": 128})", ".default: 128 is out of range (-128 to 127)"},
    {R"({"name": "a", "type": "S8", "default": -129})", ".default: -129 is out of range (-128 to 127)"},
    {R"({"name": "a", "type": "U16", "default": 65536})", ".default: 65536 is out of range (0 to 65535)"},
    {R"({"name": "a", "type": "S16", "default": -32769})", ".default: -32769 is out of range (-32768 to 32767)"},
    {R"({"name": "a", "type": "U32", "default": 4294967296})",
     ".default: 4294967296 is out of range (0 to 4294967295)"},
    {R"({"name": "a", "type": "S32", "default": 18446744073709551615})",
     ".default: 18446744073709551615 is out of range (-2147483648 to 2147483647)"},
    {R"({"name": "a", "type": "CHAR", "default": 256})", ".default: 256 is out of range (0 to 255)"},
    {R"({"name": "a", "type": "CHAR", "default": "A"})", ".default: must be an integer, found string"},
    {R"({"name": "a", "type": "U8", "default": 1.0})", ".default: must be an integer, found number"},
    {R"({"name": "a", "type": "U8", "default": null})", ".default: must be an integer, found null"},
    {R"({"name": "a", "type": "BOOL", "default": 1})", ".default: must be true or false, found number"},
    {R"({"name": "a", "type": "FLOAT", "default": "1"})", ".default: must be a number, found string"},
    {R"({"name": "a", "type": "FLOAT", "default": 3.5e38})", ".default: 3.5e+38 is out of range for single precision"},
    {R"({"name": "a", "type": "DOUBLE", "default": true})", ".default: must be a number, found boolean"},

    {R"({"name": "a", "type": "U8_ARRAY"})", R"(: missing field "count")"},
    {R"({"name": "a", "type": "U8_ARRAY", "count": "2"})", ".count: must be an integer, found string"},
    {R"({"name": "a", "type": "U8_ARRAY", "count": -1})", ".count: -1 is out of range (0 to 1048576)"},
    {R"({"name": "a", "type": "U8_ARRAY", "count": 1048577})", ".count: 1048577 is out of range (0 to 1048576)"},
    {R"({"name": "a", "type": "U8_ARRAY", "count": 2, "default": 1})", ".default: must be an array, found number"},
    {R"({"name": "a", "type": "U8_ARRAY", "count": 2, "default": [1]})", ".default: has 1 values, but count is 2"},
    {R"({"name": "a", "type": "U8_ARRAY", "count": 1, "default": [1, 2]})", ".default: has 2 values, but count is 1"},
    {R"({"name": "a", "type": "U8_ARRAY", "count": 2, "default": [1, 300]})",
     ".default[1]: 300 is out of range (0 to 255)"},
    {R"({"name": "a", "type": "BOOL_ARRAY", "count": 1, "default": ["TRUE"]})",
     ".default[0]: must be true or false, found string"},

    {R"({"name": "a", "type": "STRING", "default": "x"})", R"(: missing field "count")"},
    {R"({"name": "a", "type": "STRING", "count": 3, "default": "mii"})", ".default: needs 4 bytes, but count is 3"},
    {R"({"name": "a", "type": "STRING", "count": 3, "default": 1})", ".default: must be a string, found number"},
    {R"({"name": "a", "type": "STRING", "count": 9, "default": "a\u0000b"})", ".default: contains a NUL character"},

    {R"({"name": "a", "type": "OBJECT"})", R"(: missing field "object")"},
    {R"({"name": "a", "type": "OBJECT", "object": []})", ".object: must be an object, found array"},
    {R"({"name": "a", "type": "OBJECT", "object": {"variables": []}})", R"(.object: missing field "name")"},
    {R"({"name": "a", "type": "OBJECT", "object": {"name": "N", "variables": [{"name": "b", "type": "X"}]}})",
     R"(.object.variables[0]: unknown type "X")"},
    {R"({"name": "a", "type": "OBJECT_ARRAY"})", R"(: missing field "objects")"},
    {R"({"name": "a", "type": "OBJECT_ARRAY", "objects": {}})", ".objects: must be an array, found object"},
    {R"({"name": "a", "type": "OBJECT_ARRAY", "objects": [{"name": "E", "variables": 1}]})",
     ".objects[0].variables: must be an array, found number"},
    {R"({"name": "a", "type": "OBJECT_ARRAY", "objects": [{"name": "E", "variables": []},
                                                          {"name": "E", "variables": []}]})",
     R"(.objects[1]: duplicate name "E")"},
};

INSTANTIATE_TEST_SUITE_P(, HostDescriptionRefusalOfVariable, testing::ValuesIn(kRefusedVariables));

TEST(HostDescription, SixtyFifthObjectInOneAnotherIsRefused) {
    const std::string message = RefusalOfText(NestedObjects(65));

    EXPECT_EQ(message.substr(message.rfind(": ")), ": objects are nested more than 64 deep");
}

TEST(HostDescription, JsonNestedWithoutEndIsRefused) {
    EXPECT_EQ(RefusalOfText(std::string(100000, '[')), "description: not valid JSON at line 1, column 100001");
}

// ---- Descriptions that a program has made ----------------------------------------------------------------------

std::string RefusalOfValue(const json& description) {
    return Refusal([&description] { static_cast<void>(LoadDatabase(description)); });
}

json WithDefault(const char* type, const json& value) {
    json description = json::parse(WithVariables("{}"));
    description["regions"][0]["objects"][0]["variables"][0] = {{"name", "a"}, {"type", type}, {"default", value}};
    return description;
}

TEST(HostDescriptionOfAProgram, HasTheValuesOfTheProgram) {
    EXPECT_EQ(LoadDatabase(WithDefault("S16", -300))->At("R/O/a").Get<std::int16_t>(), -300);
    EXPECT_EQ(LoadDatabase(WithDefault("U16", 300))->At("R/O/a").Get<std::uint16_t>(), 300);
    EXPECT_EQ(LoadDatabase(WithDefault("DOUBLE", 0.1))->At("R/O/a").Get<double>(), 0.1);
    EXPECT_EQ(LoadDatabase(WithDefault("BOOL", true))->At("R/O/a").Get<bool>(), true);
}

TEST(HostDescriptionOfAProgram, MayHaveANegativeIntegerForAReal) {
    EXPECT_EQ(LoadDatabase(WithDefault("DOUBLE", -3))->At("R/O/a").Get<double>(), -3.0);
}

TEST(HostDescriptionOfAProgram, MayKeepItsKeysInTheOrderOfTheProgram) {
    const nlohmann::ordered_json description = WithDefault("U16", 300);

    EXPECT_EQ(LoadDatabase(description)->At("R/O/a").Get<std::uint16_t>(), 300);
}

TEST(HostDescriptionOfAProgram, IsHeldToTheRangeOfItsTypes) {
    EXPECT_EQ(RefusalOfValue(WithDefault("U8", 256)),
              "regions[0].objects[0].variables[0].default: 256 is out of range (0 to 255)");
}

TEST(HostDescriptionOfAProgram, IsRefusedWhereItHoldsWhatNoTextCan) {
    EXPECT_EQ(RefusalOfValue(WithDefault("U8", json::binary({1}))),
              "regions[0].objects[0].variables[0].default: must be an integer, found null");
}

TEST(HostDescriptionOfAProgram, MayHaveSixtyFourObjectsInOneAnother) {
    EXPECT_EQ(RefusalOfValue(json::parse(NestedObjects(64))), "accepted");
}

TEST(HostDescriptionOfAProgram, IsRefusedHoweverDeepItIsNested) {
    json nested = json::array();
    for (int i = 0; i < 100000; ++i) {
        json outer = json::array();
        outer.push_back(std::move(nested));
        nested = std::move(outer);
    }

    EXPECT_EQ(RefusalOfValue({{"regions", std::move(nested)}}), "regions[0]: must be an object, found array");
}

// ---- Files -----------------------------------------------------------------------------------------------------

class HostDescriptionFile : public testing::Test {
protected:
    ~HostDescriptionFile() override { std::remove(name_.c_str()); }

    void Write(const std::string& text) const { std::ofstream(name_) << text; }

    std::string name_ = testing::TempDir() + "host-description-" +
                        testing::UnitTest::GetInstance()->current_test_info()->name() + ".json";
};

TEST_F(HostDescriptionFile, IsLoaded) {
    Write(WithVariables(R"({"name": "a", "type": "U8", "default": 9})"));

    EXPECT_EQ(LoadDatabaseFromFile(name_)->At("R/O/a").Get<std::uint8_t>(), 9);
}

TEST_F(HostDescriptionFile, IsLoadedWhateverItsSize) {
    std::string variables;
    for (int i = 0; i < 5000; ++i) {
        variables +=
            R"({"name": "v)" + std::to_string(i) + R"(", "type": "U16", "default": )" + std::to_string(i) + "},";
    }
    Write(WithVariables(variables + R"({"name": "last", "type": "U16"})"));

    EXPECT_EQ(LoadDatabaseFromFile(name_)->At("R/O/v4999").Get<std::uint16_t>(), 4999);
}

TEST_F(HostDescriptionFile, ThatIsNoRegularFileIsReadToItsEnd) {
    EXPECT_EQ(Refusal([] { static_cast<void>(LoadDatabaseFromFile("/dev/null")); }),
              "/dev/null: description: not valid JSON at line 1, column 1");
}

TEST_F(HostDescriptionFile, ThatIsMissingIsNamed) {
    EXPECT_EQ(Refusal([this] { static_cast<void>(LoadDatabaseFromFile(name_)); }),
              name_ + ": No such file or directory");
}

TEST_F(HostDescriptionFile, ThatIsADirectoryIsNamed) {
    EXPECT_EQ(Refusal([] { static_cast<void>(LoadDatabaseFromFile("/")); }), "/: Is a directory");
}

TEST_F(HostDescriptionFile, ThatIsNotUnderstoodIsNamedBeforeThePlace) {
    Write("{}");

    EXPECT_EQ(Refusal([this] { static_cast<void>(LoadDatabaseFromFile(name_)); }),
              name_ + R"(: description: missing field "regions")");
}

// ---- The way back ----------------------------------------------------------------------------------------------

TEST(HostDescription, DatabaseIsDescribedWholeAndWithItsDefaults) {
    Database database;
    auto& object = database.AddRegion("R").AddObject("O").U32("a", 5).BoolArray("b", {2, 0}).String("c", 4, "mii");
    object.AddNested("d", "N").ReadOnly().Float("e", 0.1F);
    object.AddToArray("f", "E");
    database.SetAllToZero();

    EXPECT_EQ(DescribeDatabase(database), json::parse(R"({"regions": [{"name": "R", "objects": [
        {"name": "O", "writable": true, "variables": [
            {"name": "a", "type": "U32", "default": 5},
            {"name": "b", "type": "BOOL_ARRAY", "count": 2, "default": [true, false]},
            {"name": "c", "type": "STRING", "count": 4, "default": "mii"},
            {"name": "d", "type": "OBJECT", "object": {"name": "N", "writable": false, "variables": [
                {"name": "e", "type": "FLOAT", "default": 0.1}]}},
            {"name": "f", "type": "OBJECT_ARRAY", "objects": [{"name": "E", "writable": true, "variables": []}]}
        ]}]}]})"));
}

TEST(HostDescription, EmptyDatabaseIsDescribed) {
    EXPECT_EQ(DescribeDatabase(Database()), json::parse(R"({"regions": []})"));
}

TEST(HostDescription, UndefinedTypeCodeCannotBeDescribed) {
    Database database;
    database.AddRegion("R").AddObject("O").Raw("a", 99, 1, {0});

    EXPECT_EQ(Refusal([&database] { static_cast<void>(DescribeDatabase(database)); }),
              "R/O/a: type code 99 is not defined");
}

TEST(HostDescription, SizeThatDoesNotMatchCannotBeDescribed) {
    Database database;
    database.AddRegion("R").AddObject("O").Raw("a", 5, 2, {0, 0, 0, 0, 0});

    EXPECT_EQ(Refusal([&database] { static_cast<void>(DescribeDatabase(database)); }),
              "R/O/a: 5 bytes do not match 2 elements of type U32_ARRAY");
}

TEST(HostDescription, ScalarOfTwoElementsCannotBeDescribed) {
    Database database;
    database.AddRegion("R").AddObject("O").Raw("a", 0, 2, {0, 0});

    EXPECT_EQ(Refusal([&database] { static_cast<void>(DescribeDatabase(database)); }),
              "R/O/a: 2 bytes do not match 2 elements of type U8");
}

}  // namespace
