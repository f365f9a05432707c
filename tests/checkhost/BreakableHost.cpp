#include "BreakableHost.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace tal::test {

namespace {

BreakableHost* current = nullptr;

BreakableHost& Host() {
    return *current;
}

void Link(HostListNode& sentinel, const std::vector<std::pair<HostListNode*, void*>>& nodes) {
    HostListNode* last = &sentinel;
    for (const auto& [node, element] : nodes) {
        *node = {&sentinel, last, element};
        last->next = node;
        last = node;
    }
    sentinel.previous = last;
}

/// What every function does first.
void Enter(const char* function) {
    if (Host().crashesIn == function) {
        std::raise(SIGSEGV);
    }
    if (Host().throwsIn == function) {
        throw std::runtime_error("thrown by the host");
    }
    while (Host().hangsIn == function) {
        pause();
    }
}

QBFResult Answer(const char* function, QBFResult code) {
    const auto found = Host().answers.find(function);
    return found == Host().answers.end() ? code : found->second;
}

QBFResult HandOutName(const char* function, const char* hostName, char** name) {
    static char shared[64];
    Enter(function);
    if (Host().namesShareABuffer && hostName != nullptr) {
        std::strncpy(shared, hostName, sizeof shared - 1);
        hostName = shared;
    }
    *name = const_cast<char*>(hostName);
    return Answer(function, QBF_OK);
}

using Visit = std::function<void(const std::string& path, CVariable& variable)>;

/// Bears every tree that a test makes, since it is the checker that has to find what is wrong with it.
void ForEachVariable(CStorageObject* object, const std::string& prefix, int depth, const Visit& visit) {
    constexpr int kDeepest = 10;
    if (object == nullptr || object->name == nullptr || depth > kDeepest) {
        return;
    }
    const std::string path = prefix + object->name + '/';
    for (CVariable& variable : object->variables) {
        if (variable.name == nullptr) {
            continue;
        }
        visit(path + variable.name, variable);
        if (variable.type == VARIABLE_TYPE_OBJECT) {
            ForEachVariable(static_cast<CStorageObject*>(variable.content), path, depth + 1, visit);
        } else if (variable.type == VARIABLE_TYPE_OBJECT_ARRAY && variable.content != nullptr) {
            for (CStorageObject* element : Host().lanes) {
                ForEachVariable(element, path, depth + 1, visit);
            }
        }
    }
}

void ForEachVariable(const Visit& visit) {
    for (CStorageObject* object : {&Host().radio, &Host().tx, &Host().empty}) {
        ForEachVariable(object, "Config/", 0, visit);
    }
}

bool HasValue(const CVariable& variable) {
    return variable.type < VARIABLE_TYPE_OBJECT && variable.content != nullptr;
}

/// For iterations that go wrong: a place that is no variable, and is not the same for two numbers.
CVariable* Beyond(std::uintptr_t number) {
    return reinterpret_cast<CVariable*>(0x10000 + number * alignof(CVariable));
}

}  // namespace

BreakableHost::BreakableHost()
    : lane0{"Lane0", {{"Delay", VARIABLE_TYPE_U16, 1, 2, &delays[0]}}},
      lane1{"Lane1", {{"Delay", VARIABLE_TYPE_U16, 1, 2, &delays[1]}}},
      amp{"Amp", {{"Bias", VARIABLE_TYPE_DOUBLE, 1, 8, &bias}}},
      radio{"Radio",
            {{"Gain", VARIABLE_TYPE_U32, 1, 4, &gain},
             {"Label", VARIABLE_TYPE_STRING, 8, 8, label.data()},
             {"Offsets", VARIABLE_TYPE_FLOAT_ARRAY, 3, 12, offsets.data()},
             {"Lanes", VARIABLE_TYPE_OBJECT_ARRAY, 2, 2 * sizeof(void*), lanes.data()}}},
      tx{"Tx", {{"Power", VARIABLE_TYPE_U32, 1, 4, &power}, {"Amp", VARIABLE_TYPE_OBJECT, 1, sizeof(void*), &amp}}},
      empty{"Empty", {}} {
    Link(config.objects, {{&radio.link, &radio}, {&tx.link, &tx}, {&empty.link, &empty}});
    Link(database.regions, {{&config.link, &config}});
    current = this;
}

BreakableHost::~BreakableHost() {
    current = nullptr;
}

