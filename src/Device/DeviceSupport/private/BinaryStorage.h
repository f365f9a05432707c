/// What the two binary providers do alike: selecting and opening the file of a location, preparing the database and
/// walking it. Where their texts, codes or order differ, the step stands in each provider's own file.
///
/// `Traces` are the names of the provider whose step it is, among them `kPrepare`, its operation that prepares the
/// database, and `kWalkRegions`, the one that walks the regions.
#ifndef TAL_PRIVATE_BINARY_STORAGE_H
#define TAL_PRIVATE_BINARY_STORAGE_H

#include <cerrno>
#include <cstddef>
#include <cstdio>

#include "Device/DeviceSupport/private/BoundedText.h"
#include "Device/DeviceSupport/private/HostAnswers.h"
#include "Device/DeviceSupport/private/HostWalk.h"
#include "Device/DeviceSupport/private/StorageFile.h"
#include "Device/DeviceSupport/private/Tracing.h"

namespace tal {

/// The printf argument for the "%d" of a number of bytes. One beyond 2^31 - 1 is shown as a negative number, on every
/// machine as on a 32-bit board.
[[nodiscard]] constexpr int PrintableSize(std::size_t sizeInBytes) {
    return static_cast<int>(sizeInBytes);
}

/// The printf argument for the "%x" of an address: its low 32 bits.
[[nodiscard]] inline unsigned PrintableAddress(const void* address) {
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(address));
}

/// The files of a provider: one slot per accepted location, and the name that the last operation selected.
template <std::size_t Count>
struct LocationFiles {
    FileName names[Count];
    FileName CurrentFileName;
};

/// The files that a provider has when the library is loaded. The compiler puts the names into their slots.
template <std::size_t Count>
constexpr LocationFiles<Count> FilesNamed(const char* const (&names)[Count]) {
    LocationFiles<Count> files = {};
    for (std::size_t slot = 0; slot < Count; ++slot) {
        for (std::size_t index = 0; names[slot][index] != '\0'; ++index) {
            files.names[slot][index] = names[slot][index];
        }
    }
    return files;
}

/// Makes the location's file name the current one; `locations` has the location of each slot.
/// @return QBF_OK, or QBF_E_INVALID_ARGUMENT, traced, with the current name unchanged.
template <class Traces, std::size_t Count>
QBFResult SelectFile(LocationFiles<Count>& files, const StorageLocation (&locations)[Count], StorageLocation location) {
    for (std::size_t slot = 0; slot < Count; ++slot) {
        if (locations[slot] == location) {
            CopyBounded(files.CurrentFileName, files.names[slot]);
            return QBF_OK;
        }
    }
    DS_TRACE(Traces, kOpenFile, QBF_E_INVALID_ARGUMENT, "Invalid storage location id: %d", PrintableLocation(location));
    return QBF_E_INVALID_ARGUMENT;
}

/// Opens the file, for writing (created or truncated) in every mode other than Retrieve.
/// @return QBF_OK and the stream, or QBF_E_OPEN_FAILED, traced.
template <class Traces>
QBFResult OpenNamedFile(const FileName& name, StorageOpenMode mode, StreamBuffer& buffer, std::FILE** out) {
    *out = OpenStream(name, mode == StorageOpenMode::Retrieve ? "r" : "w+", buffer);
    if (*out == nullptr) {
        DS_TRACE(Traces, kOpenFile, QBF_E_OPEN_FAILED, "Could not open file %s (errno is: %d)", name, errno);
        return QBF_E_OPEN_FAILED;
    }
    return QBF_OK;
}

/// Both steps that precede the reading are always attempted.
/// @return whether the database took both; a failure has been traced.
template <class Traces>
[[nodiscard]] bool PrepareDatabase(CDatabase* database) {
    bool ready = true;
    if (QBF_IsFailure(CDatabase_UpdatePathHashTable(database))) {
        DS_TRACE(Traces, kPrepare, QBF_E_FAILED, "Error when updating hash table in CDatabase");
        ready = false;
    }
    if (QBF_IsFailure(CDatabase_SetAsNotRetrieved(database))) {
        DS_TRACE(Traces, kPrepare, QBF_E_FAILED, "Error when setting Database as not retrieved");
        ready = false;
    }
    return ready;
}

