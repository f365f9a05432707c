#include "JsonTree.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace tal::host {

using nlohmann::json;

namespace {

/// Far deeper than any description goes. What lies deeper in a value that somebody hands over is never looked at.
constexpr int kDeepestValue = 1000;

constexpr const char* kTypeNames[] = {"null", "boolean", "number", "number", "number", "string", "array", "object"};

std::uint32_t SizeOfNode(std::size_t size) {
    if (size > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("a text or list of a JSON document has less than 4294967296 items");
    }
    return static_cast<std::uint32_t>(size);
}

}  // namespace

/// Takes the events of the parser. Each of them returns true, that the parser goes on.
class JsonTree::Builder {
public:
    bool null() {
        Add(Kind::Null);
        return true;
    }
    bool boolean(bool value) {
        Add(Kind::Bool).number = value ? 1 : 0;
        return true;
    }
    bool number_integer(std::int64_t value) {
        if (value >= 0) {
            return number_unsigned(static_cast<std::uint64_t>(value));
        }
        Add(Kind::Negative).negative = value;
        return true;
    }
    bool number_unsigned(std::uint64_t value) {
        Add(Kind::Unsigned).number = value;
        return true;
    }
    bool number_float(double value, const std::string& /*text*/) {
        Add(Kind::Real).real = value;
        return true;
    }
    bool string(const std::string& text) {
        AddText(text);
        return true;
    }
    bool binary(const json::binary_t& /*bytes*/) { return null(); }
    bool start_object(std::size_t /*memberCount*/) {
        Open(Kind::Object);
        return true;
    }
    bool key(const std::string& text) {
        CountIn(tree_.nodes_[open_.back()]);
        AddText(text);
        return true;
    }
    bool end_object() {
        Close();
        return true;
    }
    bool start_array(std::size_t /*elementCount*/) {
        Open(Kind::Array);
        return true;
    }
    bool end_array() {
        Close();
        return true;
    }
    template <class Exception>
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/, const Exception& error) {
        throw Exception(error);
    }

    /// What the parser would have told of a document with this value.
    template <class Json>
    void Describe(const Json& value, int depth);

    [[nodiscard]] JsonTree Take() { return std::move(tree_); }

private:
    static void CountIn(Node& container) { container.size = SizeOfNode(std::size_t{container.size} + 1); }

    Node& Add(Kind kind) {
        if (!open_.empty() && tree_.nodes_[open_.back()].kind == Kind::Array) {
            CountIn(tree_.nodes_[open_.back()]);
        }
        tree_.nodes_.push_back({{0}, 0, kind});
        return tree_.nodes_.back();
    }

    void AddText(const std::string& text) {
        Node& node = Add(Kind::String);
        node.textStart = tree_.texts_.size();
        node.size = SizeOfNode(text.size());
        tree_.texts_ += text;
    }

    void Open(Kind kind) {
        Add(kind);
        open_.push_back(tree_.nodes_.size() - 1);
    }

    void Close() {
        tree_.nodes_[open_.back()].end = tree_.nodes_.size();
        open_.pop_back();
    }

    JsonTree tree_;
    std::vector<std::size_t> open_;  ///< The arrays and objects that have not ended.
};

template <class Json>
void JsonTree::Builder::Describe(const Json& value, int depth) {
    switch (depth > kDeepestValue ? json::value_t::null : value.type()) {
        case json::value_t::object:
            start_object(value.size());
            for (const auto& [name, member] : value.template get_ref<const typename Json::object_t&>()) {
                key(name);
                Describe(member, depth + 1);
            }
            end_object();
            break;
        case json::value_t::array:
            start_array(value.size());
            for (const Json& element : value) {
                Describe(element, depth + 1);
            }
            end_array();
            break;
        case json::value_t::string:
            string(value.template get_ref<const std::string&>());
            break;
        case json::value_t::boolean:
            boolean(value.template get<bool>());
            break;
        case json::value_t::number_integer:
            number_integer(value.template get<std::int64_t>());
            break;
        case json::value_t::number_unsigned:
            number_unsigned(value.template get<std::uint64_t>());
            break;
        case json::value_t::number_float:
            number_float(value.template get<double>(), {});
            break;
        case json::value_t::null:
        case json::value_t::binary:
        case json::value_t::discarded:
            null();
            break;
    }
}

JsonTree JsonTree::Parse(std::string_view text) {
    Builder builder;
    try {
        json::sax_parse(text.begin(), text.end(), &builder);
    } catch (const json::parse_error& error) {
        throw NoJson(error.byte == 0 ? 0 : error.byte - 1);
    } catch (const json::out_of_range&) {
        throw NumberTooLarge();
    }
    return builder.Take();
}

JsonTree JsonTree::From(const json& value) {
    Builder builder;
    builder.Describe(value, 0);
    return builder.Take();
}

JsonTree JsonTree::From(const nlohmann::ordered_json& value) {
    Builder builder;
    builder.Describe(value, 0);
    return builder.Take();
}

JsonTree::Value JsonTree::Root() const {
    return {this, nodes_.data()};
}

const char* JsonTree::Value::TypeName() const {
    return kTypeNames[static_cast<std::size_t>(node_->kind)];
}

double JsonTree::Value::Number() const {
    switch (node_->kind) {
        case Kind::Unsigned:
            return static_cast<double>(node_->number);
        case Kind::Negative:
            return static_cast<double>(node_->negative);
        default:
            return node_->real;
    }
}

std::string JsonTree::Value::NumberText() const {
    switch (node_->kind) {
        case Kind::Unsigned:
            return json(node_->number).dump();
        case Kind::Negative:
            return json(node_->negative).dump();
        default:
            return json(node_->real).dump();
    }
}

JsonTree::Value JsonTree::Value::Next() const {
    return {tree_, IsArray() || IsObject() ? tree_->nodes_.data() + node_->end : node_ + 1};
}

}  // namespace tal::host
