/// docs/layout-changes.md: each change of its table is made, and its cells say what becomes of a file.

#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <iterator>
#include <map>
#include <ostream>
#include <sstream>

#include "host/ReferenceHost.h"
#include "support/Documentation.h"
#include "support/FileProviders.h"
#include "support/Files.h"

namespace tal::test {

namespace {

using host::Database;
using host::Object;
using host::Variable;

constexpr const char* kPage = "docs/layout-changes.md";
constexpr const char* kHeading = "## The table";
constexpr const char* kLayoutFile = "file";

/// What the variables that the change does not touch hold, by their names.
const std::map<std::string, std::uint32_t> kUntouched = {{"First", 1}, {"Last", 3}, {"Far", 4}};

/// Builds a layout whose values are those of kUntouched and 2, each plus `plus`.
using Layout = std::function<void(Database& database, std::uint32_t plus)>;

/// A variable that the change is about.
struct Touched {
    std::string path;   ///< In the new layout.
    std::string whole;  ///< How it reads when its value was kept; empty when the file has none.
    std::string part;   ///< How it reads when only the front of its value was kept.
};

struct Change {
    std::string name;  ///< In the table.
    Layout before;
    Layout after;
    std::vector<Touched> touched;
};

void PrintTo(const Change& change, std::ostream* stream) {
    *stream << change.name;
}

/// R/O/First, whatever `addIt` adds to R/O, R/O/Last and R/P/Far.
Layout With(const std::function<void(Object& object, std::uint32_t value)>& addIt) {
    return [=](Database& database, std::uint32_t plus) {
        host::Region& region = database.AddRegion("R");
        Object& object = region.AddObject("O");
        object.U32("First", 1 + plus);
        addIt(object, 2 + plus);
        object.U32("Last", 3 + plus);
        region.AddObject("P").U32("Far", 4 + plus);
    };
}

Layout WithU32(const char* name) {
    return With([=](Object& object, std::uint32_t value) { object.U32(name, value); });
}

Layout WithNothing() {
    return With([](Object& /*object*/, std::uint32_t /*value*/) {});
}

Layout WithString(std::uint32_t capacity) {
    return With([=](Object& object, std::uint32_t value) {
        object.String("It", capacity, value == 2 ? std::string("stored").substr(0, capacity - 1) : "def");
    });
}

Layout WithArray(std::size_t count) {
    return With(
        [=](Object& object, std::uint32_t value) { object.U32Array("It", std::vector<std::uint32_t>(count, value)); });
}

/// R/O/First, then what `addAfter` adds to R/O, and R/P/Far.
Layout WithAfter(const std::function<void(Object& object, std::uint32_t plus)>& addAfter) {
    return [=](Database& database, std::uint32_t plus) {
        host::Region& region = database.AddRegion("R");
        addAfter(region.AddObject("O").U32("First", 1 + plus), plus);
        region.AddObject("P").U32("Far", 4 + plus);
    };
}

Layout WithElements(const char* arrayName, std::size_t count) {
    return WithAfter([=](Object& object, std::uint32_t plus) {
        for (std::size_t index = 0; index < count; ++index) {
            object.AddToArray(arrayName, "E" + std::to_string(index)).U32("It", 2 + plus);
        }
    });
}

Layout WithItNestedIn(const char* objectName) {
    return WithAfter(
        [=](Object& object, std::uint32_t plus) { object.AddNested("N", objectName).U32("It", 2 + plus); });
}

/// R/O/First, then R/P with `addToP` in it.
Layout WithInP(const std::function<void(Object& object, std::uint32_t plus)>& addToP) {
    return [=](Database& database, std::uint32_t plus) {
        host::Region& region = database.AddRegion("R");
        region.AddObject("O").U32("First", 1 + plus);
        addToP(region.AddObject("P"), plus);
    };
}

/// Objects with one variable each: "region/object/name value".
struct Single {
    const char* region;
    const char* object;
    const char* name;
    std::uint32_t value;
};

Layout Singles(const std::vector<Single>& singles) {
    return [=](Database& database, std::uint32_t plus) {
        std::map<std::string, host::Region*> regions;
        for (const Single& single : singles) {
            host::Region*& region = regions[single.region];
            region = region == nullptr ? &database.AddRegion(single.region) : region;
            region->AddObject(single.object).U32(single.name, single.value + plus);
        }
    };
}

Layout WithWritable(bool isWritable) {
    return [=](Database& database, std::uint32_t plus) {
        host::Region& region = database.AddRegion("R");
        region.AddObject("O").U32("First", 1 + plus);
        Object& object = region.AddObject("Q").U32("It", 2 + plus);
        if (!isWritable) {
            object.ReadOnly();
        }
        region.AddObject("P").U32("Far", 4 + plus);
    };
}

Layout WithItBeforeNested() {
    return WithAfter(
        [](Object& object, std::uint32_t plus) { object.U32("It", 2 + plus).AddNested("N").U32("Last", 3 + plus); });
}

Layout WithItAfterNested() {
    return WithAfter([](Object& object, std::uint32_t plus) {
        object.AddNested("N").U32("Last", 3 + plus);
        object.U32("It", 2 + plus);
    });
}

const std::vector<Change> kChanges = {
    {"variable added between others", WithNothing(), WithU32("It"), {{"R/O/It", "", ""}}},
    {"variable added after all others",
     WithInP([](Object& object, std::uint32_t plus) { object.U32("Far", 4 + plus); }),
     WithInP([](Object& object, std::uint32_t plus) { object.U32("Far", 4 + plus).U32("It", 2 + plus); }),
     {{"R/P/It", "", ""}}},
    {"variable removed from between others", WithU32("It"), WithNothing(), {}},
    {"variable removed from the end",
     WithInP([](Object& object, std::uint32_t plus) { object.U32("Far", 4 + plus).U32("It", 2 + plus); }),
     WithInP([](Object& object, std::uint32_t plus) { object.U32("Far", 4 + plus); }),
     {}},
    {"variable renamed", WithU32("It"), WithU32("Other"), {{"R/O/Other", "2", ""}}},
    {"two variables of one size swapped",
     WithInP([](Object& object, std::uint32_t plus) { object.U32("It", 2 + plus).U32("Far", 4 + plus); }),
     WithInP([](Object& object, std::uint32_t plus) { object.U32("Far", 4 + plus).U32("It", 2 + plus); }),
     {{"R/P/It", "2", ""}}},
    {"string with more room", WithString(8), WithString(12), {{"R/O/It", "stored", ""}}},
    {"string with less room", WithString(8), WithString(4), {{"R/O/It", "stored", "sto"}}},
    {"array with more elements", WithArray(2), WithArray(3), {{"R/O/It", "2 2 2", "2 2 16843009"}}},
    {"array with fewer elements", WithArray(3), WithArray(2), {{"R/O/It", "2 2 2", "2 2"}}},
    {"type of the same size and kind, U32 to S32",
     WithU32("It"),
     With([](Object& object, std::uint32_t value) { object.S32("It", static_cast<std::int32_t>(value)); }),
     {{"R/O/It", "2", ""}}},
    {"type of the same size and another kind, U32 to FLOAT",
     WithU32("It"),
     With([](Object& object, std::uint32_t value) { object.Float("It", static_cast<float>(value)); }),
     {{"R/O/It", "2", ""}}},
    {"type of another size, U16 to U32",
     With([](Object& object, std::uint32_t value) { object.U16("It", static_cast<std::uint16_t>(value)); }),
     WithU32("It"),
     {{"R/O/It", "2", ""}}},
    {"scalar made an array of one element", WithU32("It"), WithArray(1), {{"R/O/It", "2", ""}}},
    {"array of one element made a scalar", WithArray(1), WithU32("It"), {{"R/O/It", "2", ""}}},
    {"object moved within its region",
     Singles({{"R", "O", "First", 1}, {"R", "Q", "It", 2}, {"R", "P", "Far", 4}}),
     Singles({{"R", "O", "First", 1}, {"R", "P", "Far", 4}, {"R", "Q", "It", 2}}),
     {{"R/Q/It", "2", ""}}},
    {"object moved to another region in the same place",
     Singles({{"R", "O", "First", 1}, {"R", "Q", "It", 2}, {"S", "P", "Far", 4}}),
     Singles({{"R", "O", "First", 1}, {"S", "Q", "It", 2}, {"S", "P", "Far", 4}}),
     {{"S/Q/It", "2", ""}}},
    {"object renamed",
     Singles({{"R", "O", "First", 1}, {"R", "Q", "It", 2}, {"R", "P", "Far", 4}}),
     Singles({{"R", "O", "First", 1}, {"R", "New", "It", 2}, {"R", "P", "Far", 4}}),
     {{"R/New/It", "2", ""}}},
    {"region renamed",
     Singles({{"R", "O", "First", 1}, {"Q", "O", "It", 2}, {"S", "P", "Far", 4}}),
     Singles({{"R", "O", "First", 1}, {"New", "O", "It", 2}, {"S", "P", "Far", 4}}),
     {{"New/O/It", "2", ""}}},
    {"region moved",
     Singles({{"R", "O", "First", 1}, {"Q", "O", "It", 2}, {"S", "P", "Far", 4}}),
     Singles({{"R", "O", "First", 1}, {"S", "P", "Far", 4}, {"Q", "O", "It", 2}}),
     {{"Q/O/It", "2", ""}}},
    {"object made read-only", WithWritable(true), WithWritable(false), {{"R/Q/It", "2", ""}}},
    {"object made writable", WithWritable(false), WithWritable(true), {{"R/Q/It", "2", ""}}},
    {"variable moved into a nested object in the same place",
     WithAfter([](Object& object, std::uint32_t plus) { object.U32("It", 2 + plus); }),
     WithItNestedIn("N"),
     {{"R/O/N/It", "2", ""}}},
    {"nested object renamed, its variable not",
     WithItNestedIn("Old"),
     WithItNestedIn("New"),
     {{"R/O/New/It", "2", ""}}},
    {"variable moved from before a nested object to after it",
     WithItBeforeNested(),
     WithItAfterNested(),
     {{"R/O/It", "2", ""}}},
    {"variable moved from after a nested object to before it",
     WithItAfterNested(),
     WithItBeforeNested(),
     {{"R/O/It", "2", ""}}},
    {"element added to an object array", WithElements("Array", 1), WithElements("Array", 2), {{"R/O/E0/It", "2", ""}}},
    {"element removed from an object array",
     WithElements("Array", 2),
     WithElements("Array", 1),
     {{"R/O/E0/It", "2", ""}}},
    {"object array renamed, its elements not",
     WithElements("Array", 1),
     WithElements("Other", 1),
     {{"R/O/E0/It", "2", ""}}},
};

template <class Number>
std::string Numbers(const Variable& variable) {
    std::string text;
    for (std::size_t index = 0; index < variable.ElementCount(); ++index) {
        std::ostringstream number;
        number << variable.Get<Number>(index);
        text += (index == 0 ? "" : " ") + number.str();
    }
    return text;
}

std::string Reading(const Variable& variable) {
    switch (variable.Type()) {
        case VARIABLE_TYPE_STRING:
            return variable.Text();
        case VARIABLE_TYPE_FLOAT:
            return Numbers<float>(variable);
        default:
            return Numbers<std::uint32_t>(variable);
    }
}

constexpr std::uint8_t kMemory = 1;

/// Makes every byte of every value kMemory.
void FillMemory(Database& database) {
    database.ForEachVariable([](const std::string& /*path*/, Variable& variable) {
        if (variable.Objects().empty()) {
            for (std::size_t index = 0; index < variable.SizeInBytes(); ++index) {
                variable.Set(kMemory, index);
            }
        }
    });
}

bool IsAsInMemory(const Variable& variable) {
    return variable.Bytes() == std::vector<std::uint8_t>(variable.SizeInBytes(), kMemory);
}

std::string FateOf(const Touched& touched, const Variable& variable) {
    if (variable.HoldsDefault()) {
        return touched.whole.empty() ? "all" : "the others";
    }
    if (Reading(variable) == touched.whole) {
        return "all";
    }
    if (Reading(variable) == touched.part) {
        return "part of it";
    }
    return IsAsInMemory(variable) ? "it untouched" : "it wrong";
}

bool AreOthersKept(Database& database) {
    bool areKept = true;
    database.ForEachVariable([&](const std::string& /*path*/, const Variable& variable) {
        const auto other = kUntouched.find(variable.Name());
        areKept &= other == kUntouched.end() || variable.Get<std::uint32_t>() == other->second;
    });
    return areKept;
}

/// In the order of the table's columns.

/// Stores the old layout, retrieves into the new one.
/// @return what the table's cell should say.
std::string OutcomeOfChange(const Change& change, const FileProvider& files) {
    const TemporaryDirectory directory;
    IStorageProvider* const provider = files.Prepare(kLayoutFile);

    Database before;
    change.before(before, 0);
    EXPECT_EQ(provider->StoreAll(0, before.Handle(), 0), QBFResult{QBF_OK});

    Database after;
    constexpr std::uint32_t kOtherDefaults = 50;
    change.after(after, kOtherDefaults);
    FillMemory(after);
    const bool isFailure = provider->RetrieveAll(0, after.Handle(), 0) != QBF_OK;

    std::string outcome = "all";
    for (const Touched& touched : change.touched) {
        outcome = FateOf(touched, after.At(touched.path));
    }
    if (!AreOthersKept(after)) {
        outcome = "mixed up";
    }
    return outcome + (isFailure ? ", fails" : "");
}

class DocumentedLayoutChanges : public ::testing::TestWithParam<Change> {};

TEST_P(DocumentedLayoutChanges, KeepWhatTheTableSays) {
    const Change& change = GetParam();
    for (const Page::Row& row : Page(kPage).TableAfter(kHeading)) {
        if (row[0] == change.name) {
            for (std::size_t column = 0; column < std::size(kFileProviders); ++column) {
                EXPECT_EQ(row.at(1 + column), OutcomeOfChange(change, kFileProviders[column]))
                    << kFileProviders[column].name;
            }
            return;
        }
    }
    FAIL() << "not in the table: " << change.name;
}

INSTANTIATE_TEST_SUITE_P(, DocumentedLayoutChanges, ::testing::ValuesIn(kChanges),
                         [](const ::testing::TestParamInfo<Change>& change) {
                             std::string name = change.param.name;
                             name.erase(std::remove_if(name.begin(), name.end(),
                                                       [](unsigned char letter) { return std::isalnum(letter) == 0; }),
                                        name.end());
                             return name;
                         });

TEST(DocumentedLayoutChangesTable, HasNoRowThatIsNotTried) {
    std::vector<std::string> documented;
    for (const Page::Row& row : Page(kPage).TableAfter(kHeading)) {
        documented.push_back(row[0]);
    }
    std::vector<std::string> tried;
    tried.reserve(kChanges.size());
    for (const Change& change : kChanges) {
        tried.push_back(change.name);
    }
    EXPECT_THAT(documented, ::testing::UnorderedElementsAreArray(tried));
}

}  // namespace

}  // namespace tal::test
