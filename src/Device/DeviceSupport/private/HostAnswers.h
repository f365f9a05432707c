/// What the host hands out. A success that hands nothing out is a failure of its step all the same: codes from
/// 0x80000000 up count as successes, and a host that means a failure by one of them has set no out-parameter.
#ifndef TAL_PRIVATE_HOST_ANSWERS_H
#define TAL_PRIVATE_HOST_ANSWERS_H

#include "Device/DeviceSupport/DeviceSupport.h"

namespace tal {

template <class Owner>
[[nodiscard]] const char* NameOf(Owner* owner, QBFResult (*getName)(Owner*, char**)) {
    char* name = nullptr;
    return owner == nullptr || QBF_IsFailure(getName(owner, &name)) ? nullptr : name;
}

/// @return the host's name of it, or null when it could not be had, as of a null element of a list or an array.
[[nodiscard]] inline const char* NameOf(CStorageRegion* region) {
    return NameOf(region, CStorageRegion_GetName);
}
[[nodiscard]] inline const char* NameOf(CStorageObject* object) {
    return NameOf(object, CStorageObject_GetName);
}
[[nodiscard]] inline const char* NameOf(CVariable* variable) {
    return NameOf(variable, CVariable_GetName);
}

/// @return the variable that is registered under the path, or null.
[[nodiscard]] inline CVariable* FindVariable(CDatabase* database, const char* path) {
    CVariable* variable = nullptr;
    return QBF_IsFailure(CDatabase_GetVariableByPath(database, path, &variable)) ? nullptr : variable;
}

/// Asks for the address of a variable's content. A null address is a failure where content is needed.
[[nodiscard]] inline QBFResult GetContent(CVariable* variable, bool isNeeded, void** content) {
    *content = nullptr;
    const QBFResult result = CVariable_GetContentAddress(variable, content);
    if (!QBF_IsFailure(result) && isNeeded && *content == nullptr) {
        return QBF_E_FAILED;
    }
    return result;
}

}  // namespace tal

#endif
