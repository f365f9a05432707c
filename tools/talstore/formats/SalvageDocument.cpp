#include <expat.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <type_traits>

#include "formats/Salvage.h"

namespace tal::talstore {

namespace {

/// An element that has not ended.
struct OpenElement {
    std::string name;
    std::size_t begin;
};

/// Parses a document as far as it goes.
class Attempt {
public:
    explicit Attempt(std::string_view document) {
        if (parser_ == nullptr) {
            throw std::bad_alloc();
        }
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), OnStart, OnEnd);
        XML_SetCharacterDataHandler(parser_.get(), OnText);
        isWhole_ =
            XML_Parse(parser_.get(), document.data(), static_cast<int>(document.size()), XML_TRUE) == XML_STATUS_OK;
        if (failure_) {
            std::rethrow_exception(failure_);
        }
    }

    [[nodiscard]] bool IsWhole() const { return isWhole_; }
    [[nodiscard]] bool HasRoot() const { return hasRoot_; }
    [[nodiscard]] const std::vector<OpenElement>& Open() const { return open_; }
    /// The place after everything that has been understood.
    [[nodiscard]] std::size_t End() const { return end_; }

private:
    template <class Step>
    static void Guarded(void* self, Step step) noexcept {
        auto& attempt = *static_cast<Attempt*>(self);
        try {
            step(attempt);
        } catch (...) {
            attempt.failure_ = std::current_exception();
            XML_StopParser(attempt.parser_.get(), XML_FALSE);
        }
    }
    static void XMLCALL OnStart(void* self, const char* name, const char** /*attributes*/) {
        Guarded(self, [&](Attempt& attempt) {
            attempt.hasRoot_ = true;
            attempt.open_.push_back({name, attempt.Here()});
            attempt.NoteEnd();
        });
    }
    static void XMLCALL OnEnd(void* self, const char* /*name*/) {
        Guarded(self, [](Attempt& attempt) {
            attempt.open_.pop_back();
            attempt.NoteEnd();
        });
    }
    static void XMLCALL OnText(void* self, const char* /*text*/, int /*length*/) {
        Guarded(self, [](Attempt& attempt) { attempt.NoteEnd(); });
    }

    [[nodiscard]] std::size_t Here() const { return static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get())); }
    void NoteEnd() { end_ = std::max(end_, Here() + static_cast<std::size_t>(XML_GetCurrentByteCount(parser_.get()))); }

    struct ParserDeleter {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };
    std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter> parser_{XML_ParserCreate(nullptr)};
    std::exception_ptr failure_;
    std::vector<OpenElement> open_;
    std::size_t end_ = 0;
    bool isWhole_ = false;
    bool hasRoot_ = false;
};

/// The part of an object in which the parser has stopped: a variable, unless its name is damaged.
const OpenElement* BrokenPart(const std::vector<OpenElement>& open) {
    const auto object =
        std::find_if(open.rbegin(), open.rend(), [](const OpenElement& element) { return element.name == "object"; });
    return object == open.rend() || object == open.rbegin() ? nullptr : &*(object.base());
}

/// @return the place after a broken variable: its own end, or what comes before that; npos for none.
std::size_t PlaceAfterVariable(std::string_view document, std::size_t from) {
    constexpr std::string_view kEnd = "</variable>";
    const std::size_t end = document.find(kEnd, from);
    std::size_t place = end == std::string_view::npos ? end : end + kEnd.size();
    for (const std::string_view next : {"<variable ", "<object ", "</object>"}) {
        place = std::min(place, document.find(next, from));
    }
    return place;
}

std::string Closed(std::string_view document, std::size_t end, const std::vector<OpenElement>& open,
                   std::size_t openCount) {
    std::string closed(document.substr(0, end));
    for (std::size_t i = openCount; i-- > 0;) {
        closed += "</" + open[i].name + '>';
    }
    return closed;
}

}  // namespace

std::string SalvageDocument(std::string_view damaged) {
    // Whatever needs more is no document, and each takes as long as the whole.
    constexpr int kMostMends = 1000;
    std::string document(damaged);
    for (int mends = 0;; ++mends) {
        const Attempt attempt(document);
        if (attempt.IsWhole()) {
            return document;
        }
        const std::vector<OpenElement>& open = attempt.Open();
        if (!attempt.HasRoot()) {
            // What stands before the root is no value.
            const std::size_t root = document.find("<storage");
            if (root == 0 || root == std::string::npos) {
                return {};
            }
            document.erase(0, root);
            continue;
        }
        const OpenElement* const broken = BrokenPart(open);
        if (broken == nullptr) {
            constexpr std::string_view kStrayEnd = "</variable>";
            const bool isInObject = !open.empty() && open.back().name == "object";
            if (isInObject && document.compare(attempt.End(), kStrayEnd.size(), kStrayEnd) == 0) {
                // Only the end of a variable is left whose start tag has become a text.
                document.erase(attempt.End(), kStrayEnd.size());
                continue;
            }
            return Closed(document, attempt.End(), open, open.size());
        }
        const std::size_t after = PlaceAfterVariable(document, std::max(attempt.End(), broken->begin + 1));
        if (after == std::string::npos || mends == kMostMends) {
            return Closed(document, broken->begin, open, static_cast<std::size_t>(broken - open.data()));
        }
        document.erase(broken->begin, after - broken->begin);
    }
}

}  // namespace tal::talstore
