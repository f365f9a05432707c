#include "formats/InspectXml.h"

#include <algorithm>
#include <array>
#include <set>

#include "TypeTable.h"
#include "common/Text.h"
#include "formats/DocumentWalk.h"

namespace tal::talstore {

using tools::Count;
using tools::EndsInsideCharacter;
using tools::Quoted;

namespace {

constexpr std::size_t kLongestLevelPath = 759;

/// So many items at most get their room before they are seen.
constexpr std::size_t kMostReserved = 1000000;

std::size_t CountOf(std::string_view text, std::string_view document) {
    std::size_t count = 0;
    for (std::size_t place = 0; (place = document.find(text, place)) != std::string_view::npos; place += text.size()) {
        ++count;
    }
    return count;
}

/// What the reader keeps per nesting level; level 0 is the region.
struct Level {
    std::string path;
    bool hasName = false;
    bool isInsideObjectElement = false;
    std::uint32_t openArrays = 0;
};

/// A variable element that has not ended, as its item and as the reader knows it.
struct OpenItem {
    std::size_t index;
    bool hasName;
    std::string_view name;  ///< As much of it as the reader keeps.
    std::string size;       ///< The text of its size.
    std::vector<KeptText> texts;
};

/// Follows the reader's own steps, so that it knows which variables the reader looks up, and by which path.
class XmlInspector final : DocumentWalk {
public:
    StoredContents Inspect(std::string_view document) {
        // A reader that has just started takes what is outside of regions for a region with an empty name.
        levels_[0].hasName = true;
        TakeTexts();
        XML_SetCommentHandler(Parser(), OnComment);
        XML_SetProcessingInstructionHandler(Parser(), OnInstruction);
        XML_SetStartCdataSectionHandler(Parser(), OnCdata);
        document_ = document;
        contents_.items.reserve(std::min(CountOf("<variable", document), kMostReserved));
        const bool isWhole = ParseInPieces();
        for (const OpenItem& open : openItems_) {
            contents_.items[open.index].texts = contents_.texts.KeepList(open.texts);
        }
        if (!isWhole) {
            contents_.isWhole = false;
            ReportSyntaxError();
        } else if (!hasRegion_) {
            Report(Severity::Warning, "xml.no-region", {0, 1, 1}, {},
                   "this is no storage document: it has no region, and every variable would take its default");
        }
        return std::move(contents_);
    }

private:
    /// The parser copies what it is handed. What it cannot use before the next piece comes it looks at again, so that a
    /// large document must not come in too many of them.
    bool ParseInPieces() {
        constexpr std::size_t kSmallestPiece = std::size_t{256} * 1024;
        constexpr std::size_t kMostPieces = 32;
        const std::size_t size = std::max(kSmallestPiece, document_.size() / kMostPieces + 1);
        for (std::string_view rest = document_;;) {
            const std::string_view piece = rest.substr(0, size);
            rest.remove_prefix(piece.size());
            const bool isParsed = Parse(piece, rest.empty());
            if (!isParsed || rest.empty()) {
                return isParsed;
            }
        }
    }

    void Text(std::string_view text) override {
        if (keepsText_) {
            NoteInterruption(text);
            text_.append(text);
        }
    }

    static void XMLCALL OnComment(void* self, const char* /*text*/) {
        static_cast<XmlInspector*>(self)->Interrupt("a comment");
    }
    static void XMLCALL OnInstruction(void* self, const char* /*target*/, const char* /*data*/) {
        static_cast<XmlInspector*>(self)->Interrupt("a processing instruction");
    }
    static void XMLCALL OnCdata(void* self) { static_cast<XmlInspector*>(self)->Interrupt("a CDATA section"); }

    /// Notes what makes the reader keep the last part of a text only.
    void Interrupt(const char* cause) {
        if (keepsText_ && interruption_ == nullptr) {
            interruption_ = cause;
        }
    }

    void NoteInterruption(std::string_view text) {
        const std::size_t offset = Offset();
        if (offset < document_.size() && document_[offset] == '&') {
            Interrupt("a character reference or entity");
        } else if (text == "\n") {
            Interrupt("a line break, as indentation has it");
        }
    }

