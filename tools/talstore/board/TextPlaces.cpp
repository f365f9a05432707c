#include "board/TextPlaces.h"

#include "formats/DocumentWalk.h"

namespace tal::talstore {

namespace {

class PlaceFinder final : DocumentWalk {
public:
    PlaceFinder(std::string_view document, const std::set<std::size_t>& items) : document_(document), items_(items) {}

    std::map<std::size_t, std::vector<Range>> Find() {
        // A document that is damaged further on has its places all the same.
        static_cast<void>(Parse(document_, true));
        return std::move(places_);
    }

private:
    static bool HoldsText(std::string_view element) { return element == "value" || element == "element"; }

    void StartElement(const char* name, const char** /*attributes*/) override {
        const std::string_view element = name;
        if (element == "variable") {
            openItems_.push_back(itemCount_++);
        } else if (HoldsText(element)) {
            begin_ = EndOffset();
        }
    }

    void EndElement(const char* name) override {
        const std::string_view element = name;
        if (element == "variable") {
            openItems_.pop_back();
        } else if (HoldsText(element) && !openItems_.empty() && items_.count(openItems_.back()) != 0) {
            const bool isEmptyTag = begin_ > 1 && document_[begin_ - 2] == '/';
            if (!isEmptyTag) {
                places_[openItems_.back()].push_back({begin_, Offset()});
            }
        }
    }

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
