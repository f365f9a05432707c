/// The scenes of the file providers.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "DatabaseDescription.h"
#include "Device/DeviceSupport/DeviceSupport.h"
#include "TypeTable.h"
#include "demo/Demo.h"
#include "demo/Show.h"

namespace tal::demo {

namespace {

using nlohmann::json;

constexpr StorageLocation kCalibration = 0;

struct Format {
    const char* name;
    QBFResult (*getInterface)(IStorageProvider**);
    const char* fileName;  ///< The default name for the calibration database.
};

constexpr Format kXml = {"XML", CXmlFileStorageProvider_GetInterface, "storage_calibration_database.xml"};
constexpr Format kBinary = {"binary", CBinaryFileStorageProvider_GetInterface, "storage_calibration_database.bin"};
constexpr Format kSecure = {"secure binary", CSecureBinaryFileStorageProvider_GetInterface,
                            "storage_calibration_database.sbin"};

IStorageProvider& InitializedProvider(const Format& format) {
    IStorageProvider* provider = nullptr;
    format.getInterface(&provider);
    provider->Initialize(kCalibration);
    return *provider;
}

using Values = std::map<std::string, std::vector<std::uint8_t>>;

Values ValuesOf(host::Database& database) {
    Values values;
    database.ForEachVariable([&](const std::string& path, const host::Variable& variable) {
        if (HoldsValue(variable)) {
            values[path] = variable.Bytes();
        }
    });
    return values;
}

/// Gives the unsigned variables other values than their defaults, so that restoring them can be told from defaulting.
void Operate(host::Database& database) {
    database.ForEachVariable([](const std::string& /*path*/, host::Variable& variable) {
        if (variable.Type() == VARIABLE_TYPE_U8) {
            variable.Set(static_cast<std::uint8_t>(variable.Get<std::uint8_t>() ^ 1U));
        } else if (variable.Type() == VARIABLE_TYPE_U32) {
            variable.Set(variable.Get<std::uint32_t>() ^ 1U);
        }
    });
}

/// Whether every variable that is marked restored holds the value that was stored.
bool RestoredAsStored(host::Database& database, const Values& stored) {
    bool isSame = true;
    database.ForEachVariable([&](const std::string& path, const host::Variable& variable) {
        if (HoldsValue(variable) && variable.Retrieved()) {
            isSame = isSame && stored.at(path) == variable.Bytes();
        }
    });
    return isSame;
}

std::size_t CountRestored(host::Database& database) {
    return Count(database, [](const host::Variable& variable) { return HoldsValue(variable) && variable.Retrieved(); });
}

void AddWritablePaths(const host::Object& object, std::vector<std::string>& paths) {
    if (!object.Writable()) {
        return;
    }
    for (const auto& variable : object.Variables()) {
        if (HoldsValue(*variable)) {
            paths.push_back(variable->Path());
        }
        for (const auto& nested : variable->Objects()) {
            AddWritablePaths(*nested, paths);
        }
    }
}

/// The variables that a format keeps which leaves read-only objects out.
std::vector<std::string> WritablePaths(const host::Database& database) {
    std::vector<std::string> paths;
    for (const auto& region : database.Regions()) {
        for (const auto& object : region->Objects()) {
            AddWritablePaths(*object, paths);
        }
    }
    return paths;
}

std::string FileText(const char* fileName) {
    std::ifstream file(fileName, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteFileText(const char* fileName, const std::string& text) {
    std::ofstream(fileName, std::ios::binary) << text;
}

bool StoreInto(const Format& format, host::Database& database) {
    const QBFResult result = InitializedProvider(format).StoreAll(kCalibration, database.Handle(), 0);
    return Expect(!QBF_IsFailure(result), std::string("stored into ") + format.fileName + ", " +
                                              std::to_string(std::filesystem::file_size(format.fileName)) +
                                              " bytes: " + ResultText(result));
}

/// Restores the file into a database that has lost its values.
QBFResult RetrieveInto(const Format& format, host::Database& database) {
    database.SetAllToZero();
    return InitializedProvider(format).RetrieveAll(kCalibration, database.Handle(), 0);
}

/// The first object without nested ones that has a string and at least three more variables.
json& PlainObject(json& description) {
    for (json& region : description["regions"]) {
        for (json& object : region["objects"]) {
            const json& variables = object["variables"];
            const auto hasType = [](const char* type) {
                return [type](const json& variable) { return variable["type"] == type; };
            };
            const bool isPlain = std::none_of(variables.begin(), variables.end(), hasType("OBJECT")) &&
                                 std::none_of(variables.begin(), variables.end(), hasType("OBJECT_ARRAY"));
            const bool hasString = std::any_of(variables.begin(), variables.end(), hasType("STRING"));
            if (isPlain && hasString && variables.size() > 3 && object.value("writable", true)) {
                return object;
            }
        }
    }
    throw std::runtime_error("the description has no writable object with a string and three more variables");
}

/// What a next release might do to a layout: one string longer, one variable gone, one new, the others reordered.
json ChangedLayout(json description, std::string& objectName) {
    json& object = PlainObject(description);
    objectName = object["name"];
    json& variables = object["variables"];
    const auto text = std::find_if(variables.begin(), variables.end(),
                                   [](const json& variable) { return variable["type"] == "STRING"; });
    (*text)["count"] = (*text)["count"].get<unsigned>() + 8U;
    variables.erase(text == variables.begin() ? 1 : 0);
    std::reverse(variables.begin(), variables.end());
    variables.push_back({{"name", "AddedInTheNextRelease"}, {"type", "U32"}, {"default", 7U}});
    return description;
}

/// Gives each unit texts of its own, but for some that nobody has set up.
void Commission(host::Database& database, int unit) {
    database.ForEachVariable([&](const std::string& /*path*/, host::Variable& variable) {
        if (variable.Type() == VARIABLE_TYPE_STRING && unit % 4 != 0) {
            variable.SetText(std::to_string(unit));
        }
    });
}

bool StoreUnit(host::Database& database, const Format& format, const std::filesystem::path& folder, int unit) {
    constexpr int kFirstNumber = 1000;
    database.ResetToDefaults();
    Commission(database, unit);
    const QBFResult result = InitializedProvider(format).StoreAll(kCalibration, database.Handle(), 0);
    std::filesystem::path name = "unit" + std::to_string(kFirstNumber + unit);
    name.replace_extension(std::filesystem::path(format.fileName).extension());
    std::filesystem::copy_file(format.fileName, folder / name, std::filesystem::copy_options::overwrite_existing);
    return !QBF_IsFailure(result);
}

}  // namespace

bool StoreFleet(const Setting& setting, const std::filesystem::path& folder) {
    constexpr int kUnits = 300;
    std::string objectName;
    const json changed = ChangedLayout(setting.description, objectName);
    std::filesystem::create_directories(folder / "units");
    WriteFileText((folder / "old.json").c_str(), setting.description.dump());
    WriteFileText((folder / "new.json").c_str(), changed.dump());
    const auto before = host::LoadDatabase(setting.description);
    const auto after = host::LoadDatabase(changed);
    bool isFine = true;
    for (int unit = 0; unit < kUnits; ++unit) {
        const bool isOld = unit % 3 == 0;
        const Format& format = isOld && unit % 2 != 0 ? kSecure : kXml;
        isFine &= StoreUnit(isOld ? *before : *after, format, folder / "units", unit);
    }
    return isFine;
}

bool ShowXmlRoundTrip(const Setting& setting) {
    ShowHeading("XML: into a file and back");
    const auto database = host::LoadDatabase(setting.description);
    Operate(*database);
    const Values stored = ValuesOf(*database);
    bool isFine = StoreInto(kXml, *database);
    ShowFirstLines(kXml.fileName, 12);

    const QBFResult result = RetrieveInto(kXml, *database);

    ShowVariables(*database, setting.rowLimit, HoldsValue);
    ShowSummary(*database);
    isFine &= Expect(!QBF_IsFailure(result), "the database was wiped and retrieved: " + ResultText(result));
    isFine &= Expect(RestoredAsStored(*database, stored), "what is restored has the stored value");
    isFine &= Expect(CountRestored(*database) == WritablePaths(*database).size(),
                     "every variable of a writable object is restored; read-only objects have their defaults");
    return isFine;
}

bool ShowDamagedXml(const Setting& setting) {
    ShowHeading("XML: a file that is cut in the middle");
    const auto database = host::LoadDatabase(setting.description);
    bool isFine = StoreInto(kXml, *database);
    const std::string document = FileText(kXml.fileName);
    WriteFileText(kXml.fileName, document.substr(0, document.size() / 2));
    isFine &= Expect(QBF_IsFailure(RetrieveInto(kXml, *database)), "the host is told that the retrieve failed");
    ShowSummary(*database);
    std::cout
        << "  Nothing is defaulted after a parse error: what was not restored still holds what it held, here zeros.\n";

    ShowHeading("XML: a file with a wrong value in it");
    std::string wrong = document;
    const std::size_t position = wrong.find("<value>TRUE</value>", wrong.size() / 2);
    isFine &= Expect(position != std::string::npos, "a BOOL in the middle of the file becomes \"MAYBE\"");
    if (position != std::string::npos) {
        wrong.replace(position, std::string("<value>TRUE").size(), "<value>MAYBE");
    }
    WriteFileText(kXml.fileName, wrong);
    isFine &= Expect(QBF_IsFailure(RetrieveInto(kXml, *database)),
                     "the host is told, and every variable from the wrong one on has its default");
    ShowSummary(*database);
    return isFine;
}

bool ShowAllFormats(const Setting& setting) {
    const auto database = host::LoadDatabase(setting.description);
    Operate(*database);
    const Values stored = ValuesOf(*database);
    bool isFine = true;
    for (const Format& format : {kXml, kBinary, kSecure}) {
        ShowHeading(std::string("All formats: ") + format.name);
        isFine &= StoreInto(format, *database);
        ShowFirstBytes(format.fileName, 96);
        const QBFResult result = RetrieveInto(format, *database);
        ShowSummary(*database);
        isFine &= Expect(!QBF_IsFailure(result), "wiped and retrieved: " + ResultText(result));
        isFine &= Expect(RestoredAsStored(*database, stored), "what is restored has the stored value");
        // What a format leaves out has its default now; the next one starts from the same values again.
        database->ResetToDefaults();
        Operate(*database);
    }
    std::cout << "  The binary file also keeps read-only objects. In the secure file, variables after a nested object\n"
                 "  carry its name in their path and are not found again: put them before it.\n";
    return isFine;
}

bool ShowChangedLayout(const Setting& setting) {
    std::string objectName;
    const json changed = ChangedLayout(setting.description, objectName);
    ShowHeading("Secure binary: restored into a changed layout of " + objectName);
    const auto before = host::LoadDatabase(setting.description);
    Operate(*before);
    const Values stored = ValuesOf(*before);
    bool isFine = StoreInto(kSecure, *before);
    const auto after = host::LoadDatabase(changed);

    const QBFResult result = RetrieveInto(kSecure, *after);

    const Selection isInChangedObject = [&](const host::Variable& variable) {
        return variable.Path().find('/' + objectName + '/') != std::string::npos && HoldsValue(variable);
    };
    ShowVariables(*after, setting.rowLimit, isInChangedObject);
    const std::size_t defaulted = Count(*after, [&](const host::Variable& variable) {
        return isInChangedObject(variable) && StateText(variable) == "default";
    });
    isFine &= Expect(!QBF_IsFailure(result), "the retrieve succeeds: " + ResultText(result));
    isFine &= Expect(RestoredAsStored(*after, stored), "what is restored has the stored value, in any order");
    isFine &= Expect(defaulted == 2, "the longer string was refused and the new variable is not in the file: defaults");
    return isFine;
}

}  // namespace tal::demo