    [[nodiscard]] Place Here() const {
        return {Offset(), static_cast<std::uint32_t>(XML_GetCurrentLineNumber(Parser())),
                static_cast<std::uint32_t>(XML_GetCurrentColumnNumber(Parser()) + 1)};
    }

    void Report(Severity severity, const char* code, Place place, std::string_view path, std::string message) {
        contents_.findings.push_back({severity, code, place, std::string(path), std::move(message)});
    }

    void ReportSyntaxError() {
        const XML_Error error = XML_GetErrorCode(Parser());
        std::string message = "not well-formed XML: " + std::string(XML_ErrorString(error)) +
                              "; a board stops reading here and sets no defaults";
        if (error == XML_ERROR_INVALID_TOKEN || error == XML_ERROR_UNDEFINED_ENTITY ||
            error == XML_ERROR_TAG_MISMATCH) {
            message += IsCharacterCut() ? " (a character is cut in two: a name or a text was longer than fits)"
                                        : " (the format writes '<', '&' and '\"' in names and texts as they are)";
        }
        Report(Severity::Error, "xml.syntax", Here(), {}, std::move(message));
    }

    /// Whether the text up to the error ends inside a character.
    [[nodiscard]] bool IsCharacterCut() const {
        const std::size_t offset = Offset();
        const std::size_t end = document_.find_first_of("<\"", offset);
        return EndsInsideCharacter(document_.substr(0, std::min(end, document_.size())));
    }

    void ReportName(const char* what, std::string_view name, std::size_t longest, std::string_view path) {
        if (name.size() < longest) {
            return;
        }
        const std::string limit = std::to_string(longest);
        Report(Severity::Warning, "xml.name-limit", Here(), path,
               name.size() == longest ? std::string("the ") + what + "'s name has " + limit +
                                            " characters, the most that are stored: it may have been cut"
                                      : std::string("the ") + what + "'s name has " + std::to_string(name.size()) +
                                            " characters, the most that are stored are " + limit);
    }

    /// @return the value of the attribute "name"; null and a finding when there is none.
    const char* NameAttribute(const char* element, const char** attributes) {
        for (; attributes[0] != nullptr; attributes += 2) {
            if (std::string_view(attributes[0]) == "name") {
                return attributes[1];
            }
        }
        Report(Severity::Error, "xml.no-name", Here(), {},
               std::string("the ") + element + " has no name: nothing in it is restored");
        return nullptr;
    }

    void StartElement(const char* name, const char** attributes) override {
        const std::string_view element = name;
        text_.clear();
        interruption_ = nullptr;
        keepsText_ = element == "type" || element == "size" || element == "value" || element == "element";
        if (element == "region") {
            StartRegion(attributes);
        } else if (element == "object") {
            StartObject(attributes);
        } else if (element == "variable") {
            StartVariable(attributes);
        } else if (element == "array") {
            StartArray();
        } else if (element == "objectElement") {
            StartObjectElement();
        } else if (!keepsText_ && element != "storage" && unknownElements_.insert(name).second) {
            Report(Severity::Note, "xml.unknown-element", Here(), {},
                   "unknown element \"" + std::string(element) + "\"; readers ignore it");
        }
    }

    void EndElement(const char* name) override {
        const std::string_view element = name;
        listEnd_ += element == "element" ? 1 : 0;
        if (element == "region") {
            openNodes_.pop_back();
        } else if (element == "object") {
            openNodes_.pop_back();
            arraysOfElements_.pop_back();
            depth_ -= depth_ > 0 ? 1 : 0;
        } else if (element == "variable") {
            EndVariable();
        } else if (element == "array") {
            EndArray();
        } else if (element == "objectElement") {
            arraysOfElements_.pop_back();
        } else if (keepsText_ && !openItems_.empty()) {
            KeepText(element, openItems_.back());
        }
        keepsText_ = false;
    }

