/// The host's part of each job: the calls that every provider makes, and one byte of every value touched, so that it
/// is in the processor's cache as it is after a copy. How it grows with the database is none of a provider's doing.

#include <memory>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "ReferenceHost.h"
#include "TypeTable.h"
#include "bench/Bench.h"

namespace tal::bench {

namespace {

void Touch(CVariable* variable) {
    void* content = nullptr;
    CVariable_GetContentAddress(variable, &content);
    Require(CVariable_GetSizeInBytes(variable) != 0, "size");
    auto* const byte = static_cast<volatile char*>(content);
    *byte = *byte;
}

template <class Visit>
void WalkObject(CStorageObject* object, Visit visit) {
    char* name = nullptr;
    CStorageObject_GetName(object, &name);
    Require(CStorageObject_IsWritable(object) != 0, "writable");
    HostIterator position = nullptr;
    for (QBFResult status = CStorageObject_GetVariableIterator(object, &position); status == QBF_OK;) {
        CVariable* variable = nullptr;
        status = CStorageObject_GetNextVariable(object, &variable, &position);
        CVariable_GetName(variable, &name);
        const VariableType type = CVariable_GetType(variable);
        const std::uint32_t count = CVariable_GetNoOfElements(variable);
        void* content = nullptr;
        if (type == VARIABLE_TYPE_OBJECT) {
            CVariable_GetContentAddress(variable, &content);
            WalkObject(static_cast<CStorageObject*>(content), visit);
        } else if (type == VARIABLE_TYPE_OBJECT_ARRAY) {
            CVariable_GetContentAddress(variable, &content);
            for (std::uint32_t index = 0; index < count; ++index) {
                WalkObject(static_cast<CStorageObject**>(content)[index], visit);
            }
        } else {
            visit(variable);
        }
    }
}

template <class Visit>
void Walk(const host::Database& database, Visit visit) {
    for (const auto& region : database.Regions()) {
        for (const auto& object : region->Objects()) {
            WalkObject(object->Handle(), visit);
        }
    }
}

void Restored(CVariable* variable) {
    Touch(variable);
    CVariable_SetRetrieved(variable, 1);
}

void LookUp(host::Database& database, const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        CVariable* variable = nullptr;
        Require(CDatabase_GetVariableByPath(database.Handle(), path.c_str(), &variable) == 0, "look-up");
        Restored(variable);
    }
}

std::vector<std::string> ValuePaths(const host::Database& database) {
    std::vector<std::string> paths;
    for (const host::Variable* const variable : database.Variables()) {
        if (!host::HoldsObjects(variable->Type())) {
            paths.push_back(variable->Path());
        }
    }
    return paths;
}

}  // namespace

void AddHost(host::Database& database, Contenders& contenders) {
    const auto add = [&](const char* job, std::function<void()> run) {
        contenders.push_back({job, "the host's part", Role::Host, "", std::move(run)});
    };
    const auto walk = [&database] { Walk(database, Touch); };
    add("xml store", walk);
    add("binary store", walk);
    add("secure store", walk);
    add("binary retrieve", [&database] { Restore(database.Handle(), [&] { Walk(database, Restored); }); });
    const auto paths = std::make_shared<std::vector<std::string>>(ValuePaths(database));
    const auto lookUp = [&database, paths] { Restore(database.Handle(), [&] { LookUp(database, *paths); }); };
    add("xml retrieve", lookUp);
    add("secure retrieve", lookUp);
}

}  // namespace tal::bench
