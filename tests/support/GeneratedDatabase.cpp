#include "support/GeneratedDatabase.h"

#include <cstring>
#include <random>

#include "TypeTable.h"

namespace tal::test {

namespace {

using host::Database;
using host::FindType;
using host::HoldsObjects;
using host::Object;
using host::Region;
using host::TypeInfo;
using host::TypeKind;
using host::Variable;

/// The row of a type that is defined.
const TypeInfo& TypeOf(VariableType code) {
    return *FindType(code);
}

/// All types, or those whose variables have a value.
std::vector<VariableType> TypesFor(bool mayHoldObjects) {
    std::vector<VariableType> types;
    for (VariableType code = 0; FindType(code) != nullptr; ++code) {
        if (mayHoldObjects || !HoldsObjects(code)) {
            types.push_back(code);
        }
    }
    return types;
}

/// The distributions of the standard library differ between implementations; the engine does not.
class Random {
public:
    explicit Random(std::uint32_t seed) : engine_(seed) {}

    /// @return a number from `first` to `last`.
    int Between(int first, int last) {
        return first + static_cast<int>(engine_() % static_cast<std::uint32_t>(last - first + 1));
    }
    bool OneIn(int count) { return Between(1, count) == 1; }
    std::uint8_t Byte() { return static_cast<std::uint8_t>(engine_()); }
    char Of(const std::string& characters) {
        return characters[static_cast<std::size_t>(Between(0, static_cast<int>(characters.size()) - 1))];
    }

private:
    std::mt19937 engine_;
};

template <class T>
void SetElement(std::vector<std::uint8_t>& bytes, std::size_t index, T value) {
    std::memcpy(bytes.data() + index * sizeof value, &value, sizeof value);
}

std::string RandomText(Random& random, std::uint32_t capacity) {
    static const std::string kCharacters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 .,:;-_/#'\"(){}";
    std::string text;
    const int length = capacity > 1 ? random.Between(1, static_cast<int>(capacity) - 1) : 0;
    for (int i = 0; i < length; ++i) {
        text += random.Of(kCharacters);
    }
    return text;
}

/// Values that come back exactly from the formats of an XML document.
void MakeCarriedByXml(Random& random, VariableType type, std::vector<std::uint8_t>& bytes) {
    const TypeInfo& row = TypeOf(type);
    if (row.kind == TypeKind::String) {
        const std::string text = RandomText(random, static_cast<std::uint32_t>(bytes.size()));
        std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
        std::copy(text.begin(), text.end(), bytes.begin());
        return;
    }
    for (std::size_t i = 0; i < bytes.size() / row.elementSize; ++i) {
        if (row.kind == TypeKind::Real) {
            // At most seven decimal digits, and exact in binary.
            const double number = random.Between(-15999, 15999) / 16.0;
            row.elementSize == sizeof number ? SetElement(bytes, i, number)
                                             : SetElement(bytes, i, static_cast<float>(number));
        } else if (row.kind == TypeKind::Bool) {
            SetElement(bytes, i, static_cast<std::uint32_t>(random.Between(0, 1)));
        } else if (type == VARIABLE_TYPE_U32_ARRAY || row.elementSize < sizeof(std::uint32_t) || !random.OneIn(4)) {
            continue;  // Any bits will do.
        } else {
            SetElement(bytes, i, random.OneIn(2) ? std::uint32_t{0x7FFFFFFF} : std::uint32_t{0x80000000});
        }
    }
}

std::vector<std::uint8_t> RandomValue(Random& random, VariableType type, std::size_t size, GeneratedValues values) {
    std::vector<std::uint8_t> bytes(size);
    for (std::uint8_t& byte : bytes) {
        byte = random.Byte();
    }
    if (values == GeneratedValues::CarriedByXml) {
        MakeCarriedByXml(random, type, bytes);
    }
    return bytes;
}

class Generator {
public:
    Generator(std::uint32_t seed, const GeneratedShape& shape) : random_(seed), shape_(shape) {}

