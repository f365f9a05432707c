/// The checker against a host that keeps every rule, and against the same host with each rule broken in turn.
#include "Device/DeviceSupport/check-host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <set>
#include <stdexcept>

#include "BreakableHost.h"

namespace tal {

// What gtest shows of a finding.
static void PrintTo(const HostFinding& finding, std::ostream* out) {
    *out << ToText(finding);
}

namespace test {

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

MATCHER_P2(Breaks, rule, path, std::string("breaks ") + RuleName(rule) + " at '" + path + "'") {
    return arg.rule == rule && arg.path == path;
}

MATCHER_P3(Breaks, rule, path, seen, std::string("breaks ") + RuleName(rule) + " at '" + path + "': " + seen) {
    return arg.rule == rule && arg.path == path && arg.seen == seen;
}

/// A page of memory that the host may be told is a content.
void* Page(int protection) {
    return mmap(nullptr, 4096, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
}

const std::string& LongName() {
    static const std::string name(120, 'n');
    return name;
}

const std::string& NameWithoutEnd() {
    static const std::string name(5000, 'n');
    return name;
}

struct Breach {
    const char* name;
    void (*breakRule)(BreakableHost& host);
    HostRule rule;
    const char* path;
    const char* seen;
    bool bearsItself = true;  ///< Whether the check gets through it without a process of its own.
};

void PrintTo(const Breach& breach, std::ostream* out) {
    *out << breach.name;
}

const std::vector<Breach>& Breaches() {
    using Host = BreakableHost;
    static const std::vector<Breach> breaches = {
        {"AFunctionCrashes", [](Host& host) { host.crashesIn = "CVariable_GetType"; }, HostRule::FunctionsReturn,
         "Config/Radio/Gain", "CVariable_GetType: ended by signal 11 (Segmentation fault)", false},
        {"AFunctionThrows", [](Host& host) { host.throwsIn = "CDatabase_UpdatePathHashTable"; },
         HostRule::FunctionsReturn, "", "an exception left CDatabase_UpdatePathHashTable"},
        {"AFunctionHangs", [](Host& host) { host.hangsIn = "CStorageObject_IsWritable"; }, HostRule::FunctionsReturn,
         "Config/Radio", "CStorageObject_IsWritable: still there after 1 s", false},
        {"AFunctionFails", [](Host& host) { host.answers["CVariable_SetRetrieved"] = 0x8000; },
         HostRule::FunctionsSucceed, "Config/Radio/Gain", "CVariable_SetRetrieved answers 0x8000"},
        {"AFailureIsMinusOne", [](Host& host) { host.answers["CDatabase_GetVariableByPath"] = 0xFFFFFFFF; },
         HostRule::ResultCodes, "check-host/has/no such variable", "CDatabase_GetVariableByPath answers 0xffffffff"},
        {"TheListIsTooBig", [](Host& host) { host.textList = TextList::IsTooBig; }, HostRule::TextListRoom, "",
         "the memory beside the list has been written to"},
        {"TheListIsReversed", [](Host& host) { host.textList = TextList::IsReversed; }, HostRule::TextListContents, "",
         "a list of 2 hands out 2 items, the last answer is 0x1002"},
        {"TheListEndsLate", [](Host& host) { host.textList = TextList::EndsLate; }, HostRule::TextListContents, "",
         "a list of 1 hands out 2 items, the last answer is 0x1002"},
        {"TheListNeverEnds", [](Host& host) { host.textList = TextList::NeverEnds; }, HostRule::TextListContents, "",
         "a list of 1 hands out 2 items, the last answer is 0x0"},
        {"TheListStaysFull", [](Host& host) { host.textList = TextList::StaysFullWhenDestructed; },
         HostRule::TextListContents, "", "a list that has been destructed hands out 1 items, the last answer is 0x0"},
        {"TheListNeedsConstruction", [](Host& host) { host.textList = TextList::NeedsConstruction; },
         HostRule::TextListContents, "", "a list that is all zero hands out 0 items, the last answer is 0x8000"},
        {"TheRegionsEndWithNull", [](Host& host) { host.config.link.next = nullptr; }, HostRule::RegionList, "",
         "a null pointer stands where the next node should, after 1 nodes"},
        {"TheRegionsGoInACircle", [](Host& host) { host.config.link.next = &host.config.link; }, HostRule::RegionList,
         "", "the list goes in a circle without its sentinel after 1 nodes"},
        {"TheDatabaseHasAnotherFirstWord",
         [](Host& host) { host.database.regions.next = reinterpret_cast<HostListNode*>(std::uintptr_t{64}); },
         HostRule::RegionList, "", "reading the list: ended by signal 11 (Segmentation fault)", false},
        {"ARegionIsNull", [](Host& host) { host.config.link.element = nullptr; }, HostRule::RegionList, "",
         "a node has no element"},
        {"TheObjectsEndWithNull", [](Host& host) { host.empty.link.next = nullptr; }, HostRule::ObjectList, "Config",
         "a null pointer stands where the next node should, after 3 nodes"},
        {"TheObjectsGoInACircle", [](Host& host) { host.empty.link.next = &host.tx.link; }, HostRule::ObjectList,
         "Config", "the list goes in a circle without its sentinel after 3 nodes"},
        {"TheRegionHasNoReservedWord", [](Host& host) { host.config.link.element = &host.config.objects; },
         HostRule::ObjectList, "Config",
         "the list comes back to the first word of its owner, which is not the sentinel, after 1 nodes"},
        {"AnObjectIsNull", [](Host& host) { host.tx.link.element = nullptr; }, HostRule::ObjectList, "Config",
         "a node has no element"},
        {"ARegionHasANullName", [](Host& host) { host.nameOfTheRegion = nullptr; }, HostRule::Names, "?",
         "CStorageRegion_GetName hands out a null pointer"},
        {"AnObjectHasANullName", [](Host& host) { host.tx.name = nullptr; }, HostRule::Names, "Config/?",
         "CStorageObject_GetName hands out a null pointer"},
        {"AVariableHasANullName", [](Host& host) { host.tx.variables[0].name = nullptr; }, HostRule::Names,
         "Config/Tx/?", "CVariable_GetName hands out a null pointer"},
        {"ANameHasNoEnd", [](Host& host) { host.tx.name = NameWithoutEnd().c_str(); }, HostRule::Names, "Config/?",
         "no NUL within 4096 characters"},
        {"NamesShareABuffer", [](Host& host) { host.namesShareABuffer = true; }, HostRule::Names, "Config",
         "the name has become another text"},
        {"ANameIsTooLong", [](Host& host) { host.amp.variables[0].name = LongName().c_str(); }, HostRule::NamesFit,
         nullptr, "a name of 120 characters"},
        {"AnIterationEndsLateWithNothing", [](Host& host) { host.iteration = Iteration::EndsLateWithNothing; },
         HostRule::Iterations, "Config/Radio", "no variable comes after 4, with 0x1004"},
        {"AnIterationEndsLateWithTheLastAgain",
         [](Host& host) { host.iteration = Iteration::EndsLateWithTheLastAgain; }, HostRule::Iterations, "Config/Radio",
         "a variable comes for the second time after 4, with 0x1004"},
        {"AnIterationGoesInACircle", [](Host& host) { host.iteration = Iteration::GoesInACircle; },
         HostRule::Iterations, "Config/Radio", "a variable comes for the second time after 4, with 0x0"},
        {"AnIterationNeverEnds", [](Host& host) { host.iteration = Iteration::NeverEnds; }, HostRule::Iterations,
         "Config/Radio", "there is no end after 1000, with 0x0"},
        {"AnIterationFailsAfterTheLast", [](Host& host) { host.iteration = Iteration::FailsAfterTheLast; },
         HostRule::Iterations, "Config/Radio", "0x8000 is answered after 4 variables"},
        {"AnEmptyObjectStartsAnIteration", [](Host& host) { host.iteration = Iteration::StartsInAnEmptyObject; },
         HostRule::Iterations, "Config/Empty", "no variable comes after 0, with 0x1004"},
        {"IterationsTakeTurns", [](Host& host) { host.iteration = Iteration::TakesTurns; }, HostRule::Iterations,
         "Config/Radio", "the second iteration hands out other variables than the first"},
        {"ATypeIsNotDefined", [](Host& host) { host.tx.variables[0].type = 23; }, HostRule::Types, "Config/Tx/Power",
         "type code 23"},
        {"AnArrayHasAnotherSize", [](Host& host) { host.radio.variables[2].sizeInBytes = 8; }, HostRule::Sizes,
         "Config/Radio/Offsets", "8 bytes for 3 x 4"},
        {"ABooleanIsOneByte",
         [](Host& host) {
             host.tx.variables[0].type = VARIABLE_TYPE_BOOL;
             host.tx.variables[0].sizeInBytes = 1;
         },
         HostRule::Sizes, "Config/Tx/Power", "1 bytes for 1 x 4"},
        {"AStringHasAnotherSize", [](Host& host) { host.radio.variables[1].elementCount = 5; }, HostRule::Sizes,
         "Config/Radio/Label", "8 bytes for 5 x 1"},
        {"AnObjectArrayHasAnotherSize", [](Host& host) { host.radio.variables[3].sizeInBytes = 1; }, HostRule::Sizes,
         "Config/Radio/Lanes", sizeof(void*) == 8 ? "1 bytes for 2 x 8" : "1 bytes for 2 x 4"},
        {"AContentIsNull", [](Host& host) { host.tx.variables[0].content = nullptr; }, HostRule::Contents,
         "Config/Tx/Power", "the content address is null"},
        {"ANestedObjectIsNull", [](Host& host) { host.tx.variables[1].content = nullptr; }, HostRule::Contents,
         "Config/Tx/Amp", "the content address is null"},
        {"AnElementIsNull", [](Host& host) { host.lanes[1] = nullptr; }, HostRule::Contents, "Config/Radio/Lanes",
         "a pointer to an object is null"},
        {"AContentIsNotAligned", [](Host& host) { host.tx.variables[0].content = &host.elsewhere[1]; },
         HostRule::Contents, "Config/Tx/Power", "the content is not aligned to 4 bytes"},
        {"AContentMoves", [](Host& host) { host.contentsMove = true; }, HostRule::Contents, "Config/Radio/Label",
         "the second content address is another one than the first"},
        {"AContentCannotBeRead", [](Host& host) { host.tx.variables[0].content = Page(PROT_NONE); }, HostRule::Contents,
         "Config/Tx/Power", "reading the content: ended by signal 11 (Segmentation fault)", false},
        {"AContentCannotBeWritten", [](Host& host) { host.tx.variables[0].content = Page(PROT_READ); },
         HostRule::Contents, "Config/Tx/Power", "writing the content: ended by signal 11 (Segmentation fault)", false},
        {"AStringHasNoEnd", [](Host& host) { host.label = {'n', 'o', 'r', 't', 'h', 'e', 'r', 'n'}; },
         HostRule::StringsEnd, "Config/Radio/Label", "no NUL within 8 bytes"},
        {"AnObjectIsInsideItself",
         [](Host& host) {
             host.amp.variables.push_back({"Tx", VARIABLE_TYPE_OBJECT, 1, sizeof(void*), &host.tx});
         },
         HostRule::Nesting, "Config/Tx/Amp/Tx", "the object is inside itself"},
        {"SixObjectsAreInsideOneAnother",
         [](Host& host) {
             static CStorageObject chain[4];
             CStorageObject* holder = &host.amp;
             for (CStorageObject& object : chain) {
                 object = {"N", {}};
                 holder->variables.push_back({"N", VARIABLE_TYPE_OBJECT, 1, sizeof(void*), &object});
                 holder = &object;
             }
         },
         HostRule::Nesting, "Config/Tx/Amp/N/N/N/N", "this is the sixth object inside one another"},
        {"AVariableComesAfterANestedObject", [](Host& host) { std::swap(host.tx.variables[0], host.tx.variables[1]); },
         HostRule::NestedLast, "Config/Tx/Power", "secure files have it as Config/Tx/Amp/Power"},
        {"TwoVariablesHaveOneName", [](Host& host) { host.radio.variables[2].name = "Gain"; }, HostRule::PathsUnique,
         "Config/Radio/Gain", "the path comes for the second time"},
        {"APathIsNotFound", [](Host& host) { host.pathThatIsNotFound = "Config/Radio/Lane1/Delay"; },
         HostRule::PathsFound, "Config/Radio/Lane1/Delay", "CDatabase_GetVariableByPath answers 0x800e"},
        {"APathFindsAnotherVariable", [](Host& host) { host.pathThatFindsAnother = "Config/Tx/Power"; },
         HostRule::PathsFound, "Config/Tx/Power", "another variable is found"},
        {"AnythingIsFound", [](Host& host) { host.findsAnything = true; }, HostRule::UnknownPaths,
         "check-host/has/no such variable", "a success is answered"},
        {"DefaultsAreNotGiven", [](Host& host) { host.defaultsAreNotGiven = true; }, HostRule::Defaults,
         "Config/Radio/Gain", "what was there before is still there"},
        {"MarksAreNotKept", [](Host& host) { host.marksAreNotKept = true; }, HostRule::Marks, "Config/Radio/Gain",
         "the default is given although the variable has its mark"},
        {"MarksAreNotCleared", [](Host& host) { host.marksAreNotCleared = true; }, HostRule::Marks, "Config/Radio/Gain",
         "the mark is still there after CDatabase_SetAsNotRetrieved"},
    };
    return breaches;
}

HostCheckOptions Options(bool inThisProcess) {
    HostCheckOptions options;
    options.inThisProcess = inThisProcess;
    options.variables = 1000;
    return options;
}

std::string PathOf(const Breach& breach) {
    return breach.path != nullptr ? breach.path : "Config/Tx/Amp/" + LongName();
}

class CheckHostBreach : public testing::TestWithParam<Breach> {};

TEST_P(CheckHostBreach, IsFoundWithoutACrash) {
    BreakableHost host;
    GetParam().breakRule(host);
    HostCheckOptions options = Options(false);
    options.seconds = host.hangsIn.empty() ? 60 : 1;

    EXPECT_THAT(CheckHost(&host.database, options),
                Contains(Breaks(GetParam().rule, PathOf(GetParam()), GetParam().seen)));
}

TEST_P(CheckHostBreach, IsFoundWithoutAProcessOfItsOwnWhereItCanBeBorne) {
    if (!GetParam().bearsItself) {
        return;
    }
    BreakableHost host;
    GetParam().breakRule(host);

    EXPECT_THAT(CheckHost(&host.database, Options(true)),
                Contains(Breaks(GetParam().rule, PathOf(GetParam()), GetParam().seen)));
}

INSTANTIATE_TEST_SUITE_P(, CheckHostBreach, testing::ValuesIn(Breaches()),
                         [](const auto& breach) { return breach.param.name; });

TEST(CheckHost, FindsNothingInAHostThatKeepsEveryRule) {
    BreakableHost host;
    EXPECT_THAT(CheckHost(&host.database), IsEmpty());
}

TEST(CheckHost, FindsNothingInAnEmptyDatabase) {
    const BreakableHost host;
    HostListNode regions = {&regions, &regions, nullptr};
    EXPECT_THAT(CheckHost(reinterpret_cast<CDatabase*>(&regions)), IsEmpty());
}

TEST(CheckHost, TakesEitherAnswerForAnEmptyList) {
    BreakableHost host;
    host.endOfAnEmptyList = QBF_E_NO_NAME;
    EXPECT_THAT(CheckHost(&host.database), IsEmpty());
}

TEST(CheckHost, DoesNotMindNestedObjectsBeforeOthersThatNoSecureFileHolds) {
    BreakableHost host;
    std::swap(host.tx.variables[0], host.tx.variables[1]);
    host.tx.isWritable = false;
    EXPECT_THAT(CheckHost(&host.database), IsEmpty());
}

TEST(CheckHost, DoesNotMindAnObjectThatIsNotRegistered) {
    BreakableHost host;
    host.pathThatIsNotFound = "Config/Tx/Amp";
    EXPECT_THAT(CheckHost(&host.database), IsEmpty());
}

TEST(CheckHost, DoesNotMindAnEmptyArrayWithoutContent) {
    BreakableHost host;
    CVariable& offsets = BreakableHost::Variable(host.radio, "Offsets");
    offsets.elementCount = 0;
    offsets.sizeInBytes = 0;
    offsets.content = nullptr;
    EXPECT_THAT(CheckHost(&host.database), IsEmpty());
}

TEST(CheckHost, MindsTheLow32BitsOfACodeAlone) {
    BreakableHost host;
    // On a 32-bit machine the upper bits are gone before anybody sees them, and this is QBF_OK there, too.
    host.answers["CVariable_SetRetrieved"] = static_cast<QBFResult>(0x100000000ULL);
    EXPECT_THAT(CheckHost(&host.database), IsEmpty());
}

TEST(CheckHost, ReportsANullDatabase) {
    const BreakableHost host;
    EXPECT_THAT(CheckHost(nullptr), ElementsAre(Breaks(HostRule::RegionList, "")));
}

TEST(CheckHost, TouchesNothing) {
    BreakableHost host;
    host.tx.variables[0].isRetrieved = true;

    ASSERT_THAT(CheckHost(&host.database), IsEmpty());
    EXPECT_EQ(host.gain, 16U);
    EXPECT_STREQ(host.label.data(), "north");
    EXPECT_TRUE(host.tx.variables[0].isRetrieved);
}

TEST(CheckHost, PutsTheValuesBackInItsOwnProcess) {
    BreakableHost host;

    ASSERT_THAT(CheckHost(&host.database, Options(true)), IsEmpty());
    EXPECT_EQ(host.gain, 16U);
    EXPECT_STREQ(host.label.data(), "north");
    EXPECT_EQ(host.bias, 1.5);
}

TEST(CheckHost, GoesOnAfterABreachThatItCanBear) {
    BreakableHost host;
    host.radio.variables[0].sizeInBytes = 2;
    host.amp.variables[0].content = nullptr;
    EXPECT_THAT(CheckHost(&host.database), ElementsAre(Breaks(HostRule::Sizes, "Config/Radio/Gain"),
                                                       Breaks(HostRule::Contents, "Config/Tx/Amp/Bias")));
}

TEST(CheckHost, ReportsNoMoreThanItIsAskedFor) {
    BreakableHost host;
    host.answers["CVariable_SetRetrieved"] = QBF_E_FAILED;
    HostCheckOptions options;
    options.findings = 2;
    EXPECT_THAT(CheckHost(&host.database, options), SizeIs(2));
}

TEST(CheckHost, ShowsAFindingInOneLine) {
    EXPECT_EQ(ToText({HostRule::Types, "Config/Tx/Power", "type code 23"}),
              "Config/Tx/Power: types: type code 23. The type code is one of the 23.");
    EXPECT_THAT(ToText({HostRule::RegionList, "", "the database is null"}), HasSubstr("the database: region-list: "));
}

TEST(CheckHost, HasABreachOfEveryRuleInItsTests) {
    std::set<HostRule> broken;
    for (const Breach& breach : Breaches()) {
        broken.insert(breach.rule);
    }
    EXPECT_EQ(broken.size(), static_cast<std::size_t>(HostRule::Marks) + 1);
}

}  // namespace

}  // namespace test

}  // namespace tal
