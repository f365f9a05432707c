#include "commands/Settings.h"

#include "board/Restore.h"
#include "board/Value.h"
#include "commands/Suggestion.h"
#include "commands/UseError.h"

namespace tal::talstore {

namespace {

std::vector<std::string> PathsOf(const host::Database& layout) {
    std::vector<std::string> paths;
    VisitVariables(layout,
                   [&](const host::Variable& variable, bool /*isWritable*/) { paths.push_back(variable.Path()); });
    return paths;
}

}  // namespace

std::pair<std::string, std::string> ParseSetting(host::Database& layout, const std::string& setting,
                                                 const std::string& option) {
    const std::size_t equals = setting.find('=');
    if (equals == std::string::npos) {
        throw UseError(option + setting + ": expected PATH=VALUE");
    }
    std::string path = setting.substr(0, equals);
    if (layout.Find(path) == nullptr) {
        throw UseError(option + setting + ": there is no such variable in the layout" +
                       Suggestion(path, PathsOf(layout)));
    }
    return {std::move(path), setting.substr(equals + 1)};
}

void ApplySettings(host::Database& layout, const std::vector<std::string>& settings) {
    for (const std::string& setting : settings) {
        const auto [path, text] = ParseSetting(layout, setting, "--set ");
        host::Variable& variable = layout.At(path);
        SetValue(variable, text);
        variable.SetRetrieved(true);
    }
}

}  // namespace tal::talstore
