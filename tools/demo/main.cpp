/// The demo: a database goes into storage files and comes back, undamaged and damaged.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

#include "brqtrace/brqtrace.h"
#include "demo/Demo.h"
#include "demo/Show.h"

namespace {

/// An empty directory that is the current one while this lives.
class Workplace {
public:
    Workplace() : previous_(std::filesystem::current_path()) {
        std::string pattern = std::filesystem::temp_directory_path() / "tal_demo_XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot create a directory like " + pattern);
        }
        path_ = pattern;
        std::filesystem::current_path(path_);
    }
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;
    ~Workplace() {
        std::error_code ignored;
        std::filesystem::current_path(previous_, ignored);
        std::filesystem::remove_all(path_, ignored);
    }

private:
    std::filesystem::path previous_;
    std::filesystem::path path_;
};

nlohmann::json ReadDescription(const std::string& fileName) {
    std::ifstream file(fileName);
    if (!file) {
        throw std::runtime_error("cannot read " + fileName);
    }
    return nlohmann::json::parse(file);
}

bool ShowEverything(const tal::demo::Setting& setting) {
    using namespace tal::demo;
    bool isFine = ShowXmlRoundTrip(setting);
    isFine &= ShowDamagedXml(setting);
    isFine &= ShowAllFormats(setting);
    isFine &= ShowChangedLayout(setting);
    isFine &= ShowBoard();
    return isFine;
}

int Run(int argc, char** argv) {
    CLI::App app(
        "Stores a database in every format, loses it, restores it, damages the files and shows what the host is told.\n"
        "Exit status: 0 when everything came out as it should, 1 when not, 2 for wrong use or an unreadable input.");
    std::string fileName;
    std::size_t rowLimit = 18;
    bool showsTrace = false;
    std::filesystem::path fleet;
    app.add_option("DESCRIPTION", fileName, "JSON description of the database")->required();
    app.add_option("--rows", rowLimit, "Rows of each table at most")->capture_default_str();
    app.add_flag("--trace", showsTrace, "Show every trace record, not only warnings and errors");
    app.add_option("--fleet", fleet, "Store the files of some hundred units in this folder, too");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    const nlohmann::json description = ReadDescription(fileName);
    // Trace records go to standard error; they are to stand where they belong.
    std::cout << std::unitbuf;
    if (showsTrace) {
        DS_trace.threshold = BRQTRACE_INFORMATION;
    }
    if (!fleet.empty()) {
        fleet = std::filesystem::absolute(fleet);
    }
    const Workplace workplace;
    const tal::demo::Setting setting = {description, rowLimit};
    bool isFine = ShowEverything(setting);
    if (!fleet.empty()) {
        isFine &= tal::demo::StoreFleet(setting, fleet);
    }
    std::cout << (isFine ? "\nEverything came out as it should.\n" : "\nSomething is wrong, see above.\n");
    return isFine ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tal_demo: %s\n", error.what());
        return 2;
    }
}
