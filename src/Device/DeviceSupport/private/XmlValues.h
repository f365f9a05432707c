/// What the XML reader makes of the texts that it has read, by the registered type of their variable.
#ifndef TAL_PRIVATE_XML_VALUES_H
#define TAL_PRIVATE_XML_VALUES_H

#include <cstdint>

#include "Device/DeviceSupport/private/CXmlFileStorageProviderBase.h"

namespace tal::xml {

/// Converts the value or the element texts into the variable's content.
/// @param elementCount  Of an array, or the capacity of a string in bytes.
/// @return false when the variable could not be restored, which has been traced.
[[nodiscard]] bool ConvertVariable(VariableType typeCode, void* content, std::uint32_t elementCount);

/// Whether a value of the type is written to the content address, which must then not be null.
[[nodiscard]] bool WritesContent(VariableType typeCode, std::uint32_t elementCount);

}  // namespace tal::xml

#endif
