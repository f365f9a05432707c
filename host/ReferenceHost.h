/// @file
/// A host for running the storage providers: the variable database in memory, behind the contract of HostDatabase.h.
///
///     tal::host::Database database;
///     auto& radio = database.AddRegion("Config").AddObject("Radio");
///     radio.U32("Gain", 16).String("Label", 32, "north");
///     radio.AddNested("Tx").Float("Power", 1.5F);
///     provider->StoreAll(0, database.Handle(), 0);
///     database.At("Config/Radio/Tx/Power").Get<float>();
///
/// Everything is owned by the Database. References stay valid for its lifetime, whatever is added later.
#ifndef TAL_HOST_REFERENCE_HOST_H
#define TAL_HOST_REFERENCE_HOST_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Device/DeviceSupport/HostDatabase.h"
#include "PathTable.h"

// What the library sees of the host's types: two lists that it reads directly, and nothing of the others.
struct CDatabase {
    HostListNode regions;  ///< The sentinel.
};
struct CStorageRegion {
    void* reserved;        ///< Never touched by the library; points to the region itself.
    HostListNode objects;  ///< The sentinel.
};
struct CStorageObject {};
struct CVariable {};

namespace tal::host {

class Database;
class DatabaseObserver;
class Object;

/// One variable. Its value lies between two guards of 16 bytes each, see Database::GuardsIntact.
class Variable final : public CVariable {
public:
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable();

    [[nodiscard]] CVariable* Handle() { return this; }
    [[nodiscard]] std::string Name() const { return NamePointer(); }
    /// The same, NUL-terminated and valid as long as the variable.
    [[nodiscard]] const char* NamePointer() const { return path_.c_str() + nameOffset_; }
    /// Region, objects and variable, joined by '/'.
    [[nodiscard]] const std::string& Path() const { return path_; }
    [[nodiscard]] std::size_t PathHash() const { return pathHash_; }
    /// The database that it belongs to.
    [[nodiscard]] const Database& Owner() const { return database_; }
    [[nodiscard]] VariableType Type() const { return type_; }
    /// Elements of an array, capacity of a string in bytes, 1 for everything else.
    [[nodiscard]] std::uint32_t ElementCount() const { return elementCount_; }
    /// Of object variables: one pointer per object.
    [[nodiscard]] std::uint32_t SizeInBytes() const { return sizeInBytes_; }
    /// What CVariable_GetContentAddress hands out; never null.
    [[nodiscard]] void* Content() const { return value_ != nullptr ? value_ : ObjectContent(); }
    /// The `SizeInBytes()` bytes of the default; null for object variables.
    [[nodiscard]] const std::uint8_t* DefaultContent() const;

    [[nodiscard]] bool Retrieved() const { return retrieved_; }
    void SetRetrieved(bool retrieved) { retrieved_ = retrieved; }

    /// Whether the content equals the default, byte for byte. Object variables have no value and always do.
    [[nodiscard]] bool HoldsDefault() const;
    /// Object variables keep their objects in both of these.
    void SetToDefault();
    void SetToZero();

    /// The element at `index`; `bool` stands for a 32-bit word. Throws std::out_of_range beyond the content.
    template <class T>
    [[nodiscard]] T Get(std::size_t index = 0) const;
    /// Changes the content, not the default. Throws std::out_of_range beyond the content.
    template <class T>
    Variable& Set(T value, std::size_t index = 0);
    /// The content up to its first NUL, at most all of it.
    [[nodiscard]] std::string Text() const;
    /// Fills the content with the text and zero bytes. Throws std::length_error if no room is left for the NUL.
    Variable& SetText(std::string_view text);
    [[nodiscard]] std::vector<std::uint8_t> Bytes() const;

    /// The objects that an object variable holds; none for any other.
    [[nodiscard]] const std::vector<std::unique_ptr<Object>>& Objects() const;

    /// Whether nothing was written right before or after the content, or over the pointers to objects.
    [[nodiscard]] bool GuardsIntact() const;

private:
    friend class Object;

    struct HeldObjects;

    Variable(const Database& database, const std::string& objectPath, const std::string& name, VariableType type,
             std::uint32_t elementCount);
    [[nodiscard]] void* ObjectContent() const;
    void HoldValue(const void* value, std::size_t sizeInBytes);
    Object& HoldObject(std::unique_ptr<Object> object);
    /// @return the address of the element; throws std::out_of_range.
    [[nodiscard]] std::uint8_t* Element(std::size_t index, std::size_t elementSize) const;