CVariable& BreakableHost::Variable(CStorageObject& object, std::string_view name) {
    return *std::find_if(object.variables.begin(), object.variables.end(),
                         [=](const CVariable& variable) { return variable.name == name; });
}

}  // namespace tal::test

using tal::test::Answer;
using tal::test::Enter;
using tal::test::HandOutName;
using tal::test::Host;
using tal::test::Iteration;
using tal::test::TextList;

QBFResult CDatabase_UpdatePathHashTable(CDatabase* /*database*/) {
    Enter("CDatabase_UpdatePathHashTable");
    Host().registered.clear();
    tal::test::ForEachVariable(
        [](const std::string& path, CVariable& variable) { Host().registered.emplace(path, &variable); });
    return Answer("CDatabase_UpdatePathHashTable", QBF_OK);
}

QBFResult CDatabase_GetVariableByPath(CDatabase* /*database*/, const char* path, CVariable** variable) {
    Enter("CDatabase_GetVariableByPath");
    const auto found = Host().registered.find(path);
    if (found == Host().registered.end() || path == Host().pathThatIsNotFound) {
        return Host().findsAnything ? QBFResult{QBF_OK} : Answer("CDatabase_GetVariableByPath", QBF_E_NOT_FOUND);
    }
    *variable = path == Host().pathThatFindsAnother ? Host().registered.begin()->second : found->second;
    return QBF_OK;
}

QBFResult CDatabase_SetAsNotRetrieved(CDatabase* /*database*/) {
    Enter("CDatabase_SetAsNotRetrieved");
    if (!Host().marksAreNotCleared) {
        tal::test::ForEachVariable([](const std::string&, CVariable& variable) { variable.isRetrieved = false; });
    }
    return Answer("CDatabase_SetAsNotRetrieved", QBF_OK);
}

QBFResult CDatabase_SetNotRetrievedVariablesToDefault(CDatabase* /*database*/) {
    Enter("CDatabase_SetNotRetrievedVariablesToDefault");
    tal::test::ForEachVariable([](const std::string&, CVariable& variable) {
        if (tal::test::HasValue(variable) && !variable.isRetrieved && !Host().defaultsAreNotGiven) {
            std::memset(variable.content, 0, variable.sizeInBytes);
        }
    });
    return Answer("CDatabase_SetNotRetrievedVariablesToDefault", QBF_OK);
}

QBFResult CStorageRegion_GetName(CStorageRegion* /*region*/, char** name) {
    return HandOutName("CStorageRegion_GetName", Host().nameOfTheRegion, name);
}

QBFResult CStorageObject_GetName(CStorageObject* object, char** name) {
    return HandOutName("CStorageObject_GetName", object->name, name);
}

int CStorageObject_IsWritable(CStorageObject* object) {
    Enter("CStorageObject_IsWritable");
    return object->isWritable ? 1 : 0;
}

QBFResult CStorageObject_GetVariableIterator(CStorageObject* object, HostIterator* iterator) {
    Enter("CStorageObject_GetVariableIterator");
    ++Host().iterations;
    *iterator = nullptr;
    const bool isEmpty = object->variables.empty() && Host().iteration != Iteration::StartsInAnEmptyObject;
    return Answer("CStorageObject_GetVariableIterator",
                  isEmpty ? QBFResult{QBF_W_END_OF_VARIABLES} : QBFResult{QBF_OK});
}

QBFResult CStorageObject_GetNextVariable(CStorageObject* object, CVariable** variable, HostIterator* iterator) {
    Enter("CStorageObject_GetNextVariable");
    auto& variables = object->variables;
    const std::uintptr_t number = reinterpret_cast<std::uintptr_t>(*iterator);
    *iterator = reinterpret_cast<HostIterator>(number + 1);
    if (number < variables.size()) {
        const bool isReversed = Host().iteration == Iteration::TakesTurns && Host().iterations % 2 == 0;
        *variable = &variables[isReversed ? variables.size() - 1 - number : number];
        const bool isLast = number + 1 == variables.size();
        const bool endsHere = Host().iteration == Iteration::Good || Host().iteration == Iteration::TakesTurns ||
                              Host().iteration == Iteration::StartsInAnEmptyObject;
        return Answer("CStorageObject_GetNextVariable",
                      isLast && endsHere ? QBFResult{QBF_W_END_OF_VARIABLES} : QBFResult{QBF_OK});
    }
    switch (Host().iteration) {
        case Iteration::EndsLateWithTheLastAgain:
            *variable = &variables.back();
            return QBF_W_END_OF_VARIABLES;
        case Iteration::GoesInACircle:
            *variable = &variables[number % variables.size()];
            return QBF_OK;
        case Iteration::NeverEnds:
            *variable = tal::test::Beyond(number);
            return QBF_OK;
        case Iteration::FailsAfterTheLast:
            return QBF_E_FAILED;
        default:
            return QBF_W_END_OF_VARIABLES;
    }
}

