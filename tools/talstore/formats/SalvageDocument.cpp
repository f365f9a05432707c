#include <algorithm>

#include "formats/DocumentWalk.h"
#include "formats/Salvage.h"

namespace tal::talstore {

namespace {

/// An element that has not ended.
struct OpenElement {
    std::string name;
    std::string tag;    ///< Its start tag as it stands.
    std::size_t begin;  ///< Where in the mended document that is.
};

/// What is mended of a document so far.
struct Mended {
    std::string text;
    std::string prolog;  ///< What has to stand before the root when that is opened again.
    std::vector<OpenElement> open;
};

/// Parses what follows as far as it goes.
class Attempt final : DocumentWalk {
public:
    Attempt(const Mended& before, std::string_view rest)
        : rest_(rest), restBegin_(before.text.size()), end_(restBegin_) {
        std::string reopened = before.prolog;
        for (const OpenElement& element : before.open) {
            reopened += element.tag;
        }
        isWhole_ = reopened.empty() || Parse(reopened, false);
        open_ = before.open;
        hasRoot_ = !open_.empty();
        reopenedSize_ = reopened.size();
        TakeTexts();
        isInRest_ = true;
        isWhole_ = isWhole_ && ParseInPieces();
    }

    [[nodiscard]] bool IsWhole() const { return isWhole_; }
    [[nodiscard]] bool HasRoot() const { return hasRoot_; }
    /// Where in the mended document everything ends that has been understood.
    [[nodiscard]] std::size_t End() const { return end_; }
    [[nodiscard]] std::vector<OpenElement> TakeOpen() { return std::move(open_); }

private:
    /// The parser copies a piece before it looks at it, and an error may be near.
    bool ParseInPieces() {
        constexpr std::size_t kPiece = 65536;
        std::string_view left = rest_;
        while (left.size() > kPiece) {
            if (!Parse(left.substr(0, kPiece), false)) {
                return false;
            }
            left.remove_prefix(kPiece);
        }
        return Parse(left, true);
    }

    void StartElement(const char* name, const char** /*attributes*/) override {
        if (!isInRest_) {
            return;
        }
        hasRoot_ = true;
        const std::size_t begin = Offset() - reopenedSize_;
        open_.push_back({name, std::string(rest_.substr(begin, EndOffset() - Offset())), restBegin_ + begin});
        NoteEnd();
    }
    void EndElement(const char* /*name*/) override {
        if (isInRest_ && !open_.empty()) {
            open_.pop_back();
            NoteEnd();
        }
    }
    void Text(std::string_view /*text*/) override { NoteEnd(); }

    void NoteEnd() { end_ = std::max(end_, restBegin_ + (EndOffset() - reopenedSize_)); }

    std::string_view rest_;
    std::size_t restBegin_;
    std::size_t reopenedSize_ = 0;
    std::vector<OpenElement> open_;
    std::size_t end_;
    bool isInRest_ = false;
    bool isWhole_ = false;
    bool hasRoot_ = false;
};

/// Leaves out one broken variable after another. What has been understood is not parsed again.
class Mender {
public:
    explicit Mender(std::string_view damaged) : rest_(damaged) {}

    std::string Mend() {
        while (!IsDoneAfterNextStep()) {
        }
        return std::move(mended_.text);
    }

private:
    bool IsDoneAfterNextStep() {
        Attempt attempt(mended_, rest_);
        if (attempt.IsWhole()) {
            mended_.text += rest_;
            return true;
        }
        if (!attempt.HasRoot()) {
            return !SkipToRoot();
        }
        const std::size_t end = attempt.End();
        std::vector<OpenElement> open = attempt.TakeOpen();
        if (mended_.open.empty() && !open.empty()) {
            mended_.prolog = Declaration(rest_.substr(0, open.front().begin));
        }
        mended_.open = std::move(open);
        const std::size_t broken = BrokenPart();
        if (broken == kNowhere) {
            Keep(end);
            return !SkipStrayEnd() && Close();
        }
        return !LeaveOut(broken, end) && Close();
    }

