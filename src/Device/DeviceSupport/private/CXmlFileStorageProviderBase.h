/// What both XML configurations share: the state record, the storage files, and the operations of their tables.
#ifndef TAL_PRIVATE_XML_FILE_STORAGE_PROVIDER_BASE_H
#define TAL_PRIVATE_XML_FILE_STORAGE_PROVIDER_BASE_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "Device/DeviceSupport/private/BoundedText.h"
#include "Device/DeviceSupport/private/HostAnswers.h"
#include "Device/DeviceSupport/private/StorageFile.h"
#include "Device/DeviceSupport/private/Tracing.h"

namespace tal::xml {

/// The names in the traces of both configurations; the read-only one has more of its own.
struct XmlTraces {
    static constexpr const char* kSource = "src/Device/DeviceSupport/private/CXmlFileStorageProviderBase";
    static constexpr const char* kGetInterface = "CXmlFileStorageProviderBase_GetInterface";
    static constexpr const char* kSetStorageFilenames = "CXmlFileStorageProviderBase_SetStorageFilenames";
    static constexpr const char* kInitialize = "CXmlFileStorageProviderBase_Initialize";
    static constexpr const char* kOpenFile = "CXmlFileStorageProviderBase_OpenFile";
    static constexpr const char* kCloseFile = "CXmlFileStorageProviderBase_CloseFile";
    static constexpr const char* kStoreAll = "CXmlFileStorageProviderBase_StoreAll";
    static constexpr const char* kManageStore = "CXmlFileStorageProviderBase_ManageStore";
    static constexpr const char* kStoreObject = "CXmlFileStorageProviderBase_StoreObject";
    static constexpr const char* kWriteVariable = "CXmlFileStorageProviderBase_WriteVariable";
    static constexpr const char* kRetrieveAll = "CXmlFileStorageProviderBase_RetrieveAll";
    static constexpr const char* kManageRetrieve = "CXmlFileStorageProviderBase_ManageRetrieve";
    static constexpr const char* kGetAttribute = "CXmlFileStorageProviderBase_GetAttribute";
    static constexpr const char* kStartElement = "CXmlFileStorageProviderBase_StartElement";
    static constexpr const char* kEndElement = "CXmlFileStorageProviderBase_EndElement";
    static constexpr const char* kUpdateVariable = "CXmlFileStorageProviderBase_UpdateVariable";
    static constexpr const char* kUpdateArray = "CXmlFileStorageProviderBase_UpdateArray";
    static constexpr const char* kSync = kCloseFile;
    static constexpr const char* kFileKind = "XML file";
};

constexpr std::size_t kFileSlots = 10;
/// The region and five nested objects.
constexpr std::uint32_t kPathLevels = 6;
constexpr std::size_t kPathSize = 760;
constexpr std::size_t kRegionNameSize = 40;
constexpr std::size_t kNameSize = 120;
constexpr std::size_t kTextSize = 2048;
/// Variable elements around the current one whose names are kept. The writer nests them by way of object arrays alone,
/// so that no level has more than one.
constexpr std::uint32_t kOuterVariables = 8;

/// Room for the host's list, whose size only the host knows.
struct ListStorage {
    alignas(std::max_align_t) unsigned char words[16 * sizeof(void*)];
};

/// Heads the text of an array element, which follows it in the same allocation.
struct ElementText {
    ElementText* next;
};

/// A variable element that has another one inside it.
struct OuterVariable {
    std::uint32_t isNameless;
    char name[kNameSize];
};

/// The one state of both configurations: all zero when the library is loaded, never destroyed.
struct XmlProviderState {
    CDatabase* database;      ///< Of the store or retrieve in progress.
    char* readBuffer;         ///< Holds the whole file during a retrieve; owned.
    std::uint32_t fileSize;   ///< Bytes of the file opened for reading.
    ListStorage elementList;  ///< Texts of the array being read.
    std::uint32_t retrievalError;
    std::uint32_t parseError;    ///< Part of the record, but no handler sets it.
    std::uint32_t retrieveFlag;  ///< Part of the record, but nothing reads it.
    std::uint32_t depth;         ///< Nesting level of the reader; 0 is the region.
    unsigned long channelInjector;
    std::uint32_t objectElementAt[kPathLevels];  ///< Set while directly inside an object element of that level.
    char RegionNameBuffer[kRegionNameSize];
    char ObjectNameBuffer[kNameSize];
    char VariableNameBuffer[kNameSize];
    char characterData[kTextSize];  ///< The last chunk of text.
    char typeText[50];
    char sizeText[50];
    char valueText[kTextSize];
    char pathAt[kPathLevels][kPathSize];
    FileName StorageFileTable[kFileSlots];
    FileName CurrentFileName;

