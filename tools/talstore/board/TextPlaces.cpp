#include "board/TextPlaces.h"

#include <expat.h>

#include <exception>
#include <memory>
#include <new>
#include <type_traits>

namespace tal::talstore {

namespace {

class PlaceFinder {
public:
    PlaceFinder(std::string_view document, const std::set<std::size_t>& items) : document_(document), items_(items) {}

    std::map<std::size_t, std::vector<Range>> Find() {
        if (parser_ == nullptr) {
            throw std::bad_alloc();
        }
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), OnStart, OnEnd);
        // A document that is damaged further on has its places all the same.
        XML_Parse(parser_.get(), document_.data(), static_cast<int>(document_.size()), XML_TRUE);
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        return std::move(places_);
    }

private:
    /// No exception may pass through the parser.
    template <class Step>
    static void Guarded(void* self, Step step) noexcept {
        auto& finder = *static_cast<PlaceFinder*>(self);
        try {
            step(finder);
        } catch (...) {
            finder.failure_ = std::current_exception();
            XML_StopParser(finder.parser_.get(), XML_FALSE);
        }
    }
    static void XMLCALL OnStart(void* self, const char* name, const char** /*attributes*/) {
        Guarded(self, [&](PlaceFinder& finder) { finder.StartElement(name); });
    }
    static void XMLCALL OnEnd(void* self, const char* name) {
        Guarded(self, [&](PlaceFinder& finder) { finder.EndElement(name); });
    }

    [[nodiscard]] std::size_t Here() const { return static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get())); }

    static bool HoldsText(std::string_view element) { return element == "value" || element == "element"; }

    void StartElement(std::string_view element) {
        if (element == "variable") {
            openItems_.push_back(itemCount_++);
        } else if (HoldsText(element)) {
            begin_ = Here() + static_cast<std::size_t>(XML_GetCurrentByteCount(parser_.get()));
        }
    }

    void EndElement(std::string_view element) {
        if (element == "variable") {
            openItems_.pop_back();
        } else if (HoldsText(element) && !openItems_.empty() && items_.count(openItems_.back()) != 0) {
            const bool isEmptyTag = begin_ > 1 && document_[begin_ - 2] == '/';
            if (!isEmptyTag) {
                places_[openItems_.back()].push_back({begin_, Here()});
            }
        }
    }

    struct ParserDeleter {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };
    std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter> parser_{XML_ParserCreate(nullptr)};
    std::exception_ptr failure_;
    std::string_view document_;
    const std::set<std::size_t>& items_;
    std::map<std::size_t, std::vector<Range>> places_;
    std::vector<std::size_t> openItems_;
    std::size_t itemCount_ = 0;
    std::size_t begin_ = 0;
};

}  // namespace

std::map<std::size_t, std::vector<Range>> FindTextPlaces(std::string_view document,
                                                         const std::set<std::size_t>& items) {
    return PlaceFinder(document, items).Find();
}

}  // namespace tal::talstore
