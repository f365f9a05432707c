/// The core of the XML provider: its state, its storage files, and the read-write configuration.

#include "Device/DeviceSupport/private/CXmlFileStorageProviderBase.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "Device/DeviceSupport/private/StandardStreams.h"
#include "Device/DeviceSupport/private/XmlElementTexts.h"

namespace tal::xml {

XmlProviderState state;
char NameScratchBuffer[kNameSize];

namespace {

IStorageProvider providerInterface;

struct XmlLocation {
    StorageLocation location;
    std::size_t slot;
    bool isWritable;
};

constexpr XmlLocation kLocations[] = {{0, 0, true},  {3, 1, true},  {4, 2, true}, {5, 3, true},  {6, 4, true},
                                      {7, 5, false}, {8, 6, false}, {9, 7, true}, {10, 8, true}, {11, 9, false}};

/// The location that is read from the file of another slot whenever that file exists.
constexpr StorageLocation kLocationWithAlternative = 8;
constexpr std::size_t kAlternativeSlot = 7;

const XmlLocation* FindLocation(StorageLocation location) {
    for (const XmlLocation& candidate : kLocations) {
        if (candidate.location == location) {
            return &candidate;
        }
    }
    return nullptr;
}

void SelectAlternativeSource(StorageLocation location) {
    struct stat status = {};
    if (location != kLocationWithAlternative || stat(state.StorageFileTable[kAlternativeSlot], &status) != 0) {
        return;
    }
    DS_TRACE(XmlTraces, kOpenFile, QBF_I_INFO, "Pick up MicrowaveBoard.xml from: %s (for storage location %d)",
             state.StorageFileTable[kAlternativeSlot], PrintableLocation(location));
    CopyBounded(state.CurrentFileName, state.StorageFileTable[kAlternativeSlot]);
}

void AllocateReadBuffer(off_t toldSize) {
    const auto size = static_cast<std::uint64_t>(std::max<off_t>(toldSize, 0));
    state.fileSize = static_cast<std::uint32_t>(size);
    if (size <= kLargestDocument - kReadBufferSlack) {
        state.readBuffer = new (std::nothrow) char[std::size_t{state.fileSize} + kReadBufferSlack];
    }
}

QBFResult OpenForReading(StorageLocation location, std::FILE** out) {
    DS_TRACE(XmlTraces, kOpenFile, QBF_I_INFO, "<<<<  Reading XML file %s (for storage location %d)",
             state.CurrentFileName, PrintableLocation(location));
    SelectAlternativeSource(location);
    struct stat status = {};
    if (stat(state.CurrentFileName, &status) != 0) {
        DS_TRACE(XmlTraces, kOpenFile, QBF_E_FAILED, "Error while trying to stat file %s", state.CurrentFileName);
        return QBF_E_FAILED;
    }
    AllocateReadBuffer(status.st_size);
    *out = OpenUnbufferedStream(state.CurrentFileName, "r");
    if (*out == nullptr) {
        DS_TRACE(XmlTraces, kOpenFile, QBF_E_FAILED, "Error opening XML file");
        return QBF_E_FAILED;
    }
    return QBF_OK;
}

QBFResult OpenForWriting(const XmlLocation& location, std::FILE** out) {
    if (!location.isWritable) {
        DS_TRACE(XmlTraces, kOpenFile, QBF_E_FAILED,
                 "Attempt to open file %s for write - operation not intended for this file", state.CurrentFileName);
        return QBF_E_FAILED;
    }
    *out = OpenUnbufferedStream(state.CurrentFileName, "w+");
    if (*out == nullptr) {
        DS_TRACE(XmlTraces, kOpenFile, QBF_E_OPEN_FAILED, "Could not open storage file %s (errno is: %d)",
                 state.CurrentFileName, errno);
        return QBF_E_OPEN_FAILED;
    }
    DS_TRACE(XmlTraces, kOpenFile, QBF_I_INFO, "XML file %s opened for writing (for storage location %d)",
             state.CurrentFileName, PrintableLocation(location.location));
    return QBF_OK;
}

QBFResult Initialize(StorageLocation /*location*/) {
    state.retrievalError = 0;
    state.parseError = 0;
    RenewElementList();
    DS_TRACE(XmlTraces, kInitialize, QBF_I_INFO, "CXmlFileStorageProviderBase: Initializing...");
    return QBF_OK;
}

QBFResult ReserveWritableSpace(StorageLocation /*location*/, unsigned long /*size*/) {
    return QBF_W_NOT_SUPPORTED;
}

QBFResult StoreAllWritable(StorageLocation /*location*/, CVariable** /*variables*/, unsigned long /*count*/) {
    return QBF_W_NOT_SUPPORTED;
}

}  // namespace

QBFResult OpenFile(StorageLocation location, StorageOpenMode mode, std::FILE** out) {
    const XmlLocation* const known = FindLocation(location);
    if (known == nullptr) {
        DS_TRACE(XmlTraces, kOpenFile, QBF_E_INVALID_ARGUMENT, "Invalid storage location id: %d",
                 PrintableLocation(location));
        return QBF_E_INVALID_ARGUMENT;
    }
    CopyBounded(state.CurrentFileName, state.StorageFileTable[known->slot]);
    switch (mode) {
        case StorageOpenMode::StoreWritable:
            DS_TRACE(XmlTraces, kOpenFile, QBF_E_INVALID_ARGUMENT, "Storage operation eSTORE_WRITABLE not supported");
            return QBF_E_INVALID_ARGUMENT;
        case StorageOpenMode::Retrieve:
            return OpenForReading(location, out);
        default:
            return OpenForWriting(*known, out);
    }
}

QBFResult CloseFile(std::FILE* file, StorageLocation location) {
    // Only a failed close is reported: what a failed flush or sync has lost goes unnoticed.
    std::fflush(file);
    SyncFile<XmlTraces>(file, location);
    const QBFResult closed = CloseNamedFile<XmlTraces>(file, location);
    if (QBF_IsFailure(closed)) {
        return closed;
    }
    DS_TRACE(XmlTraces, kCloseFile, QBF_I_INFO, "XML file closed for storage location %d", PrintableLocation(location));
    SyncDirectory<XmlTraces>(location, QBF_I_INFO);
    return QBF_OK;
}

void ReleaseReadBuffer() {
    delete[] state.readBuffer;
    state.readBuffer = nullptr;
}

}  // namespace tal::xml

