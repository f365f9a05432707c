/// The secure binary provider: one record per variable of the writable objects, with path and size, so that a file
/// can be restored into a database whose layout has changed.

#include "Device/DeviceSupport/private/CSecureBinaryFileStorageProvider.h"

#include <climits>
#include <memory>
#include <new>

#include "Device/DeviceSupport/private/SecureRecord.h"
#include "Device/DeviceSupport/private/StandardStreams.h"

namespace tal::secure {

namespace {

struct SecureTraces {
    static constexpr const char* kSource = "src/Device/DeviceSupport/private/CSecureBinaryFileStorageProvider";
    static constexpr const char* kInitialize = "CSecureBinaryFileStorageProvider_Initialize";
    static constexpr const char* kSetStorageFilenames = "CSecureBinaryFileStorageProvider_SetStorageFilenames";
    static constexpr const char* kOpenFile = "CSecureBinaryFileStorageProvider_OpenFile";
    static constexpr const char* kCloseFile = "CSecureBinaryFileStorageProvider_CloseFile";
    static constexpr const char* kStoreAll = "CSecureBinaryFileStorageProvider_StoreAll";
    static constexpr const char* kManageStore = "CSecureBinaryFileStorageProvider_ManageStore";
    static constexpr const char* kProcessObject = "CSecureBinaryFileStorageProvider_ProcessObject";
    static constexpr const char* kRetrieveAll = "CSecureBinaryFileStorageProvider_RetrieveAll";
    static constexpr const char* kManageRetrieve = "CSecureBinaryFileStorageProvider_ManageRetrieve";
    static constexpr const char* kPrepareForVariableUpdate =
        "CSecureBinaryFileStorageProvider_PrepareForVariableUpdate";
    static constexpr const char* kPrepare = kManageRetrieve;
    static constexpr const char* kWalkRegions = kManageStore;
    static constexpr const char* kSync = kManageStore;
    static constexpr const char* kFileKind = "secure binary file";
};

constexpr StorageLocation kLocations[] = {0, 1, 2, 3, 6};
constexpr char kCalibrationFile[] = "storage_calibration_database.sbin";
constexpr char kHardwareFile[] = "storage_hardware_database.sbin";
constexpr char kApplicationsFile[] = "/lib/firmware/bin/Applications.sbin";

/// The longest path that is written or accepted, without its NUL.
constexpr std::size_t kLongestPath = 510;

/// Zero when the library is loaded, never destroyed; the file names stand beside it, since they have defaults.
struct SecureProviderState {
    unsigned long ChannelNumber;
    char RegionPath[40];
    /// Grows as the walk enters objects and is never shortened when it leaves them: paths after a nested object carry
    /// its name, which the files have always had and which the look-up by path has to meet again.
    char ObjectPath[1210];
    /// One for the whole walk, so that an array inside an array's element replaces the outer one's base.
    char SavedArrayBasePath[sizeof ObjectPath];
    /// RegionPath and ObjectPath joined, for all the paths in between two changes of ObjectPath.
    char pathPrefix[sizeof RegionPath + sizeof ObjectPath];
    std::size_t pathPrefixLength;
    char VariablePath[512];
    char pathFromFile[512];
    /// In which a path with a replaced channel is built.
    char scratch[sizeof ObjectPath + 64];
};

SecureProviderState state;
IStorageProvider providerInterface;
StreamBuffer streamBuffer;

}  // namespace

SecureFiles SecureFileNameTable =
    FilesNamed({kCalibrationFile, kCalibrationFile, kCalibrationFile, kHardwareFile, kApplicationsFile});

namespace {

constexpr std::string_view kAnyChannel = "Channel.X.";
constexpr std::string_view kAnyCalibrationTab = "CalibrationTabRfX";

ChannelText OwnChannel() {
    return {"Channel.", state.ChannelNumber, "."};
}

ChannelText OwnCalibrationTab() {
    return {"CalibrationTabRf", state.ChannelNumber, ""};
}

template <std::size_t Size>
void ReplaceOwnByAnyChannel(char (&path)[Size]) {
    ReplaceFirst(path, state.scratch, OwnChannel().View(), kAnyChannel);
    ReplaceFirst(path, state.scratch, OwnCalibrationTab().View(), kAnyCalibrationTab);
}

template <std::size_t Size>
void ReplaceAnyByOwnChannel(char (&path)[Size]) {
    ReplaceFirst(path, state.scratch, kAnyChannel, OwnChannel().View());
    ReplaceFirst(path, state.scratch, kAnyCalibrationTab, OwnCalibrationTab().View());
}

void SetFilename(std::size_t slot, const char* name) {
    CopyBounded(SecureFileNameTable.names[slot], name);
    DS_TRACE(SecureTraces, kSetStorageFilenames, QBF_I_INFO, "Set storage: %s", SecureFileNameTable.names[slot]);
}

}  // namespace

QBFResult OpenFile(StorageLocation location, StorageOpenMode mode, std::FILE** out) {
    const QBFResult selected = SelectFile<SecureTraces>(SecureFileNameTable, kLocations, location);
    if (QBF_IsFailure(selected)) {
        return selected;
    }
    if (mode == StorageOpenMode::StoreWritable) {
        DS_TRACE(SecureTraces, kOpenFile, QBF_E_INVALID_ARGUMENT, "Storage operation eSTORE_WRITABLE not supported");
        return QBF_E_INVALID_ARGUMENT;
    }
    const QBFResult opened = OpenNamedFile<SecureTraces>(SecureFileNameTable.CurrentFileName, mode, streamBuffer, out);
    if (QBF_IsFailure(opened)) {
        return opened;
    }
    // The wording is the same for a file that is opened for writing.
    DS_TRACE(SecureTraces, kOpenFile, QBF_I_INFO, "  Reading Binary file %s (for storage location %d)",
             SecureFileNameTable.CurrentFileName, PrintableLocation(location));
    return QBF_OK;
}

namespace {

QBFResult CloseFile(std::FILE* file, StorageLocation location) {
    const QBFResult closed = CloseNamedFile<SecureTraces>(file, location);
    if (QBF_IsFailure(closed)) {
        return closed;
    }
    DS_TRACE(SecureTraces, kCloseFile, QBF_I_INFO, "Binary file closed for storage location %d",
             PrintableLocation(location));
    return QBF_OK;
}

/// Appends what of `part` a record's path still has room for after `end`.
/// @return the new end.
char* AppendToVariablePath(char* end, std::string_view part) {
    const std::size_t kept = std::min(part.size(), static_cast<std::size_t>(state.VariablePath + kLongestPath - end));
    std::memcpy(end, part.data(), kept);
    return end + kept;
}

void BuildPathPrefix() {
    state.pathPrefixLength = JoinPath(state.pathPrefix, state.RegionPath, state.ObjectPath).size();
}

/// "region/objects/variable", cut to what a record may hold.
std::string_view BuildVariablePath(std::string_view variable) {
    const std::string_view pathPrefix = {state.pathPrefix, state.pathPrefixLength};
    char* end = AppendToVariablePath(state.VariablePath, pathPrefix);
    end = AppendToVariablePath(end, variable);
    *end = '\0';

    const std::size_t wholeLength = pathPrefix.size() + variable.size();
    // Longer texts than printf can count are an output error to it.
    if (wholeLength > INT_MAX) {
        DS_TRACE(SecureTraces, kProcessObject, QBF_E_FAILED, "snprintf encountered an output error");
    } else if (wholeLength > kLongestPath) {
        DS_TRACE(SecureTraces, kProcessObject, QBF_W_WARNING, "snprintf string was truncated");
    }
    return {state.VariablePath, static_cast<std::size_t>(end - state.VariablePath)};
}

/// Writes header, path and data; a piece that comes up short does not keep the following ones from being written.
QBFResult WriteRecord(std::string_view path, const void* address, std::uint32_t sizeInBytes, std::FILE* file) {
    SecureHeaderBytes header;
    EncodeSecureHeader(header, static_cast<std::uint32_t>(path.size()), sizeInBytes);

    QBFResult result = QBF_OK;
    const std::size_t headerWritten = std::fwrite(header, 1, sizeof header, file);
    if (headerWritten != sizeof header) {
        DS_TRACE(SecureTraces, kProcessObject, QBF_E_IO,
                 "Not all metadata header bytes written, attempted to write %d bytes, got %d",
                 PrintableSize(sizeof header), PrintableSize(headerWritten));
        result = QBF_E_FAILED;
    }

    // With the NUL after it.
    const std::size_t pathSize = path.size() + 1;
    const std::size_t pathWritten = std::fwrite(path.data(), 1, pathSize, file);
    if (pathWritten != pathSize) {
        DS_TRACE(SecureTraces, kProcessObject, QBF_E_IO,
                 "Not all variable path bytes written, attempted to write %d bytes, got %d", PrintableSize(pathSize),
                 PrintableSize(pathWritten));
        result = QBF_E_FAILED;
    }

    DS_TRACE(SecureTraces, kProcessObject, QBF_I_INFO, "Writing %d bytes to file from address 0x%x...",
             PrintableSize(sizeInBytes), PrintableAddress(address));
    const std::size_t dataWritten = std::fwrite(address, 1, sizeInBytes, file);
    if (dataWritten != sizeInBytes) {
        DS_TRACE(SecureTraces, kProcessObject, QBF_E_IO,
                 "Not all variable data bytes written, attempted to write %d bytes, got %d", PrintableSize(sizeInBytes),
                 PrintableSize(dataWritten));
        result = QBF_E_FAILED;
    }
    return result;
}

QBFResult ProcessPlainVariable(CVariable* variable, std::FILE* file) {
    const char* const name = NameOf(variable);
    if (name == nullptr) {
        DS_TRACE(SecureTraces, kProcessObject, QBF_E_NO_NAME, "Could not get variable name");
        return QBF_E_FAILED;
    }
    const std::uint32_t sizeInBytes = CVariable_GetSizeInBytes(variable);
    void* address = nullptr;
    if (QBF_IsFailure(GetContent(variable, true, &address))) {
        DS_TRACE(SecureTraces, kProcessObject, QBF_E_FAILED, "Could not get address for variable %s", name);
        return QBF_E_FAILED;
    }
    std::string_view path = BuildVariablePath(name);
    if (state.ChannelNumber != 0) {
        ReplaceOwnByAnyChannel(state.VariablePath);
        path = state.VariablePath;
        DS_TRACE(SecureTraces, kProcessObject, QBF_I_INFO, "VariablePath after channel injection: %s",
                 state.VariablePath);
    }
    DS_TRACE(SecureTraces, kProcessObject, QBF_I_INFO, "Processing variable path: %s", state.VariablePath);
    return WriteRecord(path, address, sizeInBytes, file);
}

enum class AppendName { No, Yes };

QBFResult ProcessObject(CStorageObject* object, std::FILE* file, AppendName appendName);

/// An element stands in the path in place of its array, whose own name is in no path.
QBFResult ProcessArrayElement(CStorageObject* element, std::FILE* file) {
    CopyBounded(state.ObjectPath, state.SavedArrayBasePath);
    const char* const name = NameOf(element);
    if (name == nullptr) {
        DS_TRACE(SecureTraces, kProcessObject, QBF_E_FAILED, "Failed to get name for object array element");
        return QBF_E_FAILED;
    }
    AppendBounded(state.ObjectPath, name);
    if (QBF_IsFailure(ProcessObject(element, file, AppendName::No))) {
        DS_TRACE(SecureTraces, kProcessObject, QBF_E_FAILED, "Failed to process array element object");
        return QBF_E_FAILED;
    }
    return QBF_OK;
}

QBFResult ProcessNested(CVariable* variable, std::FILE* file) {
    return ProcessNestedObject<SecureTraces>(
        variable, [=](CStorageObject* nested) { return ProcessObject(nested, file, AppendName::Yes); });
}

QBFResult ProcessArray(CVariable* variable, std::uint32_t elementCount, const char* holderName, std::FILE* file) {
    DS_TRACE(SecureTraces, kProcessObject, QBF_I_INFO, "New object array (object name is %s)", holderName);
    CopyBounded(state.SavedArrayBasePath, state.ObjectPath);
    return ProcessObjectArray<SecureTraces>(
        variable, elementCount, [=](CStorageObject* element) { return ProcessArrayElement(element, file); });
}

[[nodiscard]] bool HoldsObjects(VariableType type) {
    return type == VARIABLE_TYPE_OBJECT || type == VARIABLE_TYPE_OBJECT_ARRAY;
}

QBFResult ProcessVariable(CVariable* variable, const char* holderName, std::FILE* file) {
    const std::uint32_t elementCount = CVariable_GetNoOfElements(variable);
    const VariableType type = CVariable_GetType(variable);
    if (!HoldsObjects(type)) {
        return ProcessPlainVariable(variable, file);
    }
    const QBFResult result = type == VARIABLE_TYPE_OBJECT ? ProcessNested(variable, file)
                                                          : ProcessArray(variable, elementCount, holderName, file);
    // The walk has changed ObjectPath.
    BuildPathPrefix();
    return result;
}

QBFResult ProcessObject(CStorageObject* object, std::FILE* file, AppendName appendName) {
    const char* const name = NameOf(object);
    if (name == nullptr) {
        DS_TRACE(SecureTraces, kProcessObject, QBF_E_NO_NAME, "Could not get object name");
        return QBF_E_FAILED;
    }
    DS_TRACE(SecureTraces, kProcessObject, QBF_I_INFO, "Processing object: %s", name);
    if (appendName == AppendName::Yes) {
        AppendBounded(state.ObjectPath, name);
    }
    AppendBounded(state.ObjectPath, "/");
    if (state.ChannelNumber != 0) {
        ReplaceOwnByAnyChannel(state.ObjectPath);
        DS_TRACE(SecureTraces, kProcessObject, QBF_I_INFO, "ObjectPath after channel injection: %s", state.ObjectPath);
    }
    if (CStorageObject_IsWritable(object) == 0) {
        return QBF_OK;
    }
    BuildPathPrefix();
    return ProcessVariables<SecureTraces>(object,
                                          [=](CVariable* variable) { return ProcessVariable(variable, name, file); });
}

void EnterRegion(const char* name) {
    DS_TRACE(SecureTraces, kManageStore, QBF_I_INFO, "Processing region: %s", name);
    CopyBounded(state.RegionPath, name);
    if (state.ChannelNumber != 0) {
        ReplaceFirst(state.RegionPath, state.scratch, OwnCalibrationTab().View(), kAnyCalibrationTab);
        DS_TRACE(SecureTraces, kManageStore, QBF_I_INFO, "RegionPath after channel injection: %s", state.RegionPath);
    }
}

QBFResult ProcessTopLevelObject(CStorageObject* object, std::FILE* file) {
    state.ObjectPath[0] = '\0';
    return ProcessObject(object, file, AppendName::Yes);
}

/// Pushes what was written to the medium. A flush that fails has lost records; the sync is a best effort, which some
/// media do not offer.
QBFResult FlushAndSync(std::FILE* file, StorageLocation location) {
    QBFResult result = QBF_OK;
    if (std::fflush(file) != 0) {
        DS_TRACE(SecureTraces, kManageStore, QBF_E_IO,
                 "Could not flush storage file for storage location %d (errno is: %d)", PrintableLocation(location),
                 errno);
        result = QBF_E_FAILED;
    }
    SyncFile<SecureTraces>(file, location);
    return result;
}

QBFResult ManageStore(StorageLocation location, CDatabase* database) {
    std::FILE* file = nullptr;
    const QBFResult opened = OpenFile(location, StorageOpenMode::Store, &file);
    if (QBF_IsFailure(opened)) {
        DS_TRACE(SecureTraces, kManageStore, opened, "Could not open storage file %s for writing",
                 SecureFileNameTable.CurrentFileName);
        return QBF_E_FAILED;
    }

    const QBFResult walked = ProcessRegions<SecureTraces>(
        database, EnterRegion, [=](CStorageObject* object) { return ProcessTopLevelObject(object, file); });
    const QBFResult flushed = FlushAndSync(file, location);
    const QBFResult closed = CloseFile(file, location);
    if (QBF_IsFailure(closed)) {
        DS_TRACE(SecureTraces, kManageStore, closed, "Could not close storage file");
    }
    DS_TRACE(SecureTraces, kManageStore, QBF_I_INFO, "Secure binary file closed for storage location %d",
             PrintableLocation(location));
    SyncDirectory<SecureTraces>(location, QBF_N_NOTICE);
    return QBF_IsFailure(walked) || QBF_IsFailure(flushed) || QBF_IsFailure(closed) ? QBF_E_FAILED : QBF_OK;
}

/// How the attempt to read a record ended.
enum class Reading {
    Whole,
    Dropped,  ///< There was no memory for it; the next record can be read.
    Ended,    ///< End of the file, or a read error, which no later read gets past.
    StartMarkerMissing,
    PathTooLong
};

/// What the database has for the path of a record.
enum class Verdict { NotRegistered, Unreachable, SizeMismatch, WithoutAddress, HoldsObjects, Fits };

struct Target {
    Verdict verdict = Verdict::NotRegistered;
    CVariable* variable = nullptr;
    void* address = nullptr;
    std::uint32_t registeredSize = 0;
};

/// A record whose path is in `pathFromFile`.
struct Record {
    std::uint32_t dataSize = 0;
    Target target;
    std::unique_ptr<std::uint8_t[]> data;  ///< Null unless the data fit their target.
};

/// Looks the path up without a word: what is wrong with a record is traced after its data, if these arrive at all.
Target FindTarget(CDatabase* database, std::uint32_t dataSize) {
    Target target;
    target.variable = FindVariable(database, state.pathFromFile);
    if (target.variable == nullptr) {
        return target;
    }
    if (QBF_IsFailure(CVariable_GetContentAddress(target.variable, &target.address))) {
        target.verdict = Verdict::Unreachable;
        return target;
    }
    target.registeredSize = CVariable_GetSizeInBytes(target.variable);
    if (dataSize != target.registeredSize) {
        target.verdict = Verdict::SizeMismatch;
    } else if (target.address == nullptr) {
        target.verdict = Verdict::WithoutAddress;
    } else {
        const bool holdsObjects = HoldsObjects(CVariable_GetType(target.variable));
        target.verdict = holdsObjects ? Verdict::HoldsObjects : Verdict::Fits;
    }
    return target;
}

/// Reads past `size` bytes, without a buffer of their size.
/// @return how many arrived.
std::size_t Skip(std::size_t size, std::FILE* file) {
    std::uint8_t scratch[512];
    std::size_t skipped = 0;
    for (std::size_t arrived = 1; skipped < size && arrived > 0; skipped += arrived) {
        arrived = std::fread(scratch, 1, std::min(size - skipped, sizeof scratch), file);
    }
    return skipped;
}

/// A size field is only a claim, so that memory is taken for data that fit a variable alone, which has as much.
Reading ReadData(Record& record, std::FILE* file) {
    const bool isWanted = record.target.verdict == Verdict::Fits;
    if (isWanted) {
        record.data.reset(new (std::nothrow) std::uint8_t[record.dataSize]);
    }
    const std::size_t arrived =
        record.data != nullptr ? std::fread(record.data.get(), 1, record.dataSize, file) : Skip(record.dataSize, file);
    if (arrived != record.dataSize) {
        DS_TRACE(SecureTraces, kManageRetrieve, QBF_E_IO, "Not all bytes read, attempted to read %d bytes, got %d",
                 PrintableSize(record.dataSize), PrintableSize(arrived));
        return Reading::Ended;
    }
    if (isWanted && record.data == nullptr) {
        DS_TRACE(SecureTraces, kManageRetrieve, QBF_E_FAILED, "Could not allocate %d bytes for variable %s",
                 PrintableSize(record.dataSize), state.pathFromFile);
        return Reading::Dropped;
    }
    return Reading::Whole;
}

/// Reads a path with its NUL into `pathFromFile`.
Reading ReadPath(std::uint32_t pathLength, std::FILE* file) {
    if (pathLength > kLongestPath) {
        return Reading::PathTooLong;
    }
    const std::size_t pathSize = pathLength + 1;
    const std::size_t arrived = std::fread(state.pathFromFile, 1, pathSize, file);
    if (arrived != pathSize) {
        DS_TRACE(SecureTraces, kManageRetrieve, QBF_E_IO,
                 "Not all variable path bytes read, attempted to read %d bytes, got %d", PrintableSize(pathSize),
                 PrintableSize(arrived));
        return Reading::Ended;
    }
    // A path that was stored without its NUL ends with the bytes of its record.
    static_assert(kLongestPath + 1 < sizeof state.pathFromFile);
    state.pathFromFile[pathSize] = '\0';
    return Reading::Whole;
}

Reading ReadHeader(SecureRecordHeader& header, std::FILE* file) {
    SecureHeaderBytes bytes;
    const std::size_t arrived = std::fread(bytes, 1, sizeof bytes, file);
    if (arrived == 0 && std::feof(file) != 0) {
        return Reading::Ended;
    }
    if (arrived != sizeof bytes) {
        DS_TRACE(SecureTraces, kManageRetrieve, QBF_E_IO,
                 "Not all meta data header bytes read, attempted to read %d bytes, got %d", PrintableSize(sizeof bytes),
                 PrintableSize(arrived));
        return Reading::Ended;
    }
    header = DecodeSecureHeader(bytes);
    return header.startMarker == kSecureStartMarker ? Reading::Whole : Reading::StartMarkerMissing;
}

/// Reads the next record, its path as it is to be looked up.
Reading ReadRecord(CDatabase* database, Record& record, std::FILE* file) {
    SecureRecordHeader header = {};
    Reading reading = ReadHeader(header, file);
    if (reading == Reading::Whole) {
        reading = ReadPath(header.pathLength, file);
    }
    if (reading != Reading::Whole) {
        return reading;
    }
    if (state.ChannelNumber != 0) {
        ReplaceAnyByOwnChannel(state.pathFromFile);
    }
    record.dataSize = header.dataSize;
    record.target = FindTarget(database, header.dataSize);
    return ReadData(record, file);
}

void TraceNotUpdated() {
    DS_TRACE(SecureTraces, kPrepareForVariableUpdate, QBF_E_IO, "Variable not updated (path %s)", state.pathFromFile);
}

void Restore(const Record& record) {
    DS_TRACE(SecureTraces, kPrepareForVariableUpdate, QBF_I_INFO,
             "Restoring variable %s: %d bytes from storage to address 0x%x...", state.pathFromFile,
             PrintableSize(record.dataSize), PrintableAddress(record.target.address));
    std::memcpy(record.target.address, record.data.get(), record.dataSize);
    static_cast<void>(CVariable_SetRetrieved(record.target.variable, 1));
}

/// Puts the data of a whole record into the variable that its path names. Whatever is wrong is traced and the record is
/// dropped; the retrieve as a whole does not fail for it.
void PrepareForVariableUpdate(const Record& record) {
    if (state.ChannelNumber != 0) {
        DS_TRACE(SecureTraces, kPrepareForVariableUpdate, QBF_I_INFO, "VariablePath after channel injection: %s",
                 state.pathFromFile);
    }
    switch (record.target.verdict) {
        case Verdict::NotRegistered:
            DS_TRACE(SecureTraces, kPrepareForVariableUpdate, QBF_N_NOTICE_2,
                     "File %s contains variable that is not registered (%s)", SecureFileNameTable.CurrentFileName,
                     state.pathFromFile);
            break;
        case Verdict::Unreachable:
            DS_TRACE(SecureTraces, kPrepareForVariableUpdate, QBF_E_FAILED, "CVariable_GetContentAddress() failed");
            TraceNotUpdated();
            break;
        case Verdict::SizeMismatch:
            DS_TRACE(SecureTraces, kPrepareForVariableUpdate, QBF_E_SIZE_MISMATCH,
                     "*ERROR* Variable not restored: size mismatch: path %s, size from file: %d, size registered: %d",
                     state.pathFromFile, PrintableSize(record.dataSize), PrintableSize(record.target.registeredSize));
            TraceNotUpdated();
            break;
        case Verdict::WithoutAddress:
            break;
        case Verdict::HoldsObjects:
            // No store writes such a record, and one from elsewhere would replace the host's own pointers.
            DS_TRACE(SecureTraces, kPrepareForVariableUpdate, QBF_E_BAD_TYPE,
                     "Variable holds objects and has no value (path %s)", state.pathFromFile);
            TraceNotUpdated();
            break;
        case Verdict::Fits:
            Restore(record);
            break;
    }
}

/// Restores record by record. @return what ended it.
Reading RestoreRecords(CDatabase* database, std::FILE* file) {
    for (;;) {
        Record record;
        const Reading reading = ReadRecord(database, record, file);
        if (reading == Reading::Whole) {
            PrepareForVariableUpdate(record);
        } else if (reading != Reading::Dropped) {
            return reading;
        }
    }
}

/// @return QBF_OK or QBF_E_FAILED, traced.
QBFResult DefaultMissingVariables(CDatabase* database, bool fileWasOpened) {
    const QBFResult defaulted = CDatabase_SetNotRetrievedVariablesToDefault(database);
    if (!QBF_IsFailure(defaulted)) {
        return QBF_OK;
    }
    const QBFResult code = fileWasOpened ? defaulted : QBFResult{QBF_E_FAILED};
    DS_TRACE(SecureTraces, kManageRetrieve, code, "Error when setting missing variables to default");
    return QBF_E_FAILED;
}

QBFResult ManageRetrieve(StorageLocation location, CDatabase* database) {
    // A database that could not be prepared is restored all the same.
    static_cast<void>(PrepareDatabase<SecureTraces>(database));

    std::FILE* file = nullptr;
    const QBFResult opened = OpenFile(location, StorageOpenMode::Retrieve, &file);
    if (QBF_IsFailure(opened)) {
        DS_TRACE(SecureTraces, kManageRetrieve, opened, "Could not open storage file %s for retrieve",
                 SecureFileNameTable.CurrentFileName);
        static_cast<void>(DefaultMissingVariables(database, false));
        return QBF_E_NO_STORAGE_FILE;
    }

    const Reading ending = RestoreRecords(database, file);
    const QBFResult closed = CloseFile(file, location);
    if (QBF_IsFailure(closed)) {
        DS_TRACE(SecureTraces, kManageRetrieve, closed, "Could not close storage file");
    }

    // Nothing is defaulted after a corrupt record: what was restored before it stays, and so does everything else.
    if (ending == Reading::StartMarkerMissing) {
        DS_TRACE(SecureTraces, kManageRetrieve, QBF_E_CORRUPT,
                 "Start marker missing, binary file %s seems to be corrupt - FATAL, aborting retrieval",
                 SecureFileNameTable.CurrentFileName);
        return QBF_E_CORRUPT;
    }
    if (ending == Reading::PathTooLong) {
        DS_TRACE(SecureTraces, kManageRetrieve, QBF_E_CORRUPT,
                 "Variable path too long, binary file %s seems to be corrupt - FATAL, aborting retrieval",
                 SecureFileNameTable.CurrentFileName);
        return QBF_E_CORRUPT;
    }
    return DefaultMissingVariables(database, true);
}

QBFResult Initialize(StorageLocation /*location*/) {
    // The word "File" is missing from this message alone.
    DS_TRACE(SecureTraces, kInitialize, QBF_I_INFO, "CSecureBinaryStorageProvider: Initializing...");
    CSecureBinaryFileStorageProvider_SetStorageFilenames(kCalibrationFile, kHardwareFile, kApplicationsFile);
    return QBF_OK;
}

QBFResult ReserveWritableSpace(StorageLocation /*location*/, unsigned long /*size*/) {
    return QBF_W_NOT_SUPPORTED;
}

QBFResult StoreAll(StorageLocation location, CDatabase* database, unsigned long /*channelInjector*/) {
    DS_TRACE(SecureTraces, kStoreAll, QBF_I_INFO, "CSecureBinaryFileStorageProvider: Storing all...");
    if (database == nullptr) {
        DS_TRACE(SecureTraces, kStoreAll, QBF_E_INVALID_ARGUMENT, "database is a nullptr");
        return QBF_E_FAILED;
    }
    return ManageStore(location, database);
}

QBFResult RetrieveAll(StorageLocation location, CDatabase* database, unsigned long /*channelInjector*/) {
    DS_TRACE(SecureTraces, kRetrieveAll, QBF_I_INFO, "CSecureBinaryFileStorageProvider: Retrieving all...");
    return QBF_IsFailure(ManageRetrieve(location, database)) ? QBF_E_FAILED : QBF_OK;
}

QBFResult StoreAllWritable(StorageLocation /*location*/, CVariable** /*variables*/, unsigned long /*count*/) {
    return QBF_W_NOT_SUPPORTED;
}

}  // namespace

}  // namespace tal::secure

void CSecureBinaryFileStorageProvider_SetStorageFilenames(const char* calibration, const char* hardware,
                                                          const char* applications) {
    using tal::secure::kCalibrationFile;
    using tal::secure::SetFilename;
    SetFilename(0, calibration);
    // The locations 1 and 2 have no argument of their own and do not follow the first one.
    SetFilename(1, kCalibrationFile);
    SetFilename(2, kCalibrationFile);
    SetFilename(3, hardware);
    SetFilename(4, applications);
}

void CSecureBinaryFileStorageProvider_SetChannelNumber(unsigned long number) {
    tal::secure::state.ChannelNumber = number;
}

QBFResult CSecureBinaryFileStorageProvider_GetInterface(IStorageProvider** out) {
    tal::secure::providerInterface = {tal::secure::Initialize, tal::secure::ReserveWritableSpace, tal::secure::StoreAll,
                                      tal::secure::RetrieveAll, tal::secure::StoreAllWritable};
    *out = &tal::secure::providerInterface;
    return QBF_OK;
}
