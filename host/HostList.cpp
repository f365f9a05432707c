/// @file
/// The contract's list of opaque items.
#include <new>
#include <type_traits>

#include "Device/DeviceSupport/DeviceSupport.h"

/// All zero is an empty list, so memory that was cleared but never constructed serves as one. The iterator position is
/// the node of the next item.
struct CList {
    struct Node {
        Node* next;
        void* item;
    };

    Node* head;
    Node* tail;
};
static_assert(sizeof(CList) <= 16 * sizeof(void*));
static_assert(std::is_trivial_v<CList>);

QBFResult CList_Construct(CList* list) {
    if (list == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    *list = {nullptr, nullptr};
    return QBF_OK;
}

QBFResult CList_PushTail(CList* list, void* item) {
    if (list == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    auto* const node = new (std::nothrow) CList::Node{nullptr, item};
    if (node == nullptr) {
        return QBF_E_FAILED;
    }
    (list->head == nullptr ? list->head : list->tail->next) = node;
    list->tail = node;
    return QBF_OK;
}

QBFResult CList_StartIterationFromHead(CList* list, HostIterator* iterator) {
    if (list == nullptr || iterator == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    *iterator = list->head;
    return list->head == nullptr ? QBFResult{QBF_W_END_OF_LIST} : QBFResult{QBF_OK};
}

QBFResult CList_GetNext(CList* list, void** item, HostIterator* iterator) {
    if (list == nullptr || item == nullptr || iterator == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    const auto* const node = static_cast<const CList::Node*>(*iterator);
    if (node == nullptr) {
        return QBF_E_NO_NAME;
    }
    *item = node->item;
    *iterator = node->next;
    return node->next == nullptr ? QBFResult{QBF_W_END_OF_LIST} : QBFResult{QBF_OK};
}

QBFResult CList_Destruct(CList* list) {
    if (list == nullptr) {
        return QBF_E_INVALID_ARGUMENT;
    }
    for (const CList::Node* node = list->head; node != nullptr;) {
        const CList::Node* const next = node->next;
        delete node;
        node = next;
    }
    *list = {nullptr, nullptr};
    return QBF_OK;
}
