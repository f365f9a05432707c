#include "board/LayoutFromXml.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "TypeTable.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;
using tools::Quoted;

namespace {

// What a description may have at most.
constexpr std::size_t kMostElements = 1048576;
constexpr int kDeepestObject = 64;

/// A node or an item, in the order of the document.
struct Child {
    std::size_t index;
    bool isNode;
};

class LayoutBuilder {
public:
    LayoutBuilder(const StoredContents& contents, const LayoutWishes& wishes, std::vector<Finding>& findings)
        : contents_(contents), wishes_(wishes), findings_(findings), children_(contents.nodes.size()) {}

    std::unique_ptr<host::Database> Build() {
        SortIntoTree();
        auto layout = std::make_unique<host::Database>();
        Names names;
        for (std::size_t i = 0; i < contents_.nodes.size(); ++i) {
            const StoredNode& node = contents_.nodes[i];
            if (node.isRegion && IsUsable(node, names)) {
                AddObjects(i, layout->AddRegion(node.name));
            }
        }
        ReportGuesses();
        return layout;
    }

private:
    /// The texts are those of the contents.
    using Names = std::unordered_set<std::string_view>;

    /// Nodes and items both lie in the order of their beginnings.
    void SortIntoTree() {
        std::size_t item = 0;
        for (std::size_t i = 0; i < contents_.nodes.size(); ++i) {
            const StoredNode& node = contents_.nodes[i];
            for (; item < contents_.items.size() && contents_.items[item].place.offset < node.place.offset; ++item) {
                SortItem(item);
            }
            if (node.array != kNone) {
                elements_[node.array].push_back(i);
            } else if (node.parent != kNone) {
                children_[node.parent].push_back({i, true});
            }
        }
        for (; item < contents_.items.size(); ++item) {
            SortItem(item);
        }
    }

    void SortItem(std::size_t index) {
        if (contents_.items[index].node != kNoNode && wishes_.leftOut.count(index) == 0) {
            children_[contents_.items[index].node].push_back({index, false});
        }
    }

    void Report(const Place& place, std::string_view path, const std::string& message) {
        findings_.push_back({Severity::Warning, "layout.left-out", place, std::string(path), message});
    }

    bool IsUsable(const StoredNode& node, Names& siblings) {
        return IsUsableName(node.name, node.place, node.isRegion ? "region" : "object", siblings);
    }

    bool IsUsableName(std::string_view name, const Place& place, const char* what, Names& siblings) {
        if (name.empty()) {
            Report(place, {}, std::string("left out: a ") + what + " without a name");
            return false;
        }
        if (!siblings.insert(name).second) {
            Report(place, name, std::string("left out: a second ") + what + " of this name in the same place");
            return false;
        }
        return true;
    }

    void AddObjects(std::size_t index, host::Region& region) {
        Names names;
        for (const Child& child : children_[index]) {
            if (!child.isNode) {
                const StoredItem& item = contents_.items[child.index];
                Report(item.place, item.path, "left out: a variable outside of objects");
            } else if (IsUsable(contents_.nodes[child.index], names)) {
                AddVariables(child.index, 1, region.AddObject(contents_.nodes[child.index].name));
            }
        }
    }

    void AddVariables(std::size_t index, int depth, host::Object& object) {
        Names names;
        for (const Child& child : children_[index]) {
            if (child.isNode) {
                AddNested(child.index, depth + 1, names, object);
            } else {
                AddVariable(contents_.items[child.index], child.index, depth, names, object);
            }
        }
        if (object.Variables().empty()) {
            findings_.push_back(
                {Severity::Note, "layout.empty-object", contents_.nodes[index].place, contents_.nodes[index].name,
                 "the object is empty: it has no variables, or is read-only and its variables are not known"});
        }
    }

    bool IsTooDeep(const StoredNode& node, int depth) {
        if (depth > kDeepestObject) {
            Report(node.place, node.name, "left out: nested more than 64 deep");
        }
        return depth > kDeepestObject;
    }

    /// The document has the nested object's name only, the variable's own is not stored.
    void AddNested(std::size_t index, int depth, Names& names, host::Object& object) {
        const StoredNode& node = contents_.nodes[index];
        if (!IsTooDeep(node, depth) && IsUsable(node, names)) {
            AddVariables(index, depth, object.AddNested(node.name));
        }
    }

    void AddVariable(const StoredItem& item, std::size_t index, int depth, Names& names, host::Object& object) {
        VariableType type = 0;
        // The array of signed 32-bit numbers has the type text of the scalar.
        const std::string_view typeName =
            item.isArray && item.type == "S32" ? "S32_ARRAY" : std::string_view(item.type);
        if (!host::FindTypeByName(typeName, type) || type == VARIABLE_TYPE_OBJECT) {
            Report(item.place, item.path, "left out: its type is " + Quoted(item.type));
        } else if (item.texts.size() > kMostElements) {
            Report(item.place, item.path, "left out: more than 1048576 elements");
        } else if (IsUsableName(item.name, item.place, "variable", names)) {
            if (type == VARIABLE_TYPE_OBJECT_ARRAY) {
                AddObjectArray(std::string(item.name), index, depth + 1, object);
            } else {
                AddValue(item, type, object);
            }
        }
    }

    void AddObjectArray(const std::string& name, std::size_t array, int depth, host::Object& object) {
        object.EmptyObjectArray(name);
        Names names;
        for (const std::size_t index : elements_[array]) {
            const StoredNode& node = contents_.nodes[index];
            if (!IsTooDeep(node, depth) && IsUsable(node, names)) {
                AddVariables(index, depth, object.AddToArray(name, node.name));
            }
        }
    }

    void AddValue(const StoredItem& item, VariableType type, host::Object& object) {
        if (type == VARIABLE_TYPE_STRING) {
            const std::size_t needed = item.texts.empty() ? 1 : item.texts.front().size() + 1;
            const std::size_t capacity = std::clamp<std::size_t>(needed, wishes_.stringCapacity, kMostElements);
            object.String(std::string(item.name), static_cast<std::uint32_t>(capacity));
            ++stringCount_;
            return;
        }
        const host::TypeInfo& info = *host::FindType(type);
        const std::size_t count = info.isArray ? item.texts.size() : 1;
        object.Raw(std::string(item.name), type, static_cast<std::uint32_t>(count),
                   std::vector<std::uint8_t>(count * info.elementSize));
    }

    void ReportGuesses() {
        if (stringCount_ != 0) {
            findings_.push_back({Severity::Note,
                                 "layout.string-capacity",
                                 {},
                                 {},
                                 "a document does not tell how long a string may be: " + Count(stringCount_, "string") +
                                     " got room for " + std::to_string(wishes_.stringCapacity) + " bytes or more"});
        }
    }

    const StoredContents& contents_;
    const LayoutWishes& wishes_;
    std::vector<Finding>& findings_;
    std::vector<std::vector<Child>> children_;
    std::unordered_map<std::size_t, std::vector<std::size_t>> elements_;  ///< Of object arrays, by item.
    std::size_t stringCount_ = 0;
};

}  // namespace

std::unique_ptr<host::Database> DeriveLayout(const StoredContents& contents, const LayoutWishes& wishes,
                                             std::vector<Finding>& findings) {
    return LayoutBuilder(contents, wishes, findings).Build();
}

}  // namespace tal::talstore
