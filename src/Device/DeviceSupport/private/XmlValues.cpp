#include "Device/DeviceSupport/private/XmlValues.h"

#include <algorithm>
#include <cstring>

#include "Device/DeviceSupport/private/TextConversion.h"
#include "Device/DeviceSupport/private/VariableTypes.h"
#include "Device/DeviceSupport/private/XmlElementTexts.h"

namespace tal::xml {

namespace {

template <class Number>
void Store(void* content, std::uint32_t index, Number number) {
    std::memcpy(static_cast<unsigned char*>(content) + std::size_t{index} * sizeof number, &number, sizeof number);
}

/// Stores the low bytes of `number`.
void StoreInteger(std::uint8_t width, void* content, std::uint32_t index, std::uint32_t number) {
    switch (width) {
        case 1:
            Store(content, index, static_cast<std::uint8_t>(number));
            break;
        case 2:
            Store(content, index, static_cast<std::uint16_t>(number));
            break;
        default:
            Store(content, index, number);
            break;
    }
}

std::uint8_t CharacterOf(std::uint32_t code) {
    constexpr std::uint32_t kLargestCode = 255;
    return static_cast<std::uint8_t>(std::min(code, kLargestCode));
}

/// @return false when the text is neither "TRUE" nor "FALSE".
bool StoreBool(std::string_view text, void* content, std::uint32_t index) {
    const bool isTrue = text == "TRUE";
    if (!isTrue && text != "FALSE") {
        return false;
    }
    Store(content, index, std::uint32_t{isTrue ? 1U : 0U});
    return true;
}

void StoreReal(std::uint8_t width, const char* text, void* content, std::uint32_t index) {
    if (width == sizeof(double)) {
        Store(content, index, ParseDouble(text));
        return;
    }
    float value = 0;
    if (ScanFloat(text, value)) {
        Store(content, index, value);
    }
}

/// The first word of the text, as `sscanf` with "%s" finds it.
std::string_view FirstWord(std::string_view text) {
    constexpr std::string_view kSpaces = " \t\n\v\f\r";
    text.remove_prefix(std::min(text.find_first_not_of(kSpaces), text.size()));
    return text.substr(0, text.find_first_of(kSpaces));
}

/// @return false when the text does not fit the array's type.
bool ConvertElement(const VariableTypeInfo& type, const char* text, void* content, std::uint32_t index) {
    // Unlike the scalar of the type, these two arrays are read with an unsigned conversion.
    const bool isScannedUnsigned =
        type.kind == ElementKind::Char || (type.kind == ElementKind::Unsigned && type.width == sizeof(std::uint32_t));
    if (isScannedUnsigned) {
        std::uint32_t number = 0;
        if (ScanUnsigned(text, number)) {
            StoreInteger(type.width, content, index, type.kind == ElementKind::Char ? CharacterOf(number) : number);
        }
        return true;
    }
    if (type.kind == ElementKind::Bool) {
        return StoreBool(FirstWord(text), content, index);
    }
    if (type.kind == ElementKind::Float) {
        StoreReal(type.width, text, content, index);
        return true;
    }
    StoreInteger(type.width, content, index, static_cast<std::uint32_t>(ParseSigned(text)));
    return true;
}

/// Converts the element texts into the first `count` elements; a shorter list leaves the others unchanged.
[[nodiscard]] QBFResult UpdateArray(const VariableTypeInfo& type, void* content, std::uint32_t count) {
    HostIterator position = nullptr;
    QBFResult status = CList_StartIterationFromHead(ElementList(), &position);
    if (static_cast<std::uint32_t>(status) == QBF_E_NO_NAME) {
        DS_TRACE(XmlTraces, kUpdateArray, QBF_W_WARNING, "Array is empty");
        return QBF_W_WARNING;
    }
    if (QBF_IsFailure(status)) {
        DS_TRACE(XmlTraces, kUpdateArray, QBF_E_FAILED, "Could not iterate array element list");
        return QBF_E_FAILED;
    }
    for (std::uint32_t index = 0; static_cast<std::uint32_t>(status) != QBF_W_END_OF_LIST; ++index) {
        void* text = nullptr;
        // A list that hands out more than it was given need not end.
        if (index < MostListSteps()) {
            status = CList_GetNext(ElementList(), &text, &position);
        }
        if (QBF_IsFailure(status) || text == nullptr) {
            DS_TRACE(XmlTraces, kUpdateArray, QBF_E_FAILED, "Could not iterate array element list");
            return QBF_E_FAILED;
        }
        if (index < count && !ConvertElement(type, static_cast<const char*>(text), content, index)) {
            DS_TRACE(XmlTraces, kUpdateArray, QBF_E_BAD_TYPE, "Variable type is not array");
            return QBF_E_BAD_TYPE;
        }
    }
    return QBF_OK;
}

/// Copies with padding up to the string's capacity, its last byte always NUL.
void StoreString(const char* text, void* content, std::uint32_t capacity) {
    if (capacity == 0) {
        return;
    }
    char* const destination = static_cast<char*>(content);
    std::strncpy(destination, text, capacity);
    destination[capacity - 1] = '\0';
}

/// @return false when the text is not a value of the type.
bool ConvertScalar(const VariableTypeInfo& type, void* content, std::uint32_t capacity) {
    switch (type.kind) {
        case ElementKind::Bool:
            if (!StoreBool(state.valueText, content, 0)) {
                DS_TRACE(XmlTraces, kUpdateVariable, QBF_E_FAILED, "Wrong BOOL value: %s, expected TRUE or FALSE",
                         state.valueText);
                return false;
            }
            return true;
        case ElementKind::Char:
            Store(content, 0, CharacterOf(static_cast<std::uint32_t>(ParseSigned(state.valueText))));
            return true;
        case ElementKind::String:
            StoreString(state.valueText, content, capacity);
            return true;
        case ElementKind::Float:
            StoreReal(type.width, state.valueText, content, 0);
            return true;
        default:
            // Also for the unsigned 32-bit type: 4294967295 is restored as 2147483647, as only arrays keep it.
            StoreInteger(type.width, content, 0, static_cast<std::uint32_t>(ParseSigned(state.valueText)));
            return true;
    }
}

}  // namespace

bool ConvertVariable(VariableType typeCode, void* content, std::uint32_t elementCount) {
    const VariableTypeInfo* const type = FindVariableType(typeCode);
    if (type == nullptr || typeCode == VARIABLE_TYPE_OBJECT) {
        DS_TRACE(XmlTraces, kUpdateVariable, QBF_E_BAD_TYPE, "Unsupported variable type: %d",
                 static_cast<int>(typeCode));
        return false;
    }
    if (typeCode == VARIABLE_TYPE_OBJECT_ARRAY) {
        return true;
    }
    if (!type->isArray) {
        return ConvertScalar(*type, content, elementCount);
    }
    if (QBF_IsFailure(UpdateArray(*type, content, elementCount))) {
        DS_TRACE(XmlTraces, kUpdateVariable, QBF_E_FAILED, "Failed to retrieve array");
        return false;
    }
    return true;
}

bool WritesContent(VariableType typeCode, std::uint32_t elementCount) {
    const VariableTypeInfo* const type = FindVariableType(typeCode);
    if (type == nullptr || type->kind == ElementKind::Object) {
        return false;
    }
    return elementCount > 0 || !(type->isArray || type->kind == ElementKind::String);
}

}  // namespace tal::xml