using tal::CopyBounded;
using tal::xml::state;
using tal::xml::XmlTraces;

QBFResult CXmlFileStorageProviderBase_GetInterface(IStorageProvider** out) {
    DS_TRACE(XmlTraces, kGetInterface, QBF_I_INFO, "Enter: %s", XmlTraces::kGetInterface);
    tal::xml::providerInterface = {tal::xml::Initialize, tal::xml::ReserveWritableSpace, tal::xml::StoreAll,
                                   tal::xml::RetrieveAll, tal::xml::StoreAllWritable};
    *out = &tal::xml::providerInterface;
    return QBF_OK;
}

void CXmlFileStorageProviderBase_SetStorageFilenames(const char* file0, const char* file1, const char* file2,
                                                     const char* file3, const char* file4, const char* file5,
                                                     const char* file6, const char* file7, const char* file8,
                                                     const char* file9) {
    DS_TRACE(XmlTraces, kSetStorageFilenames, QBF_I_INFO, "Enter: %s", XmlTraces::kSetStorageFilenames);
    const char* const names[tal::xml::kFileSlots] = {file0, file1, file2, file3, file4,
                                                     file5, file6, file7, file8, file9};
    for (std::size_t slot = 0; slot < tal::xml::kFileSlots; ++slot) {
        if (names[slot] != nullptr) {
            DS_TRACE(XmlTraces, kSetStorageFilenames, QBF_I_INFO, "Set storage: %s", names[slot]);
            CopyBounded(state.StorageFileTable[slot], names[slot]);
        }
    }
}

QBFResult CXmlFileStorageProvider_GetInterface(IStorageProvider** out) {
    // The locations 3, 4 and 5 share one document on purpose.
    CXmlFileStorageProviderBase_SetStorageFilenames(
        "storage_calibration_database.xml", "storage_hardware_database.xml", "storage_hardware_database.xml",
        "storage_hardware_database.xml", "storage_application_configuration.xml", "CommonBoard.xml",
        "MicrowaveBoard.xml", nullptr, nullptr, "/lib/firmware/bin/Drivers.xml");
    return CXmlFileStorageProviderBase_GetInterface(out);
}
