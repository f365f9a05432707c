#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "ReferenceHost.h"
#include "TypeTable.h"
#include "bench/Bench.h"

namespace tal::bench {

namespace {

constexpr std::size_t kValuesPerObject = 24;
constexpr std::size_t kObjectsPerRegion = 40;

std::string Numbered(const char* name, std::size_t number) {
    return name + std::to_string(number);
}

/// Half of an object's variables.
void AddMeasurements(host::Object& object, std::size_t seed) {
    const auto number = static_cast<std::uint32_t>(seed);
    object.U32("SerialNumber", number)
        .S32("TemperatureOffset", -static_cast<std::int32_t>(number % 400))
        .U16("CarrierIndex", static_cast<std::uint16_t>(number))
        .S16("PhaseCorrection", static_cast<std::int16_t>(number % 3600))
        .U8("PowerClass", static_cast<std::uint8_t>(number))
        .Bool("IsCalibrated", number % 2)
        .Float("OutputGain", static_cast<float>(number) / 16)
        .Double("FrequencyMHz", 6000.0 + static_cast<double>(number) / 8)
        .String("ModuleLabel", 32, Numbered("module-", seed))
        .U16Array("GainTable", {10, 20, 30, 40, 50, 60, 70, 80})
        .S32("AttenuationLimit", 1200)
        .U32("RestartCounter", 3);
}

void AddSettings(host::Object& object, std::size_t seed) {
    const auto number = static_cast<std::uint32_t>(seed);
    object.U32("BaudRate", 115200)
        .U8("channel.1.Modulation", static_cast<std::uint8_t>(number % 12))
        .Char("Polarity", 'H')
        .S8("ReferenceLevel", -20)
        .Bool("IsProtected", 1)
        .String("AccessName", 24, Numbered("dev", seed))
        .FloatArray("Coefficients", {0.5F, 0.25F, 0.125F, static_cast<float>(number % 100)})
        .BoolArray("Enabled", {1, 0, 1, 1})
        .U8Array("Address", {0, 17, 34, 51, 68, static_cast<std::uint8_t>(number)})
        .U32("Timeout", 5000)
        .Float("Threshold", -62.5F)
        .U16("PortNumber", 8080);
}

/// Every third object keeps its second half in a nested one, every tenth in an object array.
void AddObject(host::Region& region, std::size_t index) {
    host::Object& object = region.AddObject(Numbered("Module.Rf1.Channel1.", index));
    AddMeasurements(object, index);
    if (index % 10 == 9) {
        AddSettings(object.AddToArray("Ports", Numbered("Port", index)), index);
    } else if (index % 3 == 2) {
        AddSettings(object.AddNested("Settings"), index);
    } else {
        AddSettings(object, index);
    }
}

}  // namespace

void FillDatabase(host::Database& database, std::size_t variableCount) {
    host::Region* region = nullptr;
    for (std::size_t index = 0; index * kValuesPerObject < variableCount; ++index) {
        if (index % kObjectsPerRegion == 0) {
            region = &database.AddRegion(Numbered("HDBUnit", index / kObjectsPerRegion));
        }
        AddObject(*region, index);
    }
    database.UpdatePathTable();
}

std::size_t CountValues(const host::Database& database) {
    std::size_t count = 0;
    for (const host::Variable* const variable : database.Variables()) {
        count += host::HoldsObjects(variable->Type()) ? 0 : 1;
    }
    return count;
}

std::vector<AddContenders>& Alternatives() {
    static std::vector<AddContenders> alternatives;
    return alternatives;
}

std::string ReadWhole(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Fail(const char* what) {
    std::fprintf(stderr, "tal_bench: failed: %s\n", what);
    std::exit(1);
}

host::Variable& Registered(const host::Database& database, std::string_view path) {
    host::Variable* const variable = database.FindRegistered(path);
    if (variable == nullptr) {
        Fail("look-up");
    }
    return *variable;
}

namespace {

template <class Number>
const char* NumberText(Number number) {
    static char text[32];
    if constexpr (std::is_floating_point_v<Number>) {
        *std::to_chars(text, std::end(text), number, std::chars_format::scientific, 6).ptr = '\0';
    } else {
        *std::to_chars(text, std::end(text), number).ptr = '\0';
    }
    return text;
}

}  // namespace

const char* ElementText(const host::Variable& variable, std::size_t index) {
    switch (variable.Type()) {
        case VARIABLE_TYPE_STRING:
            return static_cast<const char*>(variable.Content());
        case VARIABLE_TYPE_U8:
        case VARIABLE_TYPE_U8_ARRAY:
        case VARIABLE_TYPE_CHAR:
            return NumberText(variable.Get<std::uint8_t>(index));
        case VARIABLE_TYPE_S8:
            return NumberText(variable.Get<std::int8_t>(index));
        case VARIABLE_TYPE_U16:
        case VARIABLE_TYPE_U16_ARRAY:
            return NumberText(variable.Get<std::uint16_t>(index));
        case VARIABLE_TYPE_S16:
            return NumberText(variable.Get<std::int16_t>(index));
        case VARIABLE_TYPE_BOOL:
        case VARIABLE_TYPE_BOOL_ARRAY:
            return variable.Get<bool>(index) ? "TRUE" : "FALSE";
        case VARIABLE_TYPE_FLOAT:
        case VARIABLE_TYPE_FLOAT_ARRAY:
            return NumberText(variable.Get<float>(index));
        case VARIABLE_TYPE_DOUBLE:
            return NumberText(variable.Get<double>(index));
        default:
            return NumberText(variable.Get<std::int32_t>(index));
    }
}

void SetElementText(host::Variable& variable, std::size_t index, const char* text) {
    switch (variable.Type()) {
        case VARIABLE_TYPE_STRING:
            variable.SetText(text);
            break;
        case VARIABLE_TYPE_BOOL:
        case VARIABLE_TYPE_BOOL_ARRAY:
            variable.Set(std::string_view(text) == "TRUE", index);
            break;
        case VARIABLE_TYPE_FLOAT:
        case VARIABLE_TYPE_FLOAT_ARRAY:
            variable.Set(std::strtof(text, nullptr), index);
            break;
        case VARIABLE_TYPE_DOUBLE:
            variable.Set(std::strtod(text, nullptr), index);
            break;
        case VARIABLE_TYPE_U8:
        case VARIABLE_TYPE_U8_ARRAY:
        case VARIABLE_TYPE_CHAR:
        case VARIABLE_TYPE_S8:
            variable.Set(static_cast<std::uint8_t>(std::strtol(text, nullptr, 10)), index);
            break;
        case VARIABLE_TYPE_U16:
        case VARIABLE_TYPE_U16_ARRAY:
        case VARIABLE_TYPE_S16:
            variable.Set(static_cast<std::uint16_t>(std::strtol(text, nullptr, 10)), index);
            break;
        default:
            variable.Set(static_cast<std::int32_t>(std::strtol(text, nullptr, 10)), index);
            break;
    }
}

}  // namespace tal::bench
