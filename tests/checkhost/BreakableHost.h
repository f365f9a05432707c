/// A host whose tree lies open and whose functions misbehave when they are told to. It keeps every rule otherwise.
#ifndef TAL_TEST_BREAKABLE_HOST_H
#define TAL_TEST_BREAKABLE_HOST_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"

struct CVariable {
    const char* name;
    VariableType type;
    std::uint32_t elementCount;
    std::uint32_t sizeInBytes;
    void* content;
    bool isRetrieved = false;
};

struct CStorageObject {
    const char* name;
    std::vector<CVariable> variables;
    bool isWritable = true;
    HostListNode link = {};
};

struct CStorageRegion {
    void* reserved;
    HostListNode objects;
    HostListNode link;
};

struct CDatabase {
    HostListNode regions;
};

namespace tal::test {

enum class Iteration {
    Good,
    EndsLateWithNothing,
    EndsLateWithTheLastAgain,
    GoesInACircle,
    NeverEnds,
    FailsAfterTheLast,
    StartsInAnEmptyObject,
    TakesTurns
};

enum class TextList { Good, IsTooBig, IsReversed, EndsLate, NeverEnds, StaysFullWhenDestructed, NeedsConstruction };

/// At most one lives at a time, since the contract's functions have nowhere else to look.
class BreakableHost {
public:
    BreakableHost();
    ~BreakableHost();
    BreakableHost(const BreakableHost&) = delete;
    BreakableHost& operator=(const BreakableHost&) = delete;

    [[nodiscard]] static CVariable& Variable(CStorageObject& object, std::string_view name);

    // The values. Their default is all zero.
    std::uint32_t gain = 16;
    std::array<char, 8> label = {"north"};
    std::array<float, 3> offsets = {0.5F, 0.25F, 0.125F};
    std::array<std::uint16_t, 2> delays = {10, 20};
    std::uint32_t power = 7;
    double bias = 1.5;
    /// Room for contents that lie in a wrong place.
    alignas(16) std::array<std::uint8_t, 64> elsewhere = {};

    // Config/Radio/Gain, Label, Offsets; Config/Radio/Lane0/Delay, Lane1/Delay; Config/Tx/Power; Config/Tx/Amp/Bias.
    CStorageObject lane0;
    CStorageObject lane1;
    std::array<CStorageObject*, 2> lanes = {&lane0, &lane1};
    CStorageObject amp;
    CStorageObject radio;
    CStorageObject tx;
    CStorageObject empty;
    CStorageRegion config = {};
    CDatabase database = {};

    // What the functions do wrong.
    std::map<std::string, QBFResult> answers;  ///< By function: what it answers instead, when it has done its work.
    std::string crashesIn;
    std::string throwsIn;
    std::string hangsIn;
    Iteration iteration = Iteration::Good;
    TextList textList = TextList::Good;
    const char* nameOfTheRegion = "Config";
    bool namesShareABuffer = false;
    bool contentsMove = false;
    std::string pathThatIsNotFound;
    std::string pathThatFindsAnother;
    bool findsAnything = false;
    bool marksAreNotKept = false;
    bool marksAreNotCleared = false;
    bool defaultsAreNotGiven = false;
    QBFResult endOfAnEmptyList = QBF_W_END_OF_LIST;

    // What the functions keep.
    std::map<std::string, CVariable*> registered;
    int iterations = 0;
};

}  // namespace tal::test

#endif