    void KeepText(std::string_view element, OpenItem& open) {
        StoredItem& item = contents_.items[open.index];
        if (element == "type") {
            item.type = contents_.texts.Keep(text_);
        } else if (element == "size") {
            open.size = text_;
        } else {
            open.texts.push_back(contents_.texts.Keep(text_));
            item.interruption = item.interruption == nullptr ? interruption_ : item.interruption;
        }
    }

    Level& OpenLevel() {
        levels_[depth_] = Level();
        return levels_[depth_];
    }

    void OpenNode(const char* name, bool isRegion) {
        StoredNode node;
        node.name = name == nullptr ? "" : name;
        node.place = Here();
        node.parent = isRegion || openNodes_.empty() ? kNone : openNodes_.back();
        node.array = isRegion || arraysOfElements_.empty() ? kNone : arraysOfElements_.back();
        node.isRegion = isRegion;
        openNodes_.push_back(contents_.nodes.size());
        contents_.nodes.push_back(std::move(node));
    }

    void StartRegion(const char** attributes) {
        hasRegion_ = true;
        depth_ = 0;
        Level& level = OpenLevel();
        const char* const name = NameAttribute("region", attributes);
        OpenNode(name, true);
        if (name != nullptr) {
            level.path = std::string_view(name).substr(0, kLongestLevelPath);
            level.hasName = true;
            ReportName("region", name, kLongestXmlRegionName, level.path);
        }
    }

    void StartObject(const char** attributes) {
        const char* const name = NameAttribute("object", attributes);
        OpenNode(name, false);
        arraysOfElements_.push_back(kNone);
        ++depth_;
        if (depth_ >= levels_.size()) {
            return;
        }
        Level& level = OpenLevel();
        const Level& parent = levels_[depth_ - 1];
        if (name == nullptr || !parent.hasName) {
            return;
        }
        level.path = (parent.path + '/' + name).substr(0, kLongestLevelPath);
        level.hasName = true;
        ReportName("object", name, kLongestXmlName, level.path);
    }

    void StartVariable(const char** attributes) {
        const char* const name = NameAttribute("variable", attributes);
        StoredItem item;
        const std::string_view wholeName = name == nullptr ? "" : name;
        const std::string_view shortName = wholeName.substr(0, kLongestXmlName);
        item.place = Here();
        item.node = openNodes_.empty() ? kNoNode : static_cast<std::uint32_t>(openNodes_.back());
        item.path = contents_.texts.Join(levels_[std::min(depth_, levels_.size() - 1)].path, "/", shortName);
        const bool isInPath = shortName.size() == wholeName.size();
        item.name = isInPath ? KeptText(item.path.substr(item.path.size() - wholeName.size()))
                             : contents_.texts.Keep(wholeName);
        if (name != nullptr) {
            ReportName("variable", item.name, kLongestXmlName, item.path);
            ReportTooDeep(item);
        }
        openItems_.push_back({contents_.items.size(), name != nullptr, item.name.substr(0, kLongestXmlName), {}, {}});
        contents_.items.push_back(item);
    }

    void ReportTooDeep(const StoredItem& item) {
        const bool isInTooManyObjects = depth_ >= levels_.size();
        if (isInTooManyObjects || openItems_.size() > kMostOuterVariables) {
            Report(Severity::Error, "xml.too-deep", item.place, item.path,
                   "the variable is inside " +
                       (isInTooManyObjects ? Count(depth_, "object") : Count(openItems_.size(), "variable")) +
                       ", at most " + std::to_string(isInTooManyObjects ? kDeepestXmlObject : kMostOuterVariables) +
                       " are supported: it is not restored, and the retrieve fails");
            contents_.handedOnInTime = std::min(contents_.handedOnInTime, contents_.handedOn.size());
        }
    }

    void StartArray() {
        listBegin_ = listEnd_;
        if (!openItems_.empty()) {
            contents_.items[openItems_.back().index].isArray = true;
        }
        if (depth_ < levels_.size() && levels_[depth_].openArrays++ == 0) {
            levels_[depth_].isInsideObjectElement = false;
        }
    }

