#include "commands/AcceptedLosses.h"

#include <algorithm>
#include <initializer_list>
#include <nlohmann/json.hpp>

#include "common/Text.h"
#include "files/InputError.h"
#include "files/WholeFile.h"
#include "formats/Formats.h"

namespace tal::talstore {

using tools::Quoted;

namespace {

/// Reads one file, whose name begins every message.
class AcceptedReader {
public:
    explicit AcceptedReader(const std::string& name) : name_(name) {}

    [[nodiscard]] std::vector<AcceptedLoss> Read(std::string_view text) const {
        const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
        if (json.is_discarded()) {
            RefuseFile(name_, "is no JSON");
        }
        if (!json.is_object() || json.size() != 1 || !json.contains("accepted") || !json["accepted"].is_array()) {
            RefuseFile(name_, "has to be {\"accepted\": [...]}");
        }
        std::vector<AcceptedLoss> losses;
        for (std::size_t i = 0; i < json["accepted"].size(); ++i) {
            losses.push_back(ReadEntry("accepted[" + std::to_string(i) + ']', json["accepted"][i]));
        }
        return losses;
    }

private:
    [[noreturn]] void Fail(const std::string& place, const std::string& problem) const {
        RefuseFile(name_, place + ": " + problem);
    }

    [[nodiscard]] AcceptedLoss ReadEntry(const std::string& place, const nlohmann::json& entry) const {
        if (!entry.is_object()) {
            Fail(place, "is no object");
        }
        for (const auto& [key, value] : entry.items()) {
            if (key != "variable" && key != "kind" && key != "reason" && key != "format") {
                Fail(place, "unknown key " + Quoted(key));
            }
        }
        AcceptedLoss loss = {
            TextOf(entry, place, "variable"), TextOf(entry, place, "kind"), TextOf(entry, place, "reason"), {}};
        const std::vector<std::string>& kinds = KindsOfLoss();
        if (std::find(kinds.begin(), kinds.end(), loss.kind) == kinds.end()) {
            Fail(place + ".kind", Quoted(loss.kind) + " is no kind of loss");
        }
        if (entry.contains("format")) {
            const std::string format = TextOf(entry, place, "format");
            loss.format = FormatNamed(format);
            if (!loss.format) {
                Fail(place + ".format", "unknown format " + Quoted(format));
            }
        }
        return loss;
    }

    [[nodiscard]] std::string TextOf(const nlohmann::json& entry, const std::string& place, const char* key) const {
        const auto found = entry.find(key);
        if (found == entry.end() || !found->is_string() || found->get_ref<const std::string&>().empty()) {
            Fail(place, std::string(key) + " has to be a text");
        }
        return *found;
    }

    const std::string& name_;
};

}  // namespace

const std::vector<std::string>& KindsOfLoss() {
    static const std::vector<std::string> known = [] {
        std::vector<std::string> kinds;
        for (std::size_t i = 0; i < kOutcomeCount; ++i) {
            const auto outcome = static_cast<Outcome>(i);
            if (!IsAsExpected(outcome)) {
                kinds.emplace_back(NameOf(outcome));
            }
        }
        kinds.emplace_back(kIgnored);
        return kinds;
    }();
    return known;
}

AcceptedLosses AcceptedLosses::Parse(const std::string& name, std::string_view text) {
    AcceptedLosses accepted;
    for (AcceptedLoss& loss : AcceptedReader(name).Read(text)) {
        const PathFilter variables({loss.variable});
        accepted.entries_.push_back({std::move(loss), variables});
    }
    return accepted;
}

AcceptedLosses AcceptedLosses::Load(const std::string& fileName) {
    return fileName.empty() ? AcceptedLosses() : Parse(fileName, ReadWholeFile(fileName));
}

const AcceptedLoss* AcceptedLosses::Find(Format format, const std::string& path, std::string_view kind) {
    const AcceptedLoss* first = nullptr;
    for (Entry& entry : entries_) {
        const bool isOfKind = entry.loss.kind == kind && entry.loss.format.value_or(format) == format;
        if (isOfKind && entry.variables.Takes(path)) {
            entry.hasMatched = true;
            first = first == nullptr ? &entry.loss : first;
        }
    }
    return first;
}

std::vector<AcceptedLoss> AcceptedLosses::Unmatched(const std::vector<Format>& formats) const {
    std::vector<AcceptedLoss> unmatched;
    for (const Entry& entry : entries_) {
        const bool isLookedAt =
            !entry.loss.format || std::find(formats.begin(), formats.end(), *entry.loss.format) != formats.end();
        if (!entry.hasMatched && isLookedAt) {
            unmatched.push_back(entry.loss);
        }
    }
    return unmatched;
}

nlohmann::ordered_json UnmatchedJson(const std::vector<AcceptedLoss>& unmatched) {
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (const AcceptedLoss& loss : unmatched) {
        nlohmann::ordered_json entry = {{"variable", loss.variable}, {"kind", loss.kind}, {"reason", loss.reason}};
        if (loss.format) {
            entry["format"] = NameOf(*loss.format);
        }
        json.push_back(std::move(entry));
    }
    return json;
}

}  // namespace tal::talstore
