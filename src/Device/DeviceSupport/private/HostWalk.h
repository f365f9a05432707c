/// Walks over what the host keeps: regions and objects by reading the host's lists, variables through its iterator.
#ifndef TAL_PRIVATE_HOST_WALK_H
#define TAL_PRIVATE_HOST_WALK_H

#include "Device/DeviceSupport/private/Tracing.h"

namespace tal {

/// What a visit tells the walk.
enum class Walk { Continue, Stop };

/// Visits the elements of a circular list in order until `visit(Element*)` says stop.
template <class Element, class Visit>
void ForEachListed(const HostListNode* sentinel, Visit visit) {
    for (const HostListNode* node = sentinel->next; node != sentinel; node = node->next) {
        if (visit(static_cast<Element*>(node->element)) == Walk::Stop) {
            return;
        }
    }
}

/// Visits the regions of the database with `visit(CStorageRegion*)`; the database itself is the list's sentinel.
template <class Visit>
void ForEachRegion(CDatabase* database, Visit visit) {
    ForEachListed<CStorageRegion>(reinterpret_cast<const HostListNode*>(database), visit);
}

/// Visits the top-level objects of the region with `visit(CStorageObject*)`; the region's second word is the sentinel.
template <class Visit>
void ForEachObject(CStorageRegion* region, Visit visit) {
    void* const* const words = reinterpret_cast<void* const*>(region);
    ForEachListed<CStorageObject>(reinterpret_cast<const HostListNode*>(words + 1), visit);
}

/// Whether an iteration over variables goes on after the host answered `status`.
[[nodiscard]] inline bool MoreVariablesFollow(QBFResult status) {
    return !QBF_IsFailure(status) && static_cast<std::uint32_t>(status) != QBF_W_END_OF_VARIABLES;
}

/// Visits the variables of the object with `visit(CVariable*, status)` for every answer of
/// CStorageObject_GetNextVariable, failures included. A null variable, when the host handed out none, is the last one.
/// @return the answer of CStorageObject_GetVariableIterator: after a failure nothing has been visited.
template <class Visit>
QBFResult ForEachVariable(CStorageObject* object, Visit visit) {
    HostIterator iterator = nullptr;
    const QBFResult started = CStorageObject_GetVariableIterator(object, &iterator);
    for (QBFResult status = started; MoreVariablesFollow(status);) {
        CVariable* variable = nullptr;
        status = CStorageObject_GetNextVariable(object, &variable, &iterator);
        if (visit(variable, status) == Walk::Stop || variable == nullptr) {
            break;
        }
    }
    return started;
}

}  // namespace tal

#endif