    const Database& database_;
    std::string path_;  ///< Ends with the name.
    std::size_t pathHash_;
    std::uint32_t nameOffset_;
    VariableType type_;
    std::uint32_t elementCount_;
    std::uint32_t sizeInBytes_ = 0;
    bool retrieved_ = false;
    std::unique_ptr<std::uint8_t[]> storage_;  ///< Guard, content, guard, default.
    std::uint8_t* value_ = nullptr;            ///< The content in the storage; null for object variables.
    std::unique_ptr<HeldObjects> held_;        ///< Null for all others.
};

/// An object of a region, of an object variable or of an object array.
///
/// The functions named after types add a variable and return the object. The value is the variable's default and its
/// initial content. A name that is used twice is kept twice, and only the first is found by its path.
class Object final : public CStorageObject {
public:
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    [[nodiscard]] CStorageObject* Handle() { return this; }
    [[nodiscard]] const std::string& Name() const { return name_; }
    [[nodiscard]] const std::string& Path() const { return path_; }
    [[nodiscard]] bool Writable() const { return writable_; }
    [[nodiscard]] const std::vector<std::unique_ptr<Variable>>& Variables() const { return variables_; }

    Object& ReadOnly() {
        writable_ = false;
        return *this;
    }

    Object& U8(const std::string& name, std::uint8_t value = 0) { return Scalar(name, VARIABLE_TYPE_U8, value); }
    Object& U16(const std::string& name, std::uint16_t value = 0) { return Scalar(name, VARIABLE_TYPE_U16, value); }
    Object& U32(const std::string& name, std::uint32_t value = 0) { return Scalar(name, VARIABLE_TYPE_U32, value); }
    Object& S8(const std::string& name, std::int8_t value = 0) { return Scalar(name, VARIABLE_TYPE_S8, value); }
    Object& S16(const std::string& name, std::int16_t value = 0) { return Scalar(name, VARIABLE_TYPE_S16, value); }
    Object& S32(const std::string& name, std::int32_t value = 0) { return Scalar(name, VARIABLE_TYPE_S32, value); }
    /// `word` is stored as it is: any word but zero is true.
    Object& Bool(const std::string& name, std::uint32_t word = 0) { return Scalar(name, VARIABLE_TYPE_BOOL, word); }
    Object& Char(const std::string& name, std::uint8_t value = 0) { return Scalar(name, VARIABLE_TYPE_CHAR, value); }
    Object& Float(const std::string& name, float value = 0) { return Scalar(name, VARIABLE_TYPE_FLOAT, value); }
    Object& Double(const std::string& name, double value = 0) { return Scalar(name, VARIABLE_TYPE_DOUBLE, value); }

    Object& U8Array(const std::string& name, const std::vector<std::uint8_t>& values) {
        return Array(name, VARIABLE_TYPE_U8_ARRAY, values);
    }
    Object& U16Array(const std::string& name, const std::vector<std::uint16_t>& values) {
        return Array(name, VARIABLE_TYPE_U16_ARRAY, values);
    }
    Object& U32Array(const std::string& name, const std::vector<std::uint32_t>& values) {
        return Array(name, VARIABLE_TYPE_U32_ARRAY, values);
    }
    Object& S8Array(const std::string& name, const std::vector<std::int8_t>& values) {
        return Array(name, VARIABLE_TYPE_S8_ARRAY, values);
    }
    Object& S16Array(const std::string& name, const std::vector<std::int16_t>& values) {
        return Array(name, VARIABLE_TYPE_S16_ARRAY, values);
    }
    Object& S32Array(const std::string& name, const std::vector<std::int32_t>& values) {
        return Array(name, VARIABLE_TYPE_S32_ARRAY, values);
    }
    Object& BoolArray(const std::string& name, const std::vector<std::uint32_t>& words) {
        return Array(name, VARIABLE_TYPE_BOOL_ARRAY, words);
    }
    Object& CharArray(const std::string& name, const std::vector<std::uint8_t>& values) {
        return Array(name, VARIABLE_TYPE_CHAR_ARRAY, values);
    }
    Object& FloatArray(const std::string& name, const std::vector<float>& values) {
        return Array(name, VARIABLE_TYPE_FLOAT_ARRAY, values);
    }
    Object& DoubleArray(const std::string& name, const std::vector<double>& values) {
        return Array(name, VARIABLE_TYPE_DOUBLE_ARRAY, values);
    }

    /// `capacityInBytes` includes the NUL; a capacity of 0 takes an empty text. Throws std::length_error if the text
    /// does not fit.
    Object& String(const std::string& name, std::uint32_t capacityInBytes, std::string_view text = {});

    /// Any type code, element count and content, consistent or not. Throws std::invalid_argument for the two types
    /// that hold objects.
    Object& Raw(const std::string& name, VariableType type, std::uint32_t elementCount,
                const std::vector<std::uint8_t>& bytes);

