/// The texts of the array that the XML reader is reading. The host's list holds their addresses; a chain of the
/// reader's own owns them, so that none is lost when the host's list fails.
#ifndef TAL_PRIVATE_XML_ELEMENT_TEXTS_H
#define TAL_PRIVATE_XML_ELEMENT_TEXTS_H

#include <cstdint>

#include "Device/DeviceSupport/private/CXmlFileStorageProviderBase.h"

namespace tal::xml {

/// The host's list. One that has been destructed only has to be empty.
[[nodiscard]] CList* ElementList();

/// After so many steps an iteration over the host's list is given up.
[[nodiscard]] std::uint32_t MostListSteps();

/// Makes the list an empty one, after releasing the texts of an array that nobody read.
void RenewElementList();

/// Appends a copy of `text`, to a new list where there is none. A failure is traced and leaves the text out.
void AddElementText(const char* text);

/// Iterates the host's list to its end, past failures, releases the texts and destructs the list.
void EmptyElementList();

/// Releases the texts of an array that nobody read.
void ReleaseLeftElementTexts();

}  // namespace tal::xml

#endif
