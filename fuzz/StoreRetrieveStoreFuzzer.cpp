/// A database made from the input is stored, retrieved into zeroed variables and stored again: the second file equals
/// the first, for every provider, as far as its format promises it.

#include <algorithm>
#include <map>

#include "FuzzSupport.h"

namespace {

using tal::fuzz::Bytes;
using tal::fuzz::Require;
using tal::host::Database;
using tal::host::Object;
using tal::host::Variable;

/// Takes the input apart; gives zeros when it is used up.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), rest_(size) {}

    [[nodiscard]] bool IsUsedUp() const { return rest_ == 0; }

    std::uint8_t Byte() {
        if (IsUsedUp()) {
            return 0;
        }
        --rest_;
        return *data_++;
    }

    /// 0 to `limit` - 1.
    std::uint8_t Below(std::uint8_t limit) { return static_cast<std::uint8_t>(Byte() % limit); }

    Bytes Take(std::size_t count) {
        Bytes bytes(count);
        std::generate(bytes.begin(), bytes.end(), [this] { return Byte(); });
        return bytes;
    }

private:
    const std::uint8_t* data_;
    std::size_t rest_;
};

struct ValueType {
    VariableType code;
    std::uint8_t elementSize;
    bool isArray;
};

constexpr ValueType kValueTypes[] = {
    {VARIABLE_TYPE_U8, 1, false},        {VARIABLE_TYPE_U8_ARRAY, 1, true},     {VARIABLE_TYPE_U16, 2, false},
    {VARIABLE_TYPE_U16_ARRAY, 2, true},  {VARIABLE_TYPE_U32, 4, false},         {VARIABLE_TYPE_U32_ARRAY, 4, true},
    {VARIABLE_TYPE_S8, 1, false},        {VARIABLE_TYPE_S8_ARRAY, 1, true},     {VARIABLE_TYPE_S16, 2, false},
    {VARIABLE_TYPE_S16_ARRAY, 2, true},  {VARIABLE_TYPE_S32, 4, false},         {VARIABLE_TYPE_S32_ARRAY, 4, true},
    {VARIABLE_TYPE_BOOL, 4, false},      {VARIABLE_TYPE_BOOL_ARRAY, 4, true},   {VARIABLE_TYPE_CHAR, 1, false},
    {VARIABLE_TYPE_CHAR_ARRAY, 1, true}, {VARIABLE_TYPE_FLOAT, 4, false},       {VARIABLE_TYPE_FLOAT_ARRAY, 4, true},
    {VARIABLE_TYPE_DOUBLE, 8, false},    {VARIABLE_TYPE_DOUBLE_ARRAY, 8, true},
};

/// Fills a database with objects nested as deep as XML documents can restore.
class DatabaseMaker {
public:
    explicit DatabaseMaker(Input& input) : input_(input) {}

    std::unique_ptr<Database> Make() {
        auto database = std::make_unique<Database>();
        do {
            tal::host::Region& region = database->AddRegion(NewName());
            for (int objects = input_.Below(3); objects > 0; --objects) {
                Fill(region.AddObject(NewName()), 1);
            }
        } while (!input_.IsUsedUp());
        return database;
    }

private:
    static constexpr int kDeepest = 5;

    /// Names are unique, since a path that stands for two variables is restored into the first alone.
    std::string NewName() { return "n" + std::to_string(nameCount_++); }

    void Fill(Object& object, int depth) {
        if (input_.Below(8) == 0) {
            object.ReadOnly();
        }
        for (int variables = input_.Below(8); variables > 0; --variables) {
            AddVariable(object, depth);
        }
    }

    void AddVariable(Object& object, int depth) {
        const std::uint8_t choice = input_.Below(std::size(kValueTypes) + 3);
        if (choice < std::size(kValueTypes)) {
            AddValue(object, kValueTypes[choice]);
        } else if (choice == std::size(kValueTypes)) {
            AddString(object);
        } else if (depth == kDeepest) {
            return;
        } else if (choice == std::size(kValueTypes) + 1) {
            Fill(object.AddNested(NewName()), depth + 1);
        } else {
            AddObjectArray(object, depth);
        }
    }

