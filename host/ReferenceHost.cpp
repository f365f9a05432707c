#include "ReferenceHost.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "TypeTable.h"

namespace tal::host {

namespace {

constexpr std::size_t kGuardSize = 16;
static_assert(kGuardSize % alignof(std::max_align_t) == 0, "the content after the guard is aligned for any type");

constexpr std::uint8_t GuardByte(std::size_t index) {
    return static_cast<std::uint8_t>(0xA5 ^ (index * 0x11));
}

void FillGuard(std::uint8_t* guard) {
    for (std::size_t i = 0; i < kGuardSize; ++i) {
        guard[i] = GuardByte(i);
    }
}

bool IsGuard(const std::uint8_t* bytes) {
    for (std::size_t i = 0; i < kGuardSize; ++i) {
        if (bytes[i] != GuardByte(i)) {
            return false;
        }
    }
    return true;
}

std::uint32_t Checked32(std::size_t value) {
    if (value > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("a variable holds less than 4 GiB");
    }
    return static_cast<std::uint32_t>(value);
}

void MakeEmpty(HostListNode& sentinel) {
    sentinel = {&sentinel, &sentinel, nullptr};
}

void LinkLast(HostListNode& sentinel, HostListNode& link, void* element) {
    auto* const last = static_cast<HostListNode*>(sentinel.previous);
    link = {&sentinel, last, element};
    last->next = &link;
    sentinel.previous = &link;
}

}  // namespace

/// Apart from the variable, since hardly any has them.
struct Variable::HeldObjects {
    std::vector<std::unique_ptr<Object>> objects;
    std::vector<CStorageObject*> pointers;  ///< The content of an object array.
};

Variable::Variable(const Database& database, const std::string& objectPath, const std::string& name, VariableType type,
                   std::uint32_t elementCount)
    : database_(database),
      path_(objectPath + "/" + name),
      pathHash_(PathTable::Hash(path_)),
      nameOffset_(Checked32(objectPath.size() + 1)),
      type_(type),
      elementCount_(elementCount) {
    if (HoldsObjects(type)) {
        held_ = std::make_unique<HeldObjects>();
        // An array without elements has an address, too.
        held_->pointers.reserve(1);
    }
}

Variable::~Variable() = default;

void Variable::HoldValue(const void* value, std::size_t sizeInBytes) {
    sizeInBytes_ = Checked32(sizeInBytes);
    storage_ = std::make_unique<std::uint8_t[]>(kGuardSize + sizeInBytes + kGuardSize + sizeInBytes);
    FillGuard(storage_.get());
    value_ = storage_.get() + kGuardSize;
    FillGuard(value_ + sizeInBytes);
    if (sizeInBytes != 0) {
        std::memcpy(storage_.get() + kGuardSize + sizeInBytes + kGuardSize, value, sizeInBytes);
    }
    SetToDefault();
}

Object& Variable::HoldObject(std::unique_ptr<Object> object) {
    held_->objects.push_back(std::move(object));
    held_->pointers.push_back(held_->objects.back()->Handle());
    elementCount_ = Checked32(held_->objects.size());
    sizeInBytes_ = Checked32(held_->objects.size() * sizeof(CStorageObject*));
    return *held_->objects.back();
}

const std::vector<std::unique_ptr<Object>>& Variable::Objects() const {
    static const std::vector<std::unique_ptr<Object>> none;
    return held_ == nullptr ? none : held_->objects;
}

void* Variable::ObjectContent() const {
    return type_ == VARIABLE_TYPE_OBJECT ? static_cast<void*>(held_->pointers.front())
                                         : static_cast<void*>(held_->pointers.data());
}

const std::uint8_t* Variable::DefaultContent() const {
    return storage_ == nullptr ? nullptr : storage_.get() + kGuardSize + sizeInBytes_ + kGuardSize;
}

bool Variable::HoldsDefault() const {
    return storage_ == nullptr || std::memcmp(Content(), DefaultContent(), sizeInBytes_) == 0;
}

void Variable::SetToDefault() {
    if (storage_ != nullptr) {
        std::memcpy(Content(), DefaultContent(), sizeInBytes_);
    }
}

void Variable::SetToZero() {
    if (storage_ != nullptr) {
        std::memset(Content(), 0, sizeInBytes_);
    }
}

std::string Variable::Text() const {
    const char* const text = reinterpret_cast<const char*>(Element(0, 0));
    return {text, strnlen(text, sizeInBytes_)};
}

Variable& Variable::SetText(std::string_view text) {
    if (text.size() >= sizeInBytes_ && !(text.empty() && sizeInBytes_ == 0)) {
        throw std::length_error(path_ + ": the text does not fit");
    }
    std::uint8_t* const content = Element(0, 0);
    std::memset(content, 0, sizeInBytes_);
    std::copy(text.begin(), text.end(), content);
    return *this;
}

std::vector<std::uint8_t> Variable::Bytes() const {
    const std::uint8_t* const content = Element(0, 0);
    return {content, content + sizeInBytes_};
}

bool Variable::GuardsIntact() const {
    if (storage_ == nullptr) {
        return std::equal(held_->objects.begin(), held_->objects.end(), held_->pointers.begin(), held_->pointers.end(),
                          [](const auto& object, const CStorageObject* pointer) { return object.get() == pointer; });
    }
    return IsGuard(storage_.get()) && IsGuard(storage_.get() + kGuardSize + sizeInBytes_);
}

std::uint8_t* Variable::Element(std::size_t index, std::size_t elementSize) const {
    if (storage_ == nullptr) {
        throw std::out_of_range(path_ + ": holds objects, not a value");
    }
    if (elementSize != 0 && index >= sizeInBytes_ / elementSize) {
        throw std::out_of_range(path_ + ": no element " + std::to_string(index) + " of " + std::to_string(elementSize) +
                                " bytes");
    }
    return storage_.get() + kGuardSize + index * elementSize;
}

Object::Object(Database& database, std::string name, std::string path)
    : database_(database), name_(std::move(name)), path_(std::move(path)) {}

Object& Object::String(const std::string& name, std::uint32_t capacityInBytes, std::string_view text) {
    if (text.size() >= capacityInBytes && !(text.empty() && capacityInBytes == 0)) {
        throw std::length_error(path_ + "/" + name + ": the text does not fit");
    }
    std::string content(text);
    content.resize(capacityInBytes);
    return AddValue(name, VARIABLE_TYPE_STRING, capacityInBytes, content.data(), content.size());
}

Object& Object::Raw(const std::string& name, VariableType type, std::uint32_t elementCount,
                    const std::vector<std::uint8_t>& bytes) {
    if (HoldsObjects(type)) {
        throw std::invalid_argument(path_ + "/" + name + ": bytes cannot stand for objects");
    }
    return AddValue(name, type, elementCount, bytes.data(), bytes.size());
}

Object& Object::AddNested(const std::string& name, const std::string& objectName) {
    return AddObjectTo(AddVariable(name, VARIABLE_TYPE_OBJECT, 1), objectName.empty() ? name : objectName);
}

Object& Object::AddToArray(const std::string& name, std::string elementName) {
    Variable* array = FindObjectArray(name);
    if (array == nullptr) {
        EmptyObjectArray(name);
        array = variables_.back().get();
    }
    return AddObjectTo(*array, std::move(elementName));
}

Object& Object::EmptyObjectArray(const std::string& name) {
    AddVariable(name, VARIABLE_TYPE_OBJECT_ARRAY, 0);
    return *this;
}

Object& Object::AddValue(const std::string& name, VariableType type, std::size_t elementCount, const void* value,
                         std::size_t sizeInBytes) {
    AddVariable(name, type, Checked32(elementCount)).HoldValue(value, sizeInBytes);
    return *this;
}

Variable& Object::AddVariable(const std::string& name, VariableType type, std::uint32_t elementCount) {
    variables_.push_back(std::unique_ptr<Variable>(new Variable(database_, path_, name, type, elementCount)));
    database_.variables_.push_back(variables_.back().get());
    return *variables_.back();
}

Variable* Object::FindObjectArray(const std::string& name) {
    const auto found = std::find_if(variables_.rbegin(), variables_.rend(), [&](const auto& variable) {
        return variable->Type() == VARIABLE_TYPE_OBJECT_ARRAY && variable->NamePointer() == name;
    });
    return found == variables_.rend() ? nullptr : found->get();
}

Object& Object::AddObjectTo(Variable& variable, std::string name) {
    std::string path = path_ + "/" + name;
    return variable.HoldObject(std::unique_ptr<Object>(new Object(database_, std::move(name), std::move(path))));
}

Region::Region(Database& database, std::string name) : database_(database), name_(std::move(name)) {
    reserved = this;
    MakeEmpty(objects);
}

Object& Region::AddObject(std::string name) {
    std::string path = name_ + "/" + name;
    objectsInOrder_.push_back(std::unique_ptr<Object>(new Object(database_, std::move(name), std::move(path))));
    Object& object = *objectsInOrder_.back();
    LinkLast(objects, object.link_, object.Handle());
    return object;
}

Database::Database() {
    MakeEmpty(regions);
}

Database::~Database() = default;

Region& Database::AddRegion(std::string name) {
    regionsInOrder_.push_back(std::unique_ptr<Region>(new Region(*this, std::move(name))));
    Region& region = *regionsInOrder_.back();
    LinkLast(regions, region.link_, region.Handle());
    return region;
}

Variable& Database::At(std::string_view path) {
    Variable* const variable = Find(path);
    if (variable == nullptr) {
        throw std::out_of_range("no variable at \"" + std::string(path) + "\"");
    }
    return *variable;
}

Variable* Database::Find(std::string_view path) {
    if (index_.VariableCount() != variables_.size()) {
        index_.Rebuild(variables_);
    }
    return index_.Find(path);
}

namespace {

void VisitVariables(const Object& object, const Database::Visitor& visit) {
    for (const auto& variable : object.Variables()) {
        visit(variable->Path(), *variable);
        for (const auto& nested : variable->Objects()) {
            VisitVariables(*nested, visit);
        }
    }
}

}  // namespace

void Database::ForEachVariable(const Visitor& visit) {
    for (const auto& region : regionsInOrder_) {
        for (const auto& object : region->Objects()) {
            VisitVariables(*object, visit);
        }
    }
}

void Database::SetAllToZero() {
    for (Variable* variable : variables_) {
        variable->SetToZero();
        variable->SetRetrieved(false);
    }
}

void Database::ResetToDefaults() {
    for (Variable* variable : variables_) {
        variable->SetToDefault();
        variable->SetRetrieved(false);
    }
}

bool Database::GuardsIntact() const {
    return std::all_of(regionsInOrder_.begin(), regionsInOrder_.end(),
                       [](const auto& region) { return region->reserved == region.get(); }) &&
           std::all_of(variables_.begin(), variables_.end(),
                       [](const Variable* variable) { return variable->GuardsIntact(); });
}

}  // namespace tal::host