    std::unique_ptr<Database> Generate() {
        auto database = std::make_unique<Database>();
        const int regions = random_.Between(1, shape_.regions);
        for (int i = 0; i < regions; ++i) {
            Region& region = database->AddRegion(Name());
            const int objects = random_.Between(1, shape_.objectsPerRegion);
            for (int j = 0; j < objects; ++j) {
                Fill(region.AddObject(Name()), shape_.nesting);
            }
        }
        return database;
    }

private:
    /// The number makes it different from every other one.
    std::string Name() {
        static const std::string kCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
        std::string name;
        const int length = random_.Between(1, 10);
        for (int i = 0; i < length; ++i) {
            name += random_.Of(kCharacters);
        }
        return name + std::to_string(++names_);
    }

    void Fill(Object& object, int nesting) {
        if (random_.OneIn(8)) {
            object.ReadOnly();
        }
        const int variables = random_.Between(1, shape_.variablesPerObject);
        for (int i = 0; i < variables; ++i) {
            AddVariable(object, nesting);
        }
    }

    void AddVariable(Object& object, int nesting) {
        const std::vector<VariableType>& types = nesting > 0 ? allTypes_ : typesOfValues_;
        const VariableType type =
            types[static_cast<std::size_t>(random_.Between(0, static_cast<int>(types.size()) - 1))];
        if (type == VARIABLE_TYPE_OBJECT) {
            Fill(object.AddNested(Name()), nesting - 1);
        } else if (type == VARIABLE_TYPE_OBJECT_ARRAY) {
            AddObjectArray(object, nesting);
        } else {
            AddValue(object, type);
        }
    }

    void AddObjectArray(Object& object, int nesting) {
        const std::string name = Name();
        const int elements = random_.Between(0, 3);
        if (elements == 0) {
            object.EmptyObjectArray(name);
        }
        for (int i = 0; i < elements; ++i) {
            Fill(object.AddToArray(name, Name()), nesting - 1);
        }
    }

    void AddValue(Object& object, VariableType type) {
        const TypeInfo& row = TypeOf(type);
        int elements = row.isArray ? random_.Between(0, shape_.elements) : 1;
        if (row.kind == TypeKind::String) {
            elements = random_.Between(2, shape_.stringCapacity);
        }
        const std::size_t size = static_cast<std::size_t>(elements) * row.elementSize;
        // One after the other: compilers evaluate arguments in different orders.
        const std::vector<std::uint8_t> value = RandomValue(random_, type, size, shape_.values);
        object.Raw(Name(), type, static_cast<std::uint32_t>(elements), value);
    }

    Random random_;
    GeneratedShape shape_;
    int names_ = 0;
    const std::vector<VariableType> allTypes_ = TypesFor(true);
    const std::vector<VariableType> typesOfValues_ = TypesFor(false);
};

bool HasValue(const Variable& variable) {
    return FindType(variable.Type()) != nullptr && !HoldsObjects(variable.Type());
}

void CollectWritableValues(const Object& object, std::vector<std::string>& paths) {
    if (!object.Writable()) {
        return;
    }
    for (const auto& variable : object.Variables()) {
        if (HasValue(*variable)) {
            paths.push_back(variable->Path());
        }
        for (const auto& nested : variable->Objects()) {
            CollectWritableValues(*nested, paths);
        }
    }
}

}  // namespace

std::unique_ptr<Database> GenerateDatabase(std::uint32_t seed, const GeneratedShape& shape) {
    return Generator(seed, shape).Generate();
}

void FillWithRandomValues(Database& database, std::uint32_t seed, GeneratedValues values) {
    Random random(seed);
    database.ForEachVariable([&](const std::string&, Variable& variable) {
        if (HasValue(variable) && variable.SizeInBytes() > 0) {
            const auto value = RandomValue(random, variable.Type(), variable.SizeInBytes(), values);
            std::memcpy(variable.Content(), value.data(), value.size());
        }
    });
}

DatabaseContent ContentOf(Database& database) {
    DatabaseContent content;
    database.ForEachVariable([&](const std::string& path, Variable& variable) {
        if (HasValue(variable)) {
            content[path] = variable.Bytes();
        }
    });
    return content;
}

std::vector<std::string> PathsOfWritableValues(const Database& database) {
    std::vector<std::string> paths;
    for (const auto& region : database.Regions()) {
        for (const auto& object : region->Objects()) {
            CollectWritableValues(*object, paths);
        }
    }
    return paths;
}

}  // namespace tal::test