    void AddValue(Object& object, const ValueType& type) {
        const std::uint32_t elementCount = type.isArray ? input_.Below(5) : 1;
        object.Raw(NewName(), type.code, elementCount, input_.Take(std::size_t{elementCount} * type.elementSize));
    }

    /// XML documents give back what is not empty and holds nothing that is markup or white space.
    void AddString(Object& object) {
        std::string text = "s";
        for (int letters = input_.Below(20); letters > 0; --letters) {
            text += static_cast<char>('a' + input_.Below(26));
        }
        const auto capacity = static_cast<std::uint32_t>(text.size() + 1 + input_.Below(4));
        object.String(NewName(), capacity, text);
    }

    void AddObjectArray(Object& object, int depth) {
        const std::string name = NewName();
        object.EmptyObjectArray(name);
        for (int elements = input_.Below(3); elements > 0; --elements) {
            Fill(object.AddToArray(name, NewName()), depth + 1);
        }
    }

    Input& input_;
    unsigned nameCount_ = 0;
};

/// Makes every value differ from its default.
void Alter(Database& database) {
    for (const Variable* variable : database.Variables()) {
        auto* const content = static_cast<std::uint8_t*>(variable->Content());
        if (variable->Type() == VARIABLE_TYPE_STRING) {
            content[0] = 'S';
        } else if (variable->DefaultContent() != nullptr) {
            std::for_each(content, content + variable->SizeInBytes(), [](std::uint8_t& byte) { byte ^= 0x55; });
        }
    }
}

/// By address: nothing is added to the database any more.
using Contents = std::map<const Variable*, Bytes>;

Contents ContentsOf(const Database& database) {
    Contents contents;
    for (const Variable* variable : database.Variables()) {
        if (variable->DefaultContent() != nullptr) {
            contents[variable] = variable->Bytes();
        }
    }
    return contents;
}

Bytes Store(IStorageProvider& provider, Database& database) {
    Require(provider.StoreAll(0, database.Handle(), 0) == QBF_OK, "the store succeeds");
    return tal::fuzz::ReadStorageFile();
}

void RetrieveIntoZeros(IStorageProvider& provider, Database& database) {
    database.SetAllToZero();
    Require(provider.RetrieveAll(0, database.Handle(), 0) == QBF_OK, "the retrieve succeeds");
    Require(database.GuardsIntact(), "nothing is written beside a variable");
}

void CheckXml(Database& database) {
    IStorageProvider& provider = tal::fuzz::XmlProvider();
    const Bytes first = Store(provider, database);
    RetrieveIntoZeros(provider, database);
    Require(Store(provider, database) == first, "a second XML document equals the first");
}

void CheckBinary(Database& database) {
    IStorageProvider& provider = tal::fuzz::BinaryProvider();
    const Contents contents = ContentsOf(database);
    const Bytes first = Store(provider, database);
    RetrieveIntoZeros(provider, database);
    Require(ContentsOf(database) == contents, "a binary file restores every byte");
    Require(Store(provider, database) == first, "a second binary file equals the first");
}

/// A variable after a nested object is stored under a path that the database does not know, and so gets its default.
void CheckSecure(Database& database) {
    IStorageProvider& provider = tal::fuzz::SecureProvider();
    Contents contents = ContentsOf(database);
    Store(provider, database);
    RetrieveIntoZeros(provider, database);
    for (const Variable* variable : database.Variables()) {
        if (variable->DefaultContent() != nullptr && variable->Retrieved()) {
            Require(variable->Bytes() == contents[variable], "a secure file restores what it knows byte for byte");
        } else {
            Require(variable->HoldsDefault(), "what a secure file does not know has its default");
        }
    }
    const Bytes first = Store(provider, database);
    RetrieveIntoZeros(provider, database);
    Require(Store(provider, database) == first, "a third secure file equals the second");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto database = DatabaseMaker(input).Make();
    for (const auto check : {CheckBinary, CheckXml, CheckSecure}) {
        database->ResetToDefaults();
        Alter(*database);
        check(*database);
    }
    return 0;
}
