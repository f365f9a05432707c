/// Databases with random trees and values, the same on every machine for the same seed.
#ifndef TAL_TEST_GENERATED_DATABASE_H
#define TAL_TEST_GENERATED_DATABASE_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/ReferenceHost.h"

namespace tal::test {

enum class GeneratedValues {
    AnyBytes,     ///< Every bit pattern, in strings too.
    CarriedByXml  ///< Numbers that survive "%e", strings that are not empty and need no escaping.
};

/// What a generated tree may hold at most.
struct GeneratedShape {
    int regions = 3;
    int objectsPerRegion = 3;
    int variablesPerObject = 8;
    int nesting = 4;  ///< Objects inside objects inside a region's object.
    int elements = 5;
    int stringCapacity = 24;
    GeneratedValues values = GeneratedValues::CarriedByXml;
};

/// At least one region, one object and one variable; every type from U8 to OBJECT_ARRAY is as likely as any other,
/// arrays may be empty, one object in eight is read-only. All paths are different. Values are both default and content.
[[nodiscard]] std::unique_ptr<host::Database> GenerateDatabase(std::uint32_t seed, const GeneratedShape& shape = {});

/// Gives every variable that has a value a random one; the defaults stay.
void FillWithRandomValues(host::Database& database, std::uint32_t seed,
                          GeneratedValues values = GeneratedValues::CarriedByXml);

/// The bytes of every variable that has a value, by path.
using DatabaseContent = std::map<std::string, std::vector<std::uint8_t>>;
[[nodiscard]] DatabaseContent ContentOf(host::Database& database);

/// Variables that a provider which leaves read-only objects out restores: all with a value whose objects, up to the
/// region's, are writable.
[[nodiscard]] std::vector<std::string> PathsOfWritableValues(const host::Database& database);

}  // namespace tal::test

#endif
