#include "board/CarryOver.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "TypeTable.h"
#include "board/Restore.h"
#include "board/Value.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "formats/Paths.h"

namespace tal::talstore {

using tools::Printable;

namespace {

using host::TypeInfo;
using host::TypeKind;

/// @return the value as SetValue takes it for that type; none when no text of it means the same.
std::optional<std::string> TextFor(const host::Variable& from, const TypeInfo& toType) {
    const TypeInfo& fromType = *host::FindType(from.Type());
    if (fromType.kind == TypeKind::String) {
        return toType.isArray ? std::nullopt : std::optional(from.Text());
    }
    nlohmann::json value = ValueJson(from.Type(), BytesOf(from));
    if (fromType.isArray && !toType.isArray) {
        if (value.size() != 1) {
            return std::nullopt;
        }
        value = nlohmann::json(value.front());
    } else if (!fromType.isArray && toType.isArray) {
        value = nlohmann::json::array({value});
    }
    return value.is_string() ? value.get<std::string>() : value.dump();
}

/// Whether a real has become infinite on the way.
bool IsBeyondRange(const host::Variable& from, const host::Variable& to) {
    if (from.Type() != VARIABLE_TYPE_DOUBLE && from.Type() != VARIABLE_TYPE_DOUBLE_ARRAY) {
        return false;
    }
    if (to.Type() != VARIABLE_TYPE_FLOAT && to.Type() != VARIABLE_TYPE_FLOAT_ARRAY) {
        return false;
    }
    for (std::uint32_t i = 0; i < to.ElementCount(); ++i) {
        if (std::isinf(to.Get<float>(i)) && !std::isinf(from.Get<double>(i))) {
            return true;
        }
    }
    return false;
}

std::string DoesNotFit(const host::Variable& from, const host::Variable& to) {
    return ValueText(from) + " does not fit " + TypeText(to);
}

/// @return why the value is not taken; empty when it is.
std::string CarryValue(const host::Variable& from, host::Variable& to) {
    if (from.Type() == to.Type() && from.SizeInBytes() == to.SizeInBytes()) {
        std::memcpy(to.Content(), from.Content(), from.SizeInBytes());
        return {};
    }
    const std::optional<std::string> text = TextFor(from, *host::FindType(to.Type()));
    if (!text) {
        return DoesNotFit(from, to);
    }
    try {
        SetValue(to, *text);
    } catch (const InputError&) {
        return DoesNotFit(from, to);
    }
    return IsBeyondRange(from, to) ? DoesNotFit(from, to) : "";
}

}  // namespace

Renames Renames::Parse(const std::string& name, std::string_view text) {
    std::set<std::string> oldPaths;
    std::optional<std::string> repeated;
    const auto keepKeys = [&](int /*depth*/, nlohmann::json::parse_event_t event, nlohmann::json& parsed) {
        if (event == nlohmann::json::parse_event_t::key && !oldPaths.insert(parsed.get<std::string>()).second) {
            repeated = parsed.get<std::string>();
        }
        return true;
    };
    const nlohmann::json json = nlohmann::json::parse(text, keepKeys, false);
    if (!json.is_object()) {
        RefuseFile(name, "has to be a JSON object of old and new paths");
    }
    if (repeated) {
        RefuseFile(name, Printable(*repeated) + ": stands there twice, and only one new path can be meant");
    }
    Renames renames;
    for (const auto& [oldPath, newPath] : json.items()) {
        if (!newPath.is_string()) {
            RefuseFile(name, Printable(oldPath) + ": the new path has to be a text");
        }
        renames.Add(oldPath, newPath);
    }
    return renames;
}

std::string Renames::NewPathOf(const std::string& oldPath) const {
    // What is longer comes later.
    for (auto rename = newPaths_.rbegin(); rename != newPaths_.rend(); ++rename) {
        if (IsAtOrIn(oldPath, rename->first)) {
            return rename->second + oldPath.substr(rename->first.size());
        }
    }
    return oldPath;
}

std::vector<std::string> Renames::Unknown(const host::Database& before) const {
    std::vector<std::string> unknown;
    for (const auto& rename : newPaths_) {
        const std::string& oldPath = rename.first;
        const auto isInIt = [&](const host::Variable* variable) { return IsAtOrIn(variable->Path(), oldPath); };
        if (std::none_of(before.Variables().begin(), before.Variables().end(), isInIt)) {
            unknown.push_back(oldPath);
        }
    }
    return unknown;
}

std::vector<Loss> CarryOver(const host::Database& before, host::Database& after, const Renames& renames) {
    std::vector<Loss> losses;
    VisitVariables(before, [&](const host::Variable& from, bool /*isWritable*/) {
        if (!from.Retrieved()) {
            return;
        }
        const std::string newPath = renames.NewPathOf(from.Path());
        host::Variable* const to = after.Find(newPath);
        if (to == nullptr || host::HoldsObjects(to->Type())) {
            losses.push_back(
                {kIgnored, from.Path(), newPath == from.Path() ? "not in the layout" : "the layout has no " + newPath});
            return;
        }
        if (to->Retrieved()) {
            losses.push_back({NameOf(Outcome::Refused), newPath, "it has the value of another variable already"});
            return;
        }
        std::string problem = CarryValue(from, *to);
        if (problem.empty()) {
            to->SetRetrieved(true);
        } else {
            to->SetToDefault();
            losses.push_back({NameOf(Outcome::Refused), newPath, std::move(problem)});
        }
    });
    return losses;
}

}  // namespace tal::talstore