    ElementText* elementTexts;  ///< The texts in elementList, from the newest one; owned.
    std::uint32_t elementTextCount;
    std::uint32_t isElementListConstructed;  ///< Whether the host's list can take items.

    // What the nesting of a document needs beside the depth.
    std::uint32_t isNamelessAt[kPathLevels];  ///< Set while pathAt of that level is no path: its element has no name.
    std::uint32_t openArraysAt[kPathLevels];
    std::uint32_t isVariableNameless;  ///< Set while VariableNameBuffer is not the name of the open variable.
    std::uint32_t openVariables;
    OuterVariable outerVariables[kOuterVariables];  ///< From the outermost one; they reuse VariableNameBuffer.
};

extern XmlProviderState state;

/// In which both the writer and the reader build a rewritten name.
extern char NameScratchBuffer[kNameSize];

/// A channel-specific part of a name: the channel number between two texts, and what stands for it without a number.
struct ChannelPattern {
    std::string_view before;
    std::string_view after;
    std::string_view placeholder;

    [[nodiscard]] ChannelText ForChannel(unsigned long channel) const { return {before, channel, after}; }
};

// ".Channel" and "channel." are different patterns on purpose: the search is case-sensitive.
constexpr ChannelPattern kRadioFramePattern = {"Rf", "", "RfX"};
constexpr ChannelPattern kUpperChannelPattern = {".Channel", "", ".ChannelX"};
constexpr ChannelPattern kLowerChannelPattern = {"channel.", ".", "channel.X."};

/// Replaces the first occurrence of the pattern with the current channel number by its placeholder.
template <std::size_t Size>
void RemoveChannel(char (&name)[Size], const ChannelPattern& pattern) {
    ReplaceFirst(name, NameScratchBuffer, pattern.ForChannel(state.channelInjector).View(), pattern.placeholder);
}

/// The printf argument for a "%ld": what a 32-bit `long` would show.
[[nodiscard]] constexpr long PrintableLong(unsigned long value) {
    return static_cast<std::int32_t>(value);
}

/// Selects the location's file into CurrentFileName and opens it. For reading, also takes its size and allocates
/// readBuffer, which is left null for a file that does not fit into memory or is larger than the largest document. The
/// caller releases it, also after a failure.
/// @return QBF_OK; QBF_E_INVALID_ARGUMENT for a bad location or mode; QBF_E_FAILED for a read-only location or a file
///         that cannot be read; QBF_E_OPEN_FAILED for one that cannot be written. `errno` is that of the failed call.
[[nodiscard]] QBFResult OpenFile(StorageLocation location, StorageOpenMode mode, std::FILE** out);

/// Flushes, syncs and closes a written file and tries to sync its directory.
/// @return QBF_OK, or QBF_E_FAILED when the file could not be closed.
[[nodiscard]] QBFResult CloseFile(std::FILE* file, StorageLocation location);

void ReleaseReadBuffer();

/// Bytes of a document, which the parser takes in one call that counts in `int`.
constexpr std::uint32_t kLargestDocument = INT_MAX;

/// Room in readBuffer after the size of the file, so that one read meets the end of the file.
constexpr std::uint32_t kReadBufferSlack = 10;

QBFResult StoreAll(StorageLocation location, CDatabase* database, unsigned long channelInjector);
QBFResult RetrieveAll(StorageLocation location, CDatabase* database, unsigned long channelInjector);

}  // namespace tal::xml

#endif
