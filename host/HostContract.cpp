/// @file
/// The contract's functions over the database, its regions, objects and variables.
#include <new>

#include "DatabaseObserver.h"
#include "Device/DeviceSupport/DeviceSupport.h"
#include "ReferenceHost.h"

namespace {

using tal::host::Database;
using tal::host::DatabaseObserver;
using tal::host::Object;
using tal::host::Region;
using tal::host::Variable;

Object& ObjectOf(CStorageObject* object) {
    return *static_cast<Object*>(object);
}
Variable& VariableOf(CVariable* variable) {
    return *static_cast<Variable*>(variable);
}

Database& DatabaseOf(CDatabase* database) {
    return *static_cast<Database*>(database);
}

// The iterator position is the number of the next variable, counted from 1, so that null is none.
HostIterator PositionOf(std::uintptr_t number) {
    return reinterpret_cast<HostIterator>(number);
}
std::uintptr_t NumberOf(HostIterator position) {
    return reinterpret_cast<std::uintptr_t>(position);
}

// Apart from the functions of the contract, so that these stay without a stack frame while nobody observes.
[[gnu::noinline]] QBFResult HandOutObservedContent(const Variable& variable, void** address) {
    variable.Owner().Observer()->OnContentAddress(variable);
    *address = variable.Content();
    return QBF_OK;
}

[[gnu::noinline]] void ReportMark(const Variable& variable) {
    variable.Owner().Observer()->OnMark(variable, variable.Retrieved());
}

QBFResult HandOutName(const char* hostName, char** name) {
    if (name == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    *name = const_cast<char*>(hostName);
    return QBF_OK;
}

}  // namespace

QBFResult CDatabase_GetVariableByPath(CDatabase* database, const char* path, CVariable** variable) {
    if (database == nullptr || path == nullptr || variable == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    Variable* const found = DatabaseOf(database).FindRegistered(path);
    if (DatabaseObserver* const observer = DatabaseOf(database).Observer()) {
        observer->OnLookUp(path, found);
    }
    if (found == nullptr) {
        return QBF_E_NOT_FOUND;
    }
    *variable = found->Handle();
    return QBF_OK;
}

QBFResult CDatabase_UpdatePathHashTable(CDatabase* database) try {
    if (database == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    DatabaseOf(database).UpdatePathTable();
    return QBF_OK;
} catch (const std::bad_alloc&) {
    return QBF_E_FAILED;
}

QBFResult CDatabase_SetAsNotRetrieved(CDatabase* database) {
    if (database == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    for (Variable* variable : DatabaseOf(database).Variables()) {
        variable->SetRetrieved(false);
    }
    return QBF_OK;
}

QBFResult CDatabase_SetNotRetrievedVariablesToDefault(CDatabase* database) {
    if (database == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    if (DatabaseObserver* const observer = DatabaseOf(database).Observer()) {
        observer->OnDefaulting();
    }
    for (Variable* variable : DatabaseOf(database).Variables()) {
        if (!variable->Retrieved()) {
            variable->SetToDefault();
        }
    }
    return QBF_OK;
}

QBFResult CStorageRegion_GetName(CStorageRegion* region, char** name) {
    return region == nullptr ? QBFResult{QBF_E_INVALID_ARGUMENT}
                             : HandOutName(static_cast<Region*>(region)->Name().c_str(), name);
}

QBFResult CStorageObject_GetName(CStorageObject* object, char** name) {
    return object == nullptr ? QBFResult{QBF_E_INVALID_ARGUMENT} : HandOutName(ObjectOf(object).Name().c_str(), name);
}

int CStorageObject_IsWritable(CStorageObject* object) {
    return object != nullptr && ObjectOf(object).Writable() ? 1 : 0;
}

QBFResult CStorageObject_GetVariableIterator(CStorageObject* object, HostIterator* iterator) {
    if (object == nullptr || iterator == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    *iterator = PositionOf(1);
    return ObjectOf(object).Variables().empty() ? QBFResult{QBF_W_END_OF_VARIABLES} : QBFResult{QBF_OK};
}

QBFResult CStorageObject_GetNextVariable(CStorageObject* object, CVariable** variable, HostIterator* iterator) {
    if (object == nullptr || variable == nullptr || iterator == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    const auto& variables = ObjectOf(object).Variables();
    const std::uintptr_t number = NumberOf(*iterator);
    if (number == 0 || number > variables.size()) {
        return QBF_E_NO_NAME;
    }
    const bool isLast = number == variables.size();
    *variable = variables[number - 1]->Handle();
    *iterator = PositionOf(number + 1);
    return isLast ? QBFResult{QBF_W_END_OF_VARIABLES} : QBFResult{QBF_OK};
}

QBFResult CVariable_GetName(CVariable* variable, char** name) {
    return variable == nullptr ? QBFResult{QBF_E_INVALID_ARGUMENT}
                               : HandOutName(VariableOf(variable).NamePointer(), name);
}

VariableType CVariable_GetType(CVariable* variable) {
    constexpr VariableType kUndefined = 0xFFFFFFFF;
    return variable == nullptr ? kUndefined : VariableOf(variable).Type();
}

uint32_t CVariable_GetNoOfElements(CVariable* variable) {
    return variable == nullptr ? 0 : VariableOf(variable).ElementCount();
}

uint32_t CVariable_GetSizeInBytes(CVariable* variable) {
    return variable == nullptr ? 0 : VariableOf(variable).SizeInBytes();
}

QBFResult CVariable_GetContentAddress(CVariable* variable, void** address) {
    if (variable == nullptr || address == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    if (VariableOf(variable).Owner().Observer() != nullptr) {
        return HandOutObservedContent(VariableOf(variable), address);
    }
    *address = VariableOf(variable).Content();
    return QBF_OK;
}

QBFResult CVariable_SetRetrieved(CVariable* variable, int retrieved) {
    if (variable == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    VariableOf(variable).SetRetrieved(retrieved != 0);
    if (VariableOf(variable).Owner().Observer() != nullptr) {
        ReportMark(VariableOf(variable));
    }
    return QBF_OK;
}
