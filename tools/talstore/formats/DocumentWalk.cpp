#include "formats/DocumentWalk.h"

#include <new>

#include "files/Interrupt.h"

namespace tal::talstore {

DocumentWalk::DocumentWalk() {
    if (parser_ == nullptr) {
        throw std::bad_alloc();
    }
    XML_SetUserData(Parser(), this);
    XML_SetElementHandler(Parser(), OnStart, OnEnd);
}

void DocumentWalk::TakeTexts() {
    XML_SetCharacterDataHandler(Parser(), OnText);
}

bool DocumentWalk::Parse(std::string_view piece, bool isLast) {
    const XML_Status status =
        XML_Parse(Parser(), piece.data(), static_cast<int>(piece.size()), isLast ? XML_TRUE : XML_FALSE);
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    return status == XML_STATUS_OK;
}

/// No exception may pass through the parser.
template <class Step>
void DocumentWalk::Guard(Step step) noexcept {
    try {
        step();
    } catch (...) {
        failure_ = std::current_exception();
        XML_StopParser(Parser(), XML_FALSE);
    }
}

void DocumentWalk::OnStart(void* self, const char* name, const char** attributes) {
    auto& walk = *static_cast<DocumentWalk*>(self);
    walk.Guard([&] {
        StopIfInterrupted();
        walk.StartElement(name, attributes);
    });
}

void DocumentWalk::OnEnd(void* self, const char* name) {
    auto& walk = *static_cast<DocumentWalk*>(self);
    walk.Guard([&] { walk.EndElement(name); });
}

void DocumentWalk::OnText(void* self, const char* text, int length) {
    auto& walk = *static_cast<DocumentWalk*>(self);
    walk.Guard([&] { walk.Text({text, static_cast<std::size_t>(length)}); });
}

}  // namespace tal::talstore