    /// @return the nested object; it is named like the variable unless `objectName` says otherwise.
    Object& AddNested(const std::string& name, const std::string& objectName = {});
    /// Appends an object to the object array `name`, which is added if the object has none of that name.
    /// @return the element.
    Object& AddToArray(const std::string& name, std::string elementName);
    /// Adds an object array without elements.
    Object& EmptyObjectArray(const std::string& name);

private:
    friend class Region;

    Object(Database& database, std::string name, std::string path);

    template <class T>
    Object& Scalar(const std::string& name, VariableType type, T value) {
        return AddValue(name, type, 1, &value, sizeof value);
    }
    template <class T>
    Object& Array(const std::string& name, VariableType type, const std::vector<T>& values) {
        return AddValue(name, type, values.size(), values.data(), values.size() * sizeof(T));
    }
    Object& AddValue(const std::string& name, VariableType type, std::size_t elementCount, const void* value,
                     std::size_t sizeInBytes);
    Variable& AddVariable(const std::string& name, VariableType type, std::uint32_t elementCount);
    [[nodiscard]] Variable* FindObjectArray(const std::string& name);
    Object& AddObjectTo(Variable& variable, std::string name);

    Database& database_;
    std::string name_;
    std::string path_;
    bool writable_ = true;
    std::vector<std::unique_ptr<Variable>> variables_;
    HostListNode link_{};  ///< In the region's list; unused for the objects of variables.
};

/// The top level of the tree.
class Region final : public CStorageRegion {
public:
    Region(const Region&) = delete;
    Region& operator=(const Region&) = delete;

    [[nodiscard]] CStorageRegion* Handle() { return this; }
    [[nodiscard]] const std::string& Name() const { return name_; }
    [[nodiscard]] const std::vector<std::unique_ptr<Object>>& Objects() const { return objectsInOrder_; }

    Object& AddObject(std::string name);

private:
    friend class Database;

    Region(Database& database, std::string name);

    Database& database_;
    std::string name_;
    std::vector<std::unique_ptr<Object>> objectsInOrder_;
    HostListNode link_{};
};

/// The whole database.
class Database final : public CDatabase {
public:
    Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    /// What the providers take.
    [[nodiscard]] CDatabase* Handle() { return this; }
    [[nodiscard]] const std::vector<std::unique_ptr<Region>>& Regions() const { return regionsInOrder_; }

    Region& AddRegion(std::string name);

    /// Finds any variable, registered in the path table or not. Throws std::out_of_range with the path.
    [[nodiscard]] Variable& At(std::string_view path);
    /// @return null when there is no such variable.
    [[nodiscard]] Variable* Find(std::string_view path);

    using Visitor = std::function<void(const std::string& path, Variable& variable)>;
    /// Visits every variable in tree order: an object variable first, then what its objects hold.
    void ForEachVariable(const Visitor& visit);

    /// Zeroes every value and clears every retrieved mark.
    void SetAllToZero();
    /// Gives every variable its default and clears every retrieved mark.
    void ResetToDefaults();

    /// Whether nobody wrote outside the content of any variable, or changed what only the host may change.
    [[nodiscard]] bool GuardsIntact() const;

    /// What CDatabase_UpdatePathHashTable does: variables added since the last call become known to FindRegistered.
    void UpdatePathTable() { registered_.Rebuild(variables_); }
    [[nodiscard]] Variable* FindRegistered(std::string_view path) const { return registered_.Find(path); }
    /// The observer is borrowed, and sees the calls of the contract until another one, or null, takes its place.
    void SetObserver(DatabaseObserver* observer) { observer_ = observer; }
    [[nodiscard]] DatabaseObserver* Observer() const { return observer_; }

    /// Every variable in the order of adding.
    [[nodiscard]] const std::vector<Variable*>& Variables() const { return variables_; }

private:
    friend class Object;

    std::vector<std::unique_ptr<Region>> regionsInOrder_;
    std::vector<Variable*> variables_;
    PathTable registered_;
    DatabaseObserver* observer_ = nullptr;
    PathTable index_;  ///< For Find; brought up to date when variables have been added.
};

template <class T>
T Variable::Get(std::size_t index) const {
    static_assert(std::is_arithmetic_v<T>);
    if constexpr (std::is_same_v<T, bool>) {
        return Get<std::uint32_t>(index) != 0;
    } else {
        T value;
        std::memcpy(&value, Element(index, sizeof value), sizeof value);
        return value;
    }
}

template <class T>
Variable& Variable::Set(T value, std::size_t index) {
    static_assert(std::is_arithmetic_v<T>);
    if constexpr (std::is_same_v<T, bool>) {
        return Set<std::uint32_t>(value ? 1 : 0, index);
    } else {
        std::memcpy(Element(index, sizeof value), &value, sizeof value);
        return *this;
    }
}

}  // namespace tal::host

#endif
