#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "DatabaseDescription.h"

namespace {

using tal::host::Database;
using tal::host::Variable;

class HostExample : public testing::Test {
protected:
    std::unique_ptr<Database> database_ = tal::host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");
};

TEST_F(HostExample, HasVariablesOfEveryType) {
    std::set<VariableType> types;
    for (const Variable* variable : database_->Variables()) {
        types.insert(variable->Type());
    }

    EXPECT_EQ(types.size(), 23U);
    EXPECT_EQ(*types.rbegin(), 22U);
}

TEST_F(HostExample, HasAFewHundredVariables) {
    EXPECT_GE(database_->Variables().size(), 200U);
}

TEST_F(HostExample, HasOnePathPerVariable) {
    std::set<std::string> paths;
    for (const Variable* variable : database_->Variables()) {
        EXPECT_TRUE(paths.insert(variable->Path()).second) << variable->Path();
    }
}

TEST_F(HostExample, HasTheVariablesThatTheBoardSupportProviderFills) {
    const std::pair<const char*, VariableType> kBoardVariables[] = {
        {"HDBCommonBoard/Capabilities.CB.Channel1/NumberOfChannels", VARIABLE_TYPE_U32},
        {"HDBCommonBoard/BroadcomConfiguration/BcmMedia", VARIABLE_TYPE_STRING},
        {"HDBCommonBoard/BroadcomConfiguration/BcmAccessName", VARIABLE_TYPE_STRING},
        {"HDBCommonBoard/BroadcomConfiguration/BcmResetAccessName", VARIABLE_TYPE_STRING},
        {"HDBCommonBoard/BroadcomConfiguration/BcmMessageReady", VARIABLE_TYPE_STRING},
        {"HDBCommonBoard/HardwareCodes/HwIdMajor", VARIABLE_TYPE_U32},
        {"HDBCommonBoard/HardwareCodes/HwIdMinor", VARIABLE_TYPE_U32},
        {"HDBCommonBoard/HardwareCodes/HwCodeMcb", VARIABLE_TYPE_U32},
        {"HDBCommonBoard/HardwareCodes/HwCodeNab", VARIABLE_TYPE_U32},
        {"HDBCommonBoard/HardwareCodes/HwCodeTraf", VARIABLE_TYPE_U32},
        {"HDBCommonBoard/HardwareCodes/HwCodeDsp", VARIABLE_TYPE_U32},
        {"HDBCommonBoard/HardwareCodes/HwCodeSupp", VARIABLE_TYPE_U32},
        {"HDBCommonBoard/HardwareCodes/HwCodeRab", VARIABLE_TYPE_U32},
        {"HDBCommonBoard/HardwareCodes/HwCodeAux", VARIABLE_TYPE_U32},
    };
    for (const auto& [path, type] : kBoardVariables) {
        ASSERT_NE(database_->Find(path), nullptr) << path;
        EXPECT_EQ(database_->At(path).Type(), type) << path;
    }
    EXPECT_GE(database_->At("HDBCommonBoard/BroadcomConfiguration/BcmMessageReady").ElementCount(),
              sizeof "BcmMessageReadyValue");
}

TEST_F(HostExample, HasReadOnlyObjects) {
    const auto& objects = database_->Regions()[0]->Objects();

    EXPECT_TRUE(std::any_of(objects.begin(), objects.end(), [](const auto& object) { return !object->Writable(); }));
}

/// Whether an XML document gives the number back as it was.
bool IsSevenDigits(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%e", value);
    return std::strtod(text, nullptr) == value;
}

bool SurvivesXml(const Variable& variable) {
    switch (variable.Type()) {
        case VARIABLE_TYPE_U32:
            return variable.Get<std::uint32_t>() <= 2147483647;
        case VARIABLE_TYPE_STRING:
            return !variable.Text().empty() && variable.Text().find_first_of("<&\n") == std::string::npos;
        case VARIABLE_TYPE_DOUBLE:
            return IsSevenDigits(variable.Get<double>());
        case VARIABLE_TYPE_DOUBLE_ARRAY:
            for (std::size_t i = 0; i < variable.ElementCount(); ++i) {
                if (!IsSevenDigits(variable.Get<double>(i))) {
                    return false;
                }
            }
            return true;
        default:
            return true;
    }
}

TEST_F(HostExample, HasOnlyValuesThatSurviveAnXmlDocument) {
    for (const Variable* variable : database_->Variables()) {
        EXPECT_TRUE(SurvivesXml(*variable)) << variable->Path();
    }
}

TEST_F(HostExample, HasOnlyNamesThatSurviveAnXmlDocument) {
    for (const auto& region : database_->Regions()) {
        EXPECT_LT(region->Name().size(), 40U) << region->Name();
    }
    for (const Variable* variable : database_->Variables()) {
        EXPECT_LT(variable->Name().size(), 120U) << variable->Path();
        EXPECT_EQ(variable->Path().find_first_of("<&\""), std::string::npos) << variable->Path();
        // A region, at most five objects, a variable.
        EXPECT_LE(std::count(variable->Path().begin(), variable->Path().end(), '/'), 6) << variable->Path();
    }
}

TEST_F(HostExample, HasNamesWithAChannel) {
    EXPECT_NE(database_->Find("CalibrationTabRf1/Attenuator.Channel1/channel.1.Offset"), nullptr);
    EXPECT_NE(database_->Find("CalibrationTabRf2/TxPath.Channel2/Channel.2.PowerOffset"), nullptr);
}

TEST_F(HostExample, SurvivesBeingDescribed) {
    const auto again = tal::host::LoadDatabase(DescribeDatabase(*database_));

    ASSERT_EQ(again->Variables().size(), database_->Variables().size());
    for (std::size_t i = 0; i < again->Variables().size(); ++i) {
        const Variable& before = *database_->Variables()[i];
        const Variable& after = *again->Variables()[i];
        EXPECT_EQ(after.Path(), before.Path());
        EXPECT_EQ(after.Type(), before.Type());
        if (before.Objects().empty() && before.Type() != VARIABLE_TYPE_OBJECT_ARRAY) {
            EXPECT_EQ(after.Bytes(), before.Bytes()) << before.Path();
        }
    }
}

}  // namespace