QBFResult CVariable_GetName(CVariable* variable, char** name) {
    return HandOutName("CVariable_GetName", variable->name, name);
}

VariableType CVariable_GetType(CVariable* variable) {
    Enter("CVariable_GetType");
    return variable->type;
}

uint32_t CVariable_GetNoOfElements(CVariable* variable) {
    Enter("CVariable_GetNoOfElements");
    return variable->elementCount;
}

uint32_t CVariable_GetSizeInBytes(CVariable* variable) {
    Enter("CVariable_GetSizeInBytes");
    return variable->sizeInBytes;
}

QBFResult CVariable_GetContentAddress(CVariable* variable, void** address) {
    Enter("CVariable_GetContentAddress");
    *address = variable->content;
    if (Host().contentsMove && variable->type == VARIABLE_TYPE_STRING) {
        void* const places[] = {Host().label.data(), Host().elsewhere.data()};
        variable->content = places[variable->content == places[0] ? 1 : 0];
    }
    return Answer("CVariable_GetContentAddress", QBF_OK);
}

QBFResult CVariable_SetRetrieved(CVariable* variable, int retrieved) {
    Enter("CVariable_SetRetrieved");
    variable->isRetrieved = retrieved != 0 && !Host().marksAreNotKept;
    return Answer("CVariable_SetRetrieved", QBF_OK);
}

/// Three items at most, which is what the checker takes. All zero is an empty list.
struct CList {
    std::uintptr_t count;
    std::uintptr_t isConstructed;
    void* items[3];
    unsigned char rest[16 * sizeof(void*) - 5 * sizeof(void*)];
};

QBFResult CList_Construct(CList* list) {
    Enter("CList_Construct");
    *list = {};
    list->isConstructed = 1;
    if (Host().textList == TextList::IsTooBig) {
        reinterpret_cast<unsigned char*>(list)[sizeof *list] = 0;
    }
    return Answer("CList_Construct", QBF_OK);
}

QBFResult CList_PushTail(CList* list, void* item) {
    Enter("CList_PushTail");
    if (Host().textList == TextList::IsReversed) {
        std::copy_backward(list->items, list->items + list->count, list->items + list->count + 1);
        list->items[0] = item;
    } else {
        list->items[list->count] = item;
    }
    ++list->count;
    return Answer("CList_PushTail", QBF_OK);
}

QBFResult CList_StartIterationFromHead(CList* list, HostIterator* iterator) {
    Enter("CList_StartIterationFromHead");
    *iterator = nullptr;
    if (Host().textList == TextList::NeedsConstruction && list->isConstructed == 0) {
        return QBF_E_FAILED;
    }
    return Answer("CList_StartIterationFromHead", list->count == 0 ? Host().endOfAnEmptyList : QBFResult{QBF_OK});
}

QBFResult CList_GetNext(CList* list, void** item, HostIterator* iterator) {
    Enter("CList_GetNext");
    const std::uintptr_t number = reinterpret_cast<std::uintptr_t>(*iterator);
    *iterator = reinterpret_cast<HostIterator>(number + 1);
    if (number >= list->count && Host().textList != TextList::NeverEnds) {
        return QBF_W_END_OF_LIST;
    }
    *item = list->items[number % list->count];
    const bool endsHere = Host().textList != TextList::EndsLate && Host().textList != TextList::NeverEnds;
    return Answer("CList_GetNext",
                  number + 1 == list->count && endsHere ? QBFResult{QBF_W_END_OF_LIST} : QBFResult{QBF_OK});
}

QBFResult CList_Destruct(CList* list) {
    Enter("CList_Destruct");
    if (Host().textList != TextList::StaysFullWhenDestructed) {
        list->count = 0;
    }
    return Answer("CList_Destruct", QBF_OK);
}
