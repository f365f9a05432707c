/// @file
/// A JSON document for reading it once, from its beginning to its end.
#ifndef TAL_HOST_JSON_TREE_H
#define TAL_HOST_JSON_TREE_H

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tal::host {

/// Its values lie in one array and its texts in one string, in the order of the document: 16 bytes for each value and
/// nothing to allocate or release one by one, where a tree of nodes takes several times the size of the document.
class JsonTree {
public:
    class Value;

    /// What is to be parsed is no JSON from `offset` on.
    struct NoJson : std::runtime_error {
        explicit NoJson(std::size_t place) : std::runtime_error("no JSON"), offset(place) {}

        std::size_t offset;
    };
    /// It has a number beyond any double.
    struct NumberTooLarge : std::runtime_error {
        NumberTooLarge() : std::runtime_error("a number is too large") {}
    };

    /// Throws NoJson or NumberTooLarge.
    [[nodiscard]] static JsonTree Parse(std::string_view text);
    [[nodiscard]] static JsonTree From(const nlohmann::json& value);
    [[nodiscard]] static JsonTree From(const nlohmann::ordered_json& value);

    /// @return the value that is the document, valid as long as the tree.
    [[nodiscard]] Value Root() const;

private:
    class Builder;

    enum class Kind : std::uint8_t { Null, Bool, Unsigned, Negative, Real, String, Array, Object };

    struct Node {
        union {
            std::uint64_t number;  ///< Of a Bool 0 or 1.
            std::int64_t negative;
            double real;
            std::uint64_t textStart;  ///< Of a String, in texts_.
            std::uint64_t end;        ///< Of an Array or Object, the node after its last descendant.
        };
        std::uint32_t size;  ///< Bytes of a String, elements of an Array, members of an Object.
        Kind kind;
    };
    static_assert(sizeof(Node) == 16);

    std::vector<Node> nodes_;
    std::string texts_;
};

/// A place in the tree, cheap to copy. What is asked has to fit the value: the text of a string, the size of an array.
class JsonTree::Value {
public:
    [[nodiscard]] bool IsBool() const { return node_->kind == Kind::Bool; }
    [[nodiscard]] bool IsString() const { return node_->kind == Kind::String; }
    [[nodiscard]] bool IsArray() const { return node_->kind == Kind::Array; }
    [[nodiscard]] bool IsObject() const { return node_->kind == Kind::Object; }
    [[nodiscard]] bool IsInteger() const { return IsNegative() || node_->kind == Kind::Unsigned; }
    /// A negative integer; every other integer is unsigned.
    [[nodiscard]] bool IsNegative() const { return node_->kind == Kind::Negative; }
    [[nodiscard]] bool IsNumber() const { return IsInteger() || node_->kind == Kind::Real; }
    /// "null", "boolean", "number", "string", "array" or "object".
    [[nodiscard]] const char* TypeName() const;

    [[nodiscard]] bool Bool() const { return node_->number != 0; }
    [[nodiscard]] std::uint64_t Unsigned() const { return node_->number; }
    [[nodiscard]] std::int64_t Negative() const { return node_->negative; }
    [[nodiscard]] double Number() const;
    /// The number as JSON writes it.
    [[nodiscard]] std::string NumberText() const;
    [[nodiscard]] std::string_view Text() const { return {tree_->texts_.data() + node_->textStart, node_->size}; }

    /// How many elements an array has, or members an object.
    [[nodiscard]] std::size_t Size() const { return node_->size; }
    /// The first element of an array, or the first key of an object, if there is one.
    [[nodiscard]] Value First() const { return {tree_, node_ + 1}; }
    /// What follows in the same array or object, if there is something: the value after its key, then the next key.
    [[nodiscard]] Value Next() const;

private:
    friend class JsonTree;

    Value(const JsonTree* tree, const Node* node) : tree_(tree), node_(node) {}

    const JsonTree* tree_;
    const Node* node_;
};

}  // namespace tal::host

#endif
