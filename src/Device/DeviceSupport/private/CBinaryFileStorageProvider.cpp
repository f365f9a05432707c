/// The binary provider: one raw image per location, the bytes of every variable back to back in the order of the walk.
/// Nothing in the file says what it holds, so it fits only the database layout that wrote it.

#include "Device/DeviceSupport/private/CBinaryFileStorageProvider.h"

#include "Device/DeviceSupport/private/BinaryStorage.h"
#include "Device/DeviceSupport/private/StandardStreams.h"

namespace tal::binary {

namespace {

struct BinaryTraces {
    static constexpr const char* kSource = "src/Device/DeviceSupport/private/CBinaryFileStorageProvider";
    static constexpr const char* kInitialize = "CBinaryFileStorageProvider_Initialize";
    static constexpr const char* kStoreAll = "CBinaryFileStorageProvider_StoreAll";
    static constexpr const char* kRetrieveAll = "CBinaryFileStorageProvider_RetrieveAll";
    static constexpr const char* kManageStorage = "CBinaryFileStorageProvider_ManageStorage";
    static constexpr const char* kOpenFile = "CBinaryFileStorageProvider_OpenFile";
    static constexpr const char* kCloseFile = "CBinaryFileStorageProvider_CloseFile";
    static constexpr const char* kProcessObject = "CBinaryFileStorageProvider_ProcessObject";
    static constexpr const char* kPrepare = kRetrieveAll;
    static constexpr const char* kWalkRegions = kManageStorage;
};

constexpr StorageLocation kLocations[] = {0, 3, 6};
constexpr char kCalibrationFile[] = "storage_calibration_database.bin";
constexpr char kHardwareFile[] = "storage_hardware_database.bin";
constexpr char kApplicationsFile[] = "/lib/firmware/bin/ApplicationsConfiguration.bin";

LocationFiles<3> BinaryFileNameTable = FilesNamed({kCalibrationFile, kHardwareFile, kApplicationsFile});
StreamBuffer streamBuffer;
IStorageProvider providerInterface;

QBFResult OpenFile(StorageLocation location, StorageOpenMode mode, std::FILE** file) {
    const QBFResult selected = SelectFile<BinaryTraces>(BinaryFileNameTable, kLocations, location);
    if (QBF_IsFailure(selected)) {
        return selected;
    }
    const QBFResult opened = OpenNamedFile<BinaryTraces>(BinaryFileNameTable.CurrentFileName, mode, streamBuffer, file);
    if (QBF_IsFailure(opened)) {
        return opened;
    }
    DS_TRACE(BinaryTraces, kOpenFile, QBF_I_INFO, "  Binary file %s opened for storage location %d",
             BinaryFileNameTable.CurrentFileName, PrintableLocation(location));
    return QBF_OK;
}

QBFResult CloseFile(std::FILE* file, StorageLocation location) {
    const QBFResult closed = CloseNamedFile<BinaryTraces>(file, location);
    if (QBF_IsFailure(closed)) {
        return closed;
    }
    DS_TRACE(BinaryTraces, kCloseFile, QBF_I_INFO, "  Binary file closed for storage location %d",
             PrintableLocation(location));
    return QBF_OK;
}

QBFResult WriteBytes(const void* address, std::uint32_t sizeInBytes, std::FILE* file) {
    DS_TRACE(BinaryTraces, kProcessObject, QBF_I_INFO, "Writing %d bytes to storage from address 0x%x...",
             PrintableSize(sizeInBytes), PrintableAddress(address));
    const std::size_t written = std::fwrite(address, 1, sizeInBytes, file);
    if (written != sizeInBytes) {
        DS_TRACE(BinaryTraces, kProcessObject, QBF_E_IO, "Not all bytes written, attempted to write %d bytes, got %d",
                 PrintableSize(sizeInBytes), PrintableSize(written));
        return QBF_E_FAILED;
    }
    return QBF_OK;
}

QBFResult ReadBytes(CVariable* variable, void* address, std::uint32_t sizeInBytes, std::FILE* file) {
    DS_TRACE(BinaryTraces, kProcessObject, QBF_I_INFO, "Reading %d bytes from storage to address 0x%x...",
             PrintableSize(sizeInBytes), PrintableAddress(address));
    const std::size_t arrived = std::fread(address, 1, sizeInBytes, file);
    if (arrived != sizeInBytes) {
        DS_TRACE(BinaryTraces, kProcessObject, QBF_E_IO, "Not all bytes read, attempted to read %d bytes, got %d",
                 PrintableSize(sizeInBytes), PrintableSize(arrived));
        return QBF_E_FAILED;
    }
    // Without the mark the variable would get its default after all; the host's answer changes nothing here.
    static_cast<void>(CVariable_SetRetrieved(variable, 1));
    return QBF_OK;
}

QBFResult ProcessPlainVariable(CVariable* variable, StorageOpenMode mode, std::FILE* file) {
    const char* name = NameOf(variable);
    if (name == nullptr) {
        DS_TRACE(BinaryTraces, kProcessObject, QBF_E_NO_NAME, "Could not get variable name");
        return QBF_E_FAILED;
    }
    DS_TRACE(BinaryTraces, kProcessObject, QBF_I_INFO, "  Processing variable: %s", name);

    const std::uint32_t sizeInBytes = CVariable_GetSizeInBytes(variable);
    void* address = nullptr;
    if (QBF_IsFailure(GetContent(variable, true, &address))) {
        name = NameOf(variable);
        if (name == nullptr) {
            DS_TRACE(BinaryTraces, kProcessObject, QBF_E_FAILED, "Could not get address for variable");
        } else {
            DS_TRACE(BinaryTraces, kProcessObject, QBF_E_FAILED, "Could not get address for variable %s", name);
        }
        return QBF_E_FAILED;
    }

    if (mode == StorageOpenMode::Store) {
        return WriteBytes(address, sizeInBytes, file);
    }
    if (mode == StorageOpenMode::Retrieve) {
        return ReadBytes(variable, address, sizeInBytes, file);
    }
    return QBF_E_BAD_TYPE;
}

QBFResult ProcessArrayElement(CStorageObject* element, StorageOpenMode mode, std::FILE* file) {
    if (QBF_IsFailure(ProcessObject(element, mode, file))) {
        DS_TRACE(BinaryTraces, kProcessObject, QBF_E_FAILED, "Failed to process array element object");
        return QBF_E_FAILED;
    }
    return QBF_OK;
}

QBFResult ProcessVariable(CVariable* variable, StorageOpenMode mode, std::FILE* file) {
    const std::uint32_t elementCount = CVariable_GetNoOfElements(variable);
    switch (CVariable_GetType(variable)) {
        case VARIABLE_TYPE_OBJECT:
            return ProcessNestedObject<BinaryTraces>(
                variable, [=](CStorageObject* nested) { return ProcessObject(nested, mode, file); });
        case VARIABLE_TYPE_OBJECT_ARRAY:
            return ProcessObjectArray<BinaryTraces>(variable, elementCount, [=](CStorageObject* element) {
                return ProcessArrayElement(element, mode, file);
            });
        default:
            return ProcessPlainVariable(variable, mode, file);
    }
}

}  // namespace

QBFResult ProcessObject(CStorageObject* object, StorageOpenMode mode, std::FILE* file) {
    const char* const name = NameOf(object);
    if (name == nullptr) {
        DS_TRACE(BinaryTraces, kProcessObject, QBF_E_NO_NAME, "Could not get object name");
        return QBF_E_FAILED;
    }
    DS_TRACE(BinaryTraces, kProcessObject, QBF_I_INFO, "  Processing object: %s", name);
    return ProcessVariables<BinaryTraces>(object,
                                          [=](CVariable* variable) { return ProcessVariable(variable, mode, file); });
}

namespace {

QBFResult WalkDatabase(CDatabase* database, StorageOpenMode mode, std::FILE* file) {
    return ProcessRegions<BinaryTraces>(
        database,
        [](const char* regionName) {
            DS_TRACE(BinaryTraces, kManageStorage, QBF_I_INFO, "  Processing region: %s", regionName);
        },
        [=](CStorageObject* object) { return ProcessObject(object, mode, file); });
}

/// Moves the bytes of all variables between the database and the location's file. A database that is not `ready` is
/// not walked: its file is opened and closed untouched.
/// @return QBF_OK, QBF_E_NO_STORAGE_FILE when the file could not be opened, or QBF_E_FAILED.
QBFResult ManageStorage(StorageLocation location, CDatabase* database, StorageOpenMode mode, bool ready) {
    std::FILE* file = nullptr;
    const QBFResult opened = OpenFile(location, mode, &file);
    if (QBF_IsFailure(opened)) {
        DS_TRACE(BinaryTraces, kManageStorage, opened, "Could not open storage file %s",
                 BinaryFileNameTable.CurrentFileName);
        return QBF_E_NO_STORAGE_FILE;
    }

    QBFResult result = QBF_E_FAILED;
    if (ready) {
        result = WalkDatabase(database, mode, file);
    }
    if (QBF_IsFailure(CloseFile(file, location))) {
        DS_TRACE(BinaryTraces, kManageStorage, QBF_E_FAILED, "Could not close storage file");
        result = QBF_E_FAILED;
    }
    return result;
}

QBFResult Initialize(StorageLocation /*location*/) {
    // The word "File" is missing from this message alone.
    DS_TRACE(BinaryTraces, kInitialize, QBF_I_INFO, "CBinaryStorageProvider: Initializing...");
    CBinaryFileStorageProvider_SetStorageFilenames(kCalibrationFile, kHardwareFile, kApplicationsFile);
    return QBF_OK;
}

QBFResult ReserveWritableSpace(StorageLocation /*location*/, unsigned long /*size*/) {
    return QBF_W_NOT_SUPPORTED;
}

QBFResult StoreAll(StorageLocation location, CDatabase* database, unsigned long /*channelInjector*/) {
    DS_TRACE(BinaryTraces, kStoreAll, QBF_I_INFO, "CBinaryFileStorageProvider: Storing all...");
    if (database == nullptr) {
        DS_TRACE(BinaryTraces, kStoreAll, QBF_E_INVALID_ARGUMENT, "database is a nullptr");
        return QBF_E_FAILED;
    }
    const QBFResult result = ManageStorage(location, database, StorageOpenMode::Store, true);
    return QBF_IsFailure(result) ? QBF_E_FAILED : QBF_OK;
}

QBFResult RetrieveAll(StorageLocation location, CDatabase* database, unsigned long /*channelInjector*/) {
    DS_TRACE(BinaryTraces, kRetrieveAll, QBF_I_INFO, "CBinaryFileStorageProvider: Retrieving all...");
    if (database == nullptr) {
        DS_TRACE(BinaryTraces, kRetrieveAll, QBF_E_INVALID_ARGUMENT, "database is a nullptr");
        return QBF_E_FAILED;
    }
    const bool ready = PrepareDatabase<BinaryTraces>(database);
    const QBFResult result = ManageStorage(location, database, StorageOpenMode::Retrieve, ready);

    const QBFResult defaulted = CDatabase_SetNotRetrievedVariablesToDefault(database);
    if (QBF_IsFailure(defaulted)) {
        const QBFResult code = result == QBF_E_NO_STORAGE_FILE ? QBFResult{QBF_E_FAILED} : defaulted;
        DS_TRACE(BinaryTraces, kRetrieveAll, code, "Error when setting missing variables to default");
    }
    return QBF_IsFailure(result) || QBF_IsFailure(defaulted) ? QBF_E_FAILED : QBF_OK;
}

QBFResult StoreAllWritable(StorageLocation /*location*/, CVariable** /*variables*/, unsigned long /*count*/) {
    return QBF_W_NOT_SUPPORTED;
}

}  // namespace

}  // namespace tal::binary

using tal::CopyBounded;
using tal::binary::BinaryFileNameTable;

void CBinaryFileStorageProvider_SetStorageFilenames(const char* calibration, const char* hardware,
                                                    const char* applications) {
    CopyBounded(BinaryFileNameTable.names[0], calibration);
    CopyBounded(BinaryFileNameTable.names[1], hardware);
    CopyBounded(BinaryFileNameTable.names[2], applications);
}

QBFResult CBinaryFileStorageProvider_GetInterface(IStorageProvider** out) {
    tal::binary::providerInterface = {tal::binary::Initialize, tal::binary::ReserveWritableSpace, tal::binary::StoreAll,
                                      tal::binary::RetrieveAll, tal::binary::StoreAllWritable};
    *out = &tal::binary::providerInterface;
    return QBF_OK;
}
