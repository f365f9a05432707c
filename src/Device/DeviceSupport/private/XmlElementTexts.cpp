#include "Device/DeviceSupport/private/XmlElementTexts.h"

#include <cstring>
#include <new>

namespace tal::xml {

namespace {

/// How many steps more than there are texts an iteration over the host's list may take.
constexpr std::uint32_t kToleratedListFailures = 16;

/// @return a copy of `text` owned by the chain, or null.
char* NewElementText(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    void* const memory = ::operator new(sizeof(ElementText) + size, std::nothrow);
    if (memory == nullptr) {
        return nullptr;
    }
    state.elementTexts = new (memory) ElementText{state.elementTexts};
    ++state.elementTextCount;
    char* const copy = static_cast<char*>(memory) + sizeof(ElementText);
    std::memcpy(copy, text, size);
    return copy;
}

void DeleteElementTexts() {
    while (state.elementTexts != nullptr) {
        ElementText* const newest = state.elementTexts;
        state.elementTexts = newest->next;
        ::operator delete(newest);
    }
    state.elementTextCount = 0;
}

bool EndsList(QBFResult status) {
    const auto code = static_cast<std::uint32_t>(status);
    return code == QBF_W_END_OF_LIST || code == QBF_E_NO_NAME;
}

}  // namespace

std::uint32_t MostListSteps() {
    return state.elementTextCount + kToleratedListFailures;
}

CList* ElementList() {
    return reinterpret_cast<CList*>(state.elementList.words);
}

void EmptyElementList() {
    HostIterator position = nullptr;
    bool isStarted = false;
    QBFResult status = QBF_OK;
    for (std::uint32_t steps = MostListSteps(); !EndsList(status) && steps > 0; --steps) {
        if (isStarted) {
            void* item = nullptr;
            status = CList_GetNext(ElementList(), &item, &position);
        } else {
            status = CList_StartIterationFromHead(ElementList(), &position);
            isStarted = !QBF_IsFailure(status);
        }
    }
    DeleteElementTexts();
    CList_Destruct(ElementList());
    state.isElementListConstructed = 0;
}

void ReleaseLeftElementTexts() {
    if (state.elementTexts != nullptr) {
        EmptyElementList();
    }
}

void RenewElementList() {
    ReleaseLeftElementTexts();
    CList_Construct(ElementList());
    state.isElementListConstructed = 1;
}

void AddElementText(const char* text) {
    if (state.isElementListConstructed == 0) {
        RenewElementList();
    }
    char* const copy = NewElementText(text);
    // A list that says no may hold the text all the same, so the text stays until the list is emptied.
    if (copy == nullptr || QBF_IsFailure(CList_PushTail(ElementList(), copy))) {
        DS_TRACE(XmlTraces, kEndElement, QBF_E_FAILED, "Could not add array element to list : %s", text);
    }
}

}  // namespace tal::xml