    /// Of what stands before the root, all that matters to the parser after it: the encoding.
    static std::string_view Declaration(std::string_view prolog) {
        constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
        constexpr std::string_view kBegin = "<?xml ";
        constexpr std::string_view kEnd = "?>";
        const std::size_t begin = prolog.substr(0, kByteOrderMark.size()) == kByteOrderMark ? kByteOrderMark.size() : 0;
        const std::size_t end = prolog.find(kEnd);
        const bool isDeclared = prolog.substr(begin, kBegin.size()) == kBegin && end != kNowhere;
        return isDeclared ? prolog.substr(0, end + kEnd.size()) : prolog;
    }

    /// What stands before the root is no value.
    bool SkipToRoot() {
        const std::size_t root = rest_.find("<storage");
        if (root == 0 || root == std::string_view::npos) {
            return false;
        }
        rest_.remove_prefix(root);
        return true;
    }

    /// @return the index of the part of an object in which the parser has stopped: a variable, unless its name is
    ///         damaged.
    [[nodiscard]] std::size_t BrokenPart() const {
        const auto object = std::find_if(mended_.open.rbegin(), mended_.open.rend(),
                                         [](const OpenElement& element) { return element.name == "object"; });
        return object == mended_.open.rend() || object == mended_.open.rbegin()
                   ? kNowhere
                   : static_cast<std::size_t>(object.base() - mended_.open.begin());
    }

    /// Moves on to a place in the mended document.
    void Keep(std::size_t end) {
        const std::size_t count = end - mended_.text.size();
        mended_.text += rest_.substr(0, count);
        rest_.remove_prefix(count);
    }

    /// Only the end of a variable is left where its start tag has become a text.
    bool SkipStrayEnd() {
        const bool isInObject = !mended_.open.empty() && mended_.open.back().name == "object";
        if (!isInObject || rest_.substr(0, kVariableEnd.size()) != kVariableEnd) {
            return false;
        }
        rest_.remove_prefix(kVariableEnd.size());
        return true;
    }

    /// @param end  Of all that has been understood.
    /// @return whether there is something after the part.
    bool LeaveOut(std::size_t part, std::size_t end) {
        const std::size_t begin = mended_.open[part].begin;
        mended_.open.resize(part);
        const std::size_t after = PlaceAfterVariable(std::max(end, begin + 1) - mended_.text.size());
        if (begin > mended_.text.size()) {
            mended_.text += rest_.substr(0, begin - mended_.text.size());
        }
        mended_.text.resize(begin);
        rest_.remove_prefix(std::min(after, rest_.size()));
        return after != kNowhere;
    }

    /// @return the place in the rest after a broken variable: its own end, or what comes before that.
    [[nodiscard]] std::size_t PlaceAfterVariable(std::size_t from) const {
        for (std::size_t place = rest_.find('<', from); place != kNowhere; place = rest_.find('<', place + 1)) {
            const std::string_view tag = rest_.substr(place, kVariableEnd.size());
            if (tag == kVariableEnd) {
                return place + kVariableEnd.size();
            }
            for (const std::string_view next : {"<variable ", "<object ", "</object>"}) {
                if (tag.substr(0, next.size()) == next) {
                    return place;
                }
            }
        }
        return kNowhere;
    }

    bool Close() {
        for (auto element = mended_.open.rbegin(); element != mended_.open.rend(); ++element) {
            mended_.text += "</" + element->name + '>';
        }
        return true;
    }

    static constexpr std::size_t kNowhere = std::string_view::npos;
    static constexpr std::string_view kVariableEnd = "</variable>";

    std::string_view rest_;
    Mended mended_;
};

}  // namespace

std::string SalvageDocument(std::string_view damaged) {
    return Mender(damaged).Mend();
}

}  // namespace tal::talstore
