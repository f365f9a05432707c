#include "board/ExplainStoredPaths.h"

#include <algorithm>
#include <string>

#include "TypeTable.h"
#include "board/StoredPaths.h"

namespace tal::talstore {

namespace {

bool HasNestedObjects(const host::Database& layout) {
    const auto holdsSome = [](const auto& object) {
        const auto& variables = object->Variables();
        return std::any_of(variables.begin(), variables.end(),
                           [](const auto& variable) { return host::HoldsObjects(variable->Type()); });
    };
    return std::any_of(layout.Regions().begin(), layout.Regions().end(), [&](const auto& region) {
        return std::any_of(region->Objects().begin(), region->Objects().end(), holdsSome);
    });
}

class PathExplainer {
public:
    PathExplainer(RestoreReport& report, const ProviderSession& session, const StoredContents& contents,
                  host::Database& layout, KnownPaths* knownPaths)
        : report_(report),
          session_(session),
          format_(session.Provider().format),
          contents_(contents),
          layout_(layout),
          knownPaths_(knownPaths) {}

    void Explain() {
        if (format_ == nullptr || !format_->looksItemsUp || IsEverythingFound() || !MayBeStoredElsewhere()) {
            return;
        }
        KnownPaths ofThisFile;
        const StoredPaths& stored =
            (knownPaths_ == nullptr ? ofThisFile : *knownPaths_).Of(*format_, session_.Channel(), layout_);
        auto path = stored.inTreeOrder.begin();
        for (VariableReport& report : report_.variables) {
            if (path != stored.inTreeOrder.end() && path->variable == report.variable) {
                ExplainDefaulted(report, path->path);
                ++path;
            }
        }
        for (std::size_t i = 0; i < report_.items.size(); ++i) {
            if (report_.items[i].fate == Fate::Ignored && !report_.items[i].BoardPath().empty()) {
                const auto found = stored.byPath.find(contents_.items[i].path);
                if (found != stored.byPath.end()) {
                    ExplainIgnored(report_.items[i], found->first, found->second->Path());
                }
            }
        }
    }

private:
    [[nodiscard]] bool IsEverythingFound() const {
        return std::none_of(report_.items.begin(), report_.items.end(),
                            [](const ItemReport& item) { return item.fate == Fate::Ignored; }) &&
               std::none_of(report_.variables.begin(), report_.variables.end(),
                            [](const VariableReport& variable) { return variable.outcome == Outcome::Defaulted; });
    }

    /// A channel has its number in the paths that are looked up; what follows a nested object has another path in a
    /// secure file.
    [[nodiscard]] bool MayBeStoredElsewhere() const {
        return session_.Channel() != 0 || (format_->format == Format::Secure && HasNestedObjects(layout_));
    }

    void ExplainDefaulted(VariableReport& report, const std::string& storedPath) const {
        if (report.outcome != Outcome::Defaulted || storedPath == report.variable->Path()) {
            return;
        }
        if (session_.Channel() != 0) {
            report.reason += "; it is stored under a placeholder, as " + storedPath;
        } else if (format_->format == Format::Secure) {
            report.reason = "the secure format stores it as " + storedPath +
                            ", as it follows a nested object; no board finds it there";
        }
    }

    void ExplainIgnored(ItemReport& item, const std::string& storedPath, const std::string& variable) const {
        if (session_.Channel() != 0 && storedPath != variable) {
            item.reason =
                "stored under a placeholder, looked up as " + item.BoardPath() + ", while the layout has " + variable;
        } else if (format_->format == Format::Secure && session_.Channel() == 0) {
            item.reason = "this is where the secure format stores " + variable +
                          ", which follows a nested object; no board finds it there";
        }
    }

    RestoreReport& report_;
    const ProviderSession& session_;
    const FormatInfo* format_;  ///< Null for a provider without files.
    const StoredContents& contents_;
    host::Database& layout_;
    KnownPaths* knownPaths_;
};

}  // namespace

void ExplainStoredPaths(RestoreReport& report, const ProviderSession& session, const StoredContents& contents,
                        host::Database& layout, KnownPaths* paths) {
    PathExplainer(report, session, contents, layout, paths).Explain();
}

}  // namespace tal::talstore