    void EndArray() {
        if (depth_ < levels_.size() && levels_[depth_].openArrays > 0 && --levels_[depth_].openArrays == 0) {
            levels_[depth_].isInsideObjectElement = false;
        }
    }

    void StartObjectElement() {
        arraysOfElements_.push_back(openItems_.empty() ? kNone : openItems_.back().index);
        if (!openItems_.empty()) {
            contents_.items[openItems_.back().index].holdsObjects = true;
        }
        if (depth_ < levels_.size()) {
            levels_[depth_].isInsideObjectElement = true;
        }
    }

    void EndVariable() {
        const OpenItem open = std::move(openItems_.back());
        openItems_.pop_back();
        StoredItem& item = contents_.items[open.index];
        item.texts = contents_.texts.KeepList(open.texts);
        CheckItem(item, open.size);
        const bool isWithinLimits = depth_ < levels_.size() && openItems_.size() <= kMostOuterVariables;
        if (!isWithinLimits || !levels_[depth_].hasName || !open.hasName) {
            return;
        }
        if (levels_[depth_].isInsideObjectElement) {
            Report(Severity::Warning, "xml.stray-variable", item.place, item.path,
                   "the variable is in an array's element, not in an object: it is not restored");
            return;
        }
        KeepPath(item, levels_[depth_].path, open.name);
        item.isHandedOn = true;
        item.listBegin = listBegin_;
        item.listEnd = listEnd_;
        contents_.handedOn.push_back(open.index);
        const std::size_t first = firstItems_.Add(contents_.items, open.index);
        if (first != PathIndex::kNotFound) {
            const Place& place = contents_.items[first].place;
            Report(Severity::Warning, "duplicate-path", item.place, item.path,
                   "the path is stored before, in line " + std::to_string(place.line) + ", column " +
                       std::to_string(place.column) + "; the last one counts");
        }
    }

    /// It has another path than when it began if a region began in it.
    void KeepPath(StoredItem& item, std::string_view level, std::string_view name) {
        const bool isSame = item.path.size() == level.size() + 1 + name.size() &&
                            item.path.compare(0, level.size(), level) == 0 && item.path[level.size()] == '/' &&
                            item.path.compare(level.size() + 1, name.size(), name) == 0;
        if (!isSame) {
            item.path = contents_.texts.Join(level, "/", name);
        }
    }

    void CheckItem(const StoredItem& item, const std::string& size) {
        VariableType type = 0;
        if (item.type.empty()) {
            Report(Severity::Warning, "xml.no-type", item.place, item.path, "the variable has no type and no value");
        } else if (!host::FindTypeByName(item.type, type)) {
            Report(Severity::Warning, "xml.unknown-type", item.place, item.path,
                   "unknown type " + Quoted(item.type) + "; readers go by the type that the board has registered");
        } else if (item.isArray && !item.holdsObjects && size != std::to_string(item.texts.size())) {
            Report(Severity::Warning, "xml.element-count", item.place, item.path,
                   "the size is " + Quoted(size) + ", but " + Count(item.texts.size(), "element") +
                       " follow; readers ignore the size");
        }
    }

    StoredContents contents_;

    // What the reader keeps.
    std::size_t depth_ = 0;
    std::array<Level, kDeepestXmlObject + 1> levels_;

    // What is open here.
    std::vector<std::size_t> openNodes_;
    std::vector<OpenItem> openItems_;
    /// Per open object and object element: the array whose element an object right here is.
    std::vector<std::size_t> arraysOfElements_;
    std::uint32_t listBegin_ = 0;
    std::uint32_t listEnd_ = 0;
    bool keepsText_ = false;
    const char* interruption_ = nullptr;
    std::string_view document_;
    std::string text_;

    bool hasRegion_ = false;
    std::set<std::string, std::less<>> unknownElements_;
    PathIndex firstItems_;  ///< The first item of each path that is looked up.
};

}  // namespace

StoredContents InspectXml(std::string_view document) {
    return XmlInspector().Inspect(document);
}

}  // namespace tal::talstore