/// Walks the database: `enterRegion(const char* name)`, then `processObject(CStorageObject*)` for each top-level object
/// of the region. Goes on after an object that failed, ends at a region without a name.
/// @return QBF_OK, or QBF_E_FAILED when anything failed.
template <class Traces, class EnterRegion, class ProcessObject>
QBFResult ProcessRegions(CDatabase* database, EnterRegion enterRegion, ProcessObject processObject) {
    QBFResult result = QBF_OK;
    ForEachRegion(database, [&](CStorageRegion* region) {
        const char* const regionName = NameOf(region);
        if (regionName == nullptr) {
            result = QBF_E_FAILED;
            DS_TRACE(Traces, kWalkRegions, QBF_E_NO_NAME, "Could not get region name");
            return Walk::Stop;
        }
        enterRegion(regionName);
        ForEachObject(region, [&](CStorageObject* object) {
            if (QBF_IsFailure(processObject(object))) {
                result = QBF_E_FAILED;
                const char* const objectName = NameOf(object);
                if (objectName == nullptr) {
                    DS_TRACE(Traces, kWalkRegions, QBF_W_WARNING, "Failed to process object");
                } else {
                    DS_TRACE(Traces, kWalkRegions, QBF_W_WARNING, "Failed to process object %s", objectName);
                }
            }
            return Walk::Continue;
        });
        return Walk::Continue;
    });
    return result;
}

/// Hands each variable of the object to `processVariable(CVariable*)` and goes on after a failure, except that
/// QBF_E_BAD_TYPE abandons the object. A step of the host that hands out no variable ends it.
/// @return QBF_OK, QBF_E_FAILED when anything failed, or QBF_E_BAD_TYPE.
template <class Traces, class ProcessVariable>
QBFResult ProcessVariables(CStorageObject* object, ProcessVariable processVariable) {
    QBFResult result = QBF_OK;
    const QBFResult started = ForEachVariable(object, [&](CVariable* variable, QBFResult status) {
        if (QBF_IsFailure(status)) {
            DS_TRACE(Traces, kProcessObject, QBF_W_WARNING, "CStorageObject_GetNextVariable() failed");
            result = QBF_E_FAILED;
            return Walk::Continue;
        }
        if (variable == nullptr) {
            DS_TRACE(Traces, kProcessObject, QBF_E_NO_NAME, "Could not get variable name");
            result = QBF_E_FAILED;
            return Walk::Stop;
        }
        const QBFResult processed = processVariable(variable);
        if (QBF_IsFailure(processed)) {
            result = processed;
        }
        return processed == QBF_E_BAD_TYPE ? Walk::Stop : Walk::Continue;
    });
    if (QBF_IsFailure(started)) {
        DS_TRACE(Traces, kProcessObject, QBF_E_FAILED, "Could not iterate variables, (QBFResult = %x)",
                 static_cast<unsigned>(started));
        result = QBF_E_FAILED;
    }
    return result;
}

/// Descends into the object that a variable holds with `processObject(CStorageObject*)`.
/// @return QBF_OK, or QBF_E_FAILED, traced.
template <class Traces, class ProcessObject>
QBFResult ProcessNestedObject(CVariable* variable, ProcessObject processObject) {
    DS_TRACE(Traces, kProcessObject, QBF_I_INFO, "New nested object");
    void* nested = nullptr;
    if (QBF_IsFailure(GetContent(variable, true, &nested))) {
        DS_TRACE(Traces, kProcessObject, QBF_E_FAILED, "CVariable_GetContentAddress() failed");
        return QBF_E_FAILED;
    }
    if (QBF_IsFailure(processObject(static_cast<CStorageObject*>(nested)))) {
        DS_TRACE(Traces, kProcessObject, QBF_E_FAILED, "Failed to process nested object");
        return QBF_E_FAILED;
    }
    return QBF_OK;
}

/// Visits the element objects of an object array of `count` elements with `processElement(CStorageObject*)`, all of
/// them also after a failure. A null array is a failure only when there are elements in it.
/// @return QBF_OK, or QBF_E_FAILED when anything failed.
template <class Traces, class ProcessElement>
QBFResult ProcessObjectArray(CVariable* variable, std::uint32_t count, ProcessElement processElement) {
    void* address = nullptr;
    if (QBF_IsFailure(GetContent(variable, count != 0, &address))) {
        DS_TRACE(Traces, kProcessObject, QBF_E_FAILED, "CVariable_GetContentAddress() failed");
        return QBF_E_FAILED;
    }
    auto* const* const elements = static_cast<CStorageObject* const*>(address);
    QBFResult result = QBF_OK;
    for (std::uint32_t index = 0; index < count; ++index) {
        if (QBF_IsFailure(processElement(elements[index]))) {
            result = QBF_E_FAILED;
        }
    }
    return result;
}

}  // namespace tal

#endif
