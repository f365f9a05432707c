#include "board/LayoutFromXml.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "TypeTable.h"
#include "board/Value.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;
using tools::Quoted;

namespace {

using nlohmann::ordered_json;

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
        : contents_(contents),
          wishes_(wishes),
          findings_(findings),
          children_(contents.nodes.size()),
          elements_(contents.items.size()) {}

    ordered_json Build() {
        SortIntoTree();
        ordered_json regions = ordered_json::array();
        Names names;
        for (std::size_t i = 0; i < contents_.nodes.size(); ++i) {
            const StoredNode& node = contents_.nodes[i];
            if (node.isRegion && IsUsable(node, names)) {
                regions.push_back({{"name", node.name}, {"objects", ObjectsOf(i)}});
            }
        }
        ReportGuesses();
        return {{"regions", std::move(regions)}};
    }

private:
    using Names = std::set<std::string>;

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
        if (contents_.items[index].node != kNone && wishes_.leftOut.count(index) == 0) {
            children_[contents_.items[index].node].push_back({index, false});
        }
    }

    void Report(const Place& place, const std::string& path, const std::string& message) {
        findings_.push_back({Severity::Warning, "layout.left-out", place, path, message});
    }

    bool IsUsable(const StoredNode& node, Names& siblings) {
        return IsUsableName(node.name, node.place, node.isRegion ? "region" : "object", siblings);
    }

    bool IsUsableName(const std::string& name, const Place& place, const char* what, Names& siblings) {
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

    ordered_json ObjectsOf(std::size_t region) {
        ordered_json objects = ordered_json::array();
        Names names;
        for (const Child& child : children_[region]) {
            if (!child.isNode) {
                const StoredItem& item = contents_.items[child.index];
                Report(item.place, item.path, "left out: a variable outside of objects");
            } else if (IsUsable(contents_.nodes[child.index], names)) {
                objects.push_back(Object(child.index, 1));
            }
        }
        return objects;
    }

    ordered_json Object(std::size_t index, int depth) {
        ordered_json variables = ordered_json::array();
        Names names;
        for (const Child& child : children_[index]) {
            if (child.isNode) {
                AddNested(child.index, depth + 1, names, variables);
            } else {
                AddVariable(child.index, depth, names, variables);
            }
        }
        if (variables.empty()) {
            findings_.push_back(
                {Severity::Note, "layout.empty-object", contents_.nodes[index].place, contents_.nodes[index].name,
                 "the object is empty: it has no variables, or is read-only and its variables are not known"});
        }
        return {{"name", contents_.nodes[index].name}, {"variables", std::move(variables)}};
    }

    bool IsTooDeep(const StoredNode& node, int depth) {
        if (depth > kDeepestObject) {
            Report(node.place, node.name, "left out: nested more than 64 deep");
        }
        return depth > kDeepestObject;
    }

    /// The document has the nested object's name only, the variable's own is not stored.
    void AddNested(std::size_t index, int depth, Names& names, ordered_json& variables) {
        const StoredNode& node = contents_.nodes[index];
        if (!IsTooDeep(node, depth) && IsUsable(node, names)) {
            variables.push_back({{"name", node.name}, {"type", "OBJECT"}, {"object", Object(index, depth)}});
        }
    }

    void AddVariable(std::size_t index, int depth, Names& names, ordered_json& variables) {
        const StoredItem& item = contents_.items[index];
        VariableType type = 0;
        // The array of signed 32-bit numbers has the type text of the scalar.
        const std::string& typeName = item.isArray && item.type == "S32" ? kS32Array : item.type;
        if (!host::FindTypeByName(typeName, type) || type == VARIABLE_TYPE_OBJECT) {
            Report(item.place, item.path, "left out: its type is " + Quoted(item.type));
        } else if (item.texts.size() > kMostElements) {
            Report(item.place, item.path, "left out: more than 1048576 elements");
        } else if (IsUsableName(item.name, item.place, "variable", names)) {
            ordered_json variable = {{"name", item.name}, {"type", typeName}};
            if (type == VARIABLE_TYPE_OBJECT_ARRAY) {
                variable["objects"] = ElementsOf(index, depth + 1);
            } else {
                DescribeValue(item, type, variable);
            }
            variables.push_back(std::move(variable));
        }
    }

    ordered_json ElementsOf(std::size_t array, int depth) {
        ordered_json objects = ordered_json::array();
        Names names;
        for (const std::size_t index : elements_[array]) {
            const StoredNode& node = contents_.nodes[index];
            if (!IsTooDeep(node, depth) && IsUsable(node, names)) {
                objects.push_back(Object(index, depth));
            }
        }
        return objects;
    }

    void DescribeValue(const StoredItem& item, VariableType type, ordered_json& variable) {
        if (type == VARIABLE_TYPE_STRING) {
            const std::size_t needed = item.texts.empty() ? 1 : item.texts.front().size() + 1;
            variable["count"] = std::clamp<std::size_t>(needed, wishes_.stringCapacity, kMostElements);
            ++stringCount_;
        } else if (host::FindType(type)->isArray) {
            variable["count"] = item.texts.size();
        }
        const host::Variable* const value = wishes_.values == nullptr ? nullptr : wishes_.values->Find(item.path);
        if (value != nullptr && value->Type() == type) {
            variable["default"] = ValueJson(type, BytesOf(*value));
        }
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

    inline static const std::string kS32Array = "S32_ARRAY";

    const StoredContents& contents_;
    const LayoutWishes& wishes_;
    std::vector<Finding>& findings_;
    std::vector<std::vector<Child>> children_;
    std::vector<std::vector<std::size_t>> elements_;  ///< Of object arrays, by item.
    std::size_t stringCount_ = 0;
};

}  // namespace

ordered_json DeriveLayout(const StoredContents& contents, const LayoutWishes& wishes, std::vector<Finding>& findings) {
    return LayoutBuilder(contents, wishes, findings).Build();
}

}  // namespace tal::talstore
