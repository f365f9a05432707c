/// A host that costs next to nothing, so that what is left is the library's own: its functions read a field, its
/// variables lie in the order in which they are asked for, and a look-up by path hands out the next one.

#include <cstdint>
#include <string>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "Device/DeviceSupport/HostDatabase.h"
#include "bench/Bench.h"

namespace {

struct Variable {
    std::string name;
    std::uint32_t value;
    int isRetrieved;
};

struct Object {
    std::string name;
    std::vector<Variable> variables;
    HostListNode node;
};

struct Region {
    std::string* name;
    HostListNode objects;
};

struct Database {
    HostListNode regions;
    HostListNode regionNode;
    Region region;
    std::string regionName;
    std::vector<Object> objects;
    std::size_t lookUps;
};

Variable& Of(CVariable* variable) {
    return *reinterpret_cast<Variable*>(variable);
}

Object& Of(CStorageObject* object) {
    return *reinterpret_cast<Object*>(object);
}

Database& Of(CDatabase* database) {
    return *reinterpret_cast<Database*>(database);
}

constexpr std::size_t kVariablesPerObject = 20;

void FillObject(Object& object, const std::string& number) {
    object.name = "Object" + number;
    for (std::uint32_t index = 0; index < kVariablesPerObject; ++index) {
        object.variables.push_back({"Parameter" + std::to_string(index), index * 1000, 0});
    }
}

void FillDatabase(Database& database, std::size_t variableCount) {
    database.objects.resize(variableCount / kVariablesPerObject);
    HostListNode* last = &database.region.objects;
    for (std::size_t index = 0; index < database.objects.size(); ++index) {
        Object& object = database.objects[index];
        FillObject(object, std::to_string(index));
        object.node.element = &object;
        last->next = &object.node;
        last = &object.node;
    }
    last->next = &database.region.objects;
    database.regionName = "HDBUnit";
    database.region.name = &database.regionName;
    database.regionNode = {&database.regions, nullptr, &database.region};
    database.regions.next = &database.regionNode;
}

}  // namespace

QBFResult CDatabase_GetVariableByPath(CDatabase* database, const char* /*path*/, CVariable** variable) {
    const std::size_t index = Of(database).lookUps++;
    Object& object = Of(database).objects[index / kVariablesPerObject];
    *variable = reinterpret_cast<CVariable*>(&object.variables[index % kVariablesPerObject]);
    return QBF_OK;
}

QBFResult CDatabase_UpdatePathHashTable(CDatabase* database) {
    Of(database).lookUps = 0;
    return QBF_OK;
}

QBFResult CDatabase_SetAsNotRetrieved(CDatabase* /*database*/) {
    return QBF_OK;
}

QBFResult CDatabase_SetNotRetrievedVariablesToDefault(CDatabase* /*database*/) {
    return QBF_OK;
}

QBFResult CStorageRegion_GetName(CStorageRegion* region, char** name) {
    *name = reinterpret_cast<Region*>(region)->name->data();
    return QBF_OK;
}

extern "C" {

QBFResult CStorageObject_GetName(CStorageObject* object, char** name) {
    *name = Of(object).name.data();
    return QBF_OK;
}

int CStorageObject_IsWritable(CStorageObject* /*object*/) {
    return 1;
}

QBFResult CStorageObject_GetVariableIterator(CStorageObject* object, HostIterator* iterator) {
    *iterator = Of(object).variables.data();
    return QBF_OK;
}

QBFResult CStorageObject_GetNextVariable(CStorageObject* object, CVariable** variable, HostIterator* iterator) {
    auto* const next = static_cast<Variable*>(*iterator);
    *variable = reinterpret_cast<CVariable*>(next);
    *iterator = next + 1;
    return next == &Of(object).variables.back() ? QBFResult{QBF_W_END_OF_VARIABLES} : QBFResult{QBF_OK};
}

QBFResult CVariable_GetName(CVariable* variable, char** name) {
    *name = Of(variable).name.data();
    return QBF_OK;
}

VariableType CVariable_GetType(CVariable* /*variable*/) {
    return VARIABLE_TYPE_U32;
}

std::uint32_t CVariable_GetNoOfElements(CVariable* /*variable*/) {
    return 1;
}

std::uint32_t CVariable_GetSizeInBytes(CVariable* variable) {
    return sizeof Of(variable).value;
}

QBFResult CVariable_GetContentAddress(CVariable* variable, void** address) {
    *address = &Of(variable).value;
    return QBF_OK;
}

QBFResult CVariable_SetRetrieved(CVariable* variable, int retrieved) {
    Of(variable).isRetrieved = retrieved;
    return QBF_OK;
}

// There are no arrays.

QBFResult CList_Construct(CList* /*list*/) {
    return QBF_OK;
}

QBFResult CList_PushTail(CList* /*list*/, void* /*item*/) {
    return QBF_OK;
}

QBFResult CList_StartIterationFromHead(CList* /*list*/, HostIterator* /*iterator*/) {
    return QBF_W_END_OF_LIST;
}

QBFResult CList_GetNext(CList* /*list*/, void** /*item*/, HostIterator* /*iterator*/) {
    return QBF_W_END_OF_LIST;
}

QBFResult CList_Destruct(CList* /*list*/) {
    return QBF_OK;
}
}

namespace tal::bench {

Jobs MakeJobs(std::size_t variableCount) {
    const auto database = std::make_shared<Database>();
    FillDatabase(*database, variableCount);
    auto* const handle = reinterpret_cast<CDatabase*>(database.get());
    Jobs jobs = {database, variableCount, {}};
    AddLibrary(handle, jobs.contenders);
    AddStraightCode(handle, jobs.contenders);
    return jobs;
}

}  // namespace tal::bench
