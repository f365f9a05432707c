#include "Device/DeviceSupport/private/ReadOnlyZorBspStorageProvider.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>

#include "Device/DeviceSupport/HwNames.h"
#include "Device/DeviceSupport/private/HostAnswers.h"
#include "Device/DeviceSupport/private/StandardStreams.h"
#include "Device/DeviceSupport/private/Tracing.h"

extern "C" {

/// The unit's hardware record. Words 1 to 8 are the board-support library's own.
struct BspHwRecord {
    std::uint32_t words[16];
};

std::uint32_t Bsp_getNumberOfChannels();
const BspHwRecord* Bsp_getZorHwVariant();
}

static_assert(sizeof(unsigned int) == sizeof(std::uint32_t), "a U32 variable is set from an unsigned int");

namespace {

struct BoardTraces {
    static constexpr const char* kSource = "src/Device/DeviceSupport/private/ReadOnlyZorBspStorageProvider";
    static constexpr const char* kUpdateVariable = "updateVariable";
    static constexpr const char* kConvertHwVariantToHwId = "convertHwVariantToHwId";
    static constexpr const char* kReserveWritableSpace = "reserveWritableSpace";
    static constexpr const char* kStoreAll = "storeAll";
    static constexpr const char* kStoreAllWritable = "storeAllWritable";
    static constexpr const char* kRetrieveAll = "retrieveAll";
};

struct HwNameEntry {
    std::int32_t value;
    std::string name;
};

/// Holds every name. Texts of one size stand in one block, without an address each for the loader to relocate.
using HwNameText = char[10];

/// Makes the rows of a table out of their texts: row i has the value i.
void BuildRows(HwNameEntry* rows, const HwNameText* texts, std::size_t count) {
    for (std::size_t index = 0; index < count; ++index) {
        rows[index].value = static_cast<std::int32_t>(index);
        rows[index].name = texts[index];
    }
}

template <std::size_t Count>
struct HwNameRecords {
    explicit HwNameRecords(const HwNameText (&texts)[Count]) { BuildRows(rows, texts, Count); }

    HwNameEntry rows[Count];
};

// The order within a table is a fixed assignment, neither alphabetical nor by family.

constexpr HwNameText kHwVariantTexts[] = {
    "QT2814",   "QT2812",   "QT2811",   "DV2851", "RB2852",   "ZOR4A",   "ZOR3001", "ZOR3002", "VKS3001",  "VKS3002",
    "QT2931_1", "QT2931_2", "QT2931_3", "QT2826", "QT2931_4", "ZOR3003", "ZOR3004", "VKS3003", "EndOfList"};

constexpr HwNameText kRadioRevisionTexts[] = {"R1_P2", "R1_P3", "R1_P4", "R1_P5",
                                              "R2_P1", "R2_P2", "XPIC",  "EndOfList"};

constexpr HwNameText kSwitchChipTexts[] = {"None", "Vsx", "BobCat2", "Cetus", "EndOfList"};

constexpr HwNameText kModemChipTexts[] = {"None",     "Corona",   "BCM85100", "BCM85110",
                                          "BCM85650", "BCM85655", "BCM85651", "EndOfList"};

constexpr HwNameText kBoardTexts[] = {"None",  "Orvik", "Tembra", "Vesk",  "Pallo", "GreyOtter", "Murino", "Ketra",
                                      "Dovi",  "Ruma",  "Selvo",  "Halvo", "Brisk", "Tamsk",     "Corvel", "Lumo",
                                      "Lumo2", "Ennet", "Rasvik", "Fjel",  "Gord",  "Wendro",    "Quill",  "EndOfList"};

constexpr HwNameText kAccessTypeTexts[] = {"None", "Pci", "Pcie", "Ethernet", "EndOfList"};

constexpr HwNameText kPtpAccessTexts[] = {"None", "Ptp", "Ethernet", "EndOfList"};

constexpr HwNameText kRadioGenerationTexts[] = {"Kv4", "Kv5", "EndOfList"};

constexpr HwNameText kUnitGenerationTexts[] = {"Rv", "Zor4", "Zor5", "EndOfList"};

constexpr HwNameText kRestartCauseTexts[] = {"Cold", "Warm", "Watchdog", "Unknown", "EndOfList"};

// They are built in this order when the library is loaded.
HwNameRecords hwVariantNames(kHwVariantTexts);
HwNameRecords radioRevisionNames(kRadioRevisionTexts);
HwNameRecords switchChipNames(kSwitchChipTexts);
HwNameRecords modemChipNames(kModemChipTexts);
HwNameRecords boardNames(kBoardTexts);
HwNameRecords accessTypeNames(kAccessTypeTexts);
HwNameRecords ptpAccessNames(kPtpAccessTexts);
HwNameRecords radioGenerationNames(kRadioGenerationTexts);
HwNameRecords unitGenerationNames(kUnitGenerationTexts);
HwNameRecords restartCauseNames(kRestartCauseTexts);

/// The real rows of a table, its sentinel left out.
struct HwNameRows {
    const HwNameEntry* first;
    const HwNameEntry* sentinel;

    [[nodiscard]] const HwNameEntry* begin() const { return first; }
    [[nodiscard]] const HwNameEntry* end() const { return sentinel; }
};

template <std::size_t Size>
constexpr HwNameRows RowsOf(const HwNameRecords<Size>& table) {
    return {table.rows, table.rows + Size - 1};
}

constexpr HwNameRows kHwNameTables[] = {
    RowsOf(hwVariantNames),      RowsOf(radioRevisionNames), RowsOf(switchChipNames), RowsOf(modemChipNames),
    RowsOf(boardNames),          RowsOf(accessTypeNames),    RowsOf(ptpAccessNames),  RowsOf(radioGenerationNames),
    RowsOf(unitGenerationNames), RowsOf(restartCauseNames),
};
static_assert(std::size(kHwNameTables) == HW_NAMES_RESTART_CAUSE + 1);

/// A database path that a retrieve sets, and what it traces when it cannot.
struct BoardVariable {
    const char* path;
    const char* failure;
};

struct BoardText {
    BoardVariable variable;
    const char* value;
};

struct BoardCode {
    BoardVariable variable;
    std::size_t word;
};

constexpr std::size_t kHwVariantWord = 0;
constexpr unsigned int kHwIdMajorValue = ('4' << 8) | 'A';
constexpr std::uint32_t kHighestHwVariant = 0xFF;  // two hexadecimal digits; has nothing to do with the named variants

constexpr BoardVariable kNumberOfChannels = {"HDBCommonBoard/Capabilities.CB.Channel1/NumberOfChannels",
                                             "Error when setting numberOfChannels"};

constexpr BoardText kBroadcomConfiguration[] = {
    {{"HDBCommonBoard/BroadcomConfiguration/BcmMedia", "Error when setting bcmMedia"}, "mii"},
    {{"HDBCommonBoard/BroadcomConfiguration/BcmAccessName", "Error when setting bcmAccessName"}, "127.0.0.1"},
    {{"HDBCommonBoard/BroadcomConfiguration/BcmResetAccessName", "Error when setting bcmResetAccessName"}, "5001"},
    {{"HDBCommonBoard/BroadcomConfiguration/BcmMessageReady", "Error when setting bcmMessageReady"},
     "BcmMessageReadyValue"},
};

constexpr BoardVariable kHwIdMajor = {"HDBCommonBoard/HardwareCodes/HwIdMajor", "Error when setting hwIdMajor"};
constexpr BoardVariable kHwIdMinor = {"HDBCommonBoard/HardwareCodes/HwIdMinor", "Error when setting hwIdMinor"};

// RAB comes after SUPP although it lies before DSP in the record.
constexpr BoardCode kHardwareCodes[] = {
    {{"HDBCommonBoard/HardwareCodes/HwCodeMcb", "Error when setting hwCodeMcb"}, 9},
    {{"HDBCommonBoard/HardwareCodes/HwCodeNab", "Error when setting hwCodeNab"}, 10},
    {{"HDBCommonBoard/HardwareCodes/HwCodeTraf", "Error when setting hwCodeTraf"}, 11},
    {{"HDBCommonBoard/HardwareCodes/HwCodeDsp", "Error when setting hwCodeDsp"}, 13},
    {{"HDBCommonBoard/HardwareCodes/HwCodeSupp", "Error when setting hwCodeSupp"}, 14},
    {{"HDBCommonBoard/HardwareCodes/HwCodeRab", "Error when setting hwCodeRab"}, 12},
    {{"HDBCommonBoard/HardwareCodes/HwCodeAux", "Error when setting hwCodeAux"}, 15},
};

constexpr unsigned int HexDigit(std::uint32_t digit) {
    return digit < 10 ? '0' + digit : 'A' + (digit - 10);
}

/// Two upper-case hexadecimal digits, the first one in the high byte.
unsigned int ConvertHwVariantToHwId(std::uint32_t hwVariant) {
    if (hwVariant > kHighestHwVariant) {
        DS_TRACE(BoardTraces, kConvertHwVariantToHwId, QBF_E_INVALID_ARGUMENT, "    hwVariant is out of bounds: 0x%x",
                 hwVariant);
        return 0;
    }
    return (HexDigit(hwVariant >> 4) << 8) + HexDigit(hwVariant & 0xF);
}

QBFResult FindVariableOfType(CDatabase* database, const char* path, VariableType requiredType, CVariable** variable) {
    *variable = tal::FindVariable(database, path);
    if (*variable == nullptr) {
        DS_TRACE(BoardTraces, kUpdateVariable, QBF_E_INVALID_ARGUMENT, "    Variable %s not registered in database",
                 path);
        return QBF_E_INVALID_ARGUMENT;
    }
    const VariableType type = CVariable_GetType(*variable);
    if (type != requiredType) {
        DS_TRACE(BoardTraces, kUpdateVariable, QBF_E_INVALID_ARGUMENT, "Unsupported variable type: %d",
                 static_cast<int>(type));
        return QBF_E_INVALID_ARGUMENT;
    }
    return QBF_OK;
}

/// A variable without elements needs no content; for any other, a null address is a failure of the host.
QBFResult FindContent(CVariable* variable, const char* path, std::uint32_t elementCount, void** address) {
    if (QBF_IsFailure(tal::GetContent(variable, elementCount != 0, address))) {
        DS_TRACE(BoardTraces, kUpdateVariable, QBF_E_BAD_TYPE, "    Something went wrong for variable %s", path);
        return QBF_E_BAD_TYPE;
    }
    return QBF_OK;
}

QBFResult SetNumber(CDatabase* database, const char* path, unsigned int value) {
    if (database == nullptr) {
        DS_TRACE(BoardTraces, kUpdateVariable, QBF_E_INVALID_ARGUMENT, "    database is a nullptr");
        return QBF_E_INVALID_ARGUMENT;
    }
    CVariable* variable = nullptr;
    const QBFResult found = FindVariableOfType(database, path, VARIABLE_TYPE_U32, &variable);
    if (QBF_IsFailure(found)) {
        return found;
    }
    void* address = nullptr;
    const QBFResult reached = FindContent(variable, path, 1, &address);
    if (QBF_IsFailure(reached)) {
        return reached;
    }
    std::memcpy(address, &value, sizeof value);
    CVariable_SetRetrieved(variable, 1);
    return QBF_OK;
}

/// Unlike the setter of numbers, this one leaves a null database to the host.
QBFResult SetText(CDatabase* database, const char* path, const char* value) {
    CVariable* variable = nullptr;
    const QBFResult found = FindVariableOfType(database, path, VARIABLE_TYPE_STRING, &variable);
    if (QBF_IsFailure(found)) {
        return found;
    }
    const std::uint32_t count = CVariable_GetNoOfElements(variable);
    void* address = nullptr;
    const QBFResult reached = FindContent(variable, path, count, &address);
    if (QBF_IsFailure(reached)) {
        return reached;
    }
    if (count != 0) {
        char* const text = static_cast<char*>(address);
        std::strncpy(text, value, count);
        text[count - 1] = '\0';
    }
    CVariable_SetRetrieved(variable, 1);
    return QBF_OK;
}

void ReportFailure(QBFResult result, const BoardVariable& variable) {
    if (QBF_IsFailure(result)) {
        DS_TRACE(BoardTraces, kRetrieveAll, QBF_E_FAILED, "%s", variable.failure);
    }
}

void SetBoardNumber(CDatabase* database, const BoardVariable& variable, unsigned int value) {
    ReportFailure(SetNumber(database, variable.path, value), variable);
}

void SetBoardText(CDatabase* database, const BoardVariable& variable, const char* value) {
    ReportFailure(SetText(database, variable.path, value), variable);
}

IStorageProvider providerInterface;

QBFResult Initialize(StorageLocation location) {
    return ReadOnlyZorBspStorageProvider::getInstance().initialize(location);
}

QBFResult ReserveWritableSpace(StorageLocation location, unsigned long size) {
    return ReadOnlyZorBspStorageProvider::getInstance().reserveWritableSpace(location, size);
}

QBFResult StoreAll(StorageLocation location, CDatabase* database, unsigned long channelInjector) {
    return ReadOnlyZorBspStorageProvider::getInstance().storeAll(location, database, channelInjector);
}

QBFResult RetrieveAll(StorageLocation location, CDatabase* database, unsigned long channelInjector) {
    return ReadOnlyZorBspStorageProvider::getInstance().retrieveAll(location, database, channelInjector);
}

QBFResult StoreAllWritable(StorageLocation location, CVariable** variables, unsigned long count) {
    return ReadOnlyZorBspStorageProvider::getInstance().storeAllWritable(location, variables, count);
}

}  // namespace

ReadOnlyZorBspStorageProvider& ReadOnlyZorBspStorageProvider::getInstance() {
    static ReadOnlyZorBspStorageProvider instance;
    return instance;
}

QBFResult ReadOnlyZorBspStorageProvider::initialize(unsigned long /*location*/) {
    return QBF_OK;
}

QBFResult ReadOnlyZorBspStorageProvider::reserveWritableSpace(unsigned long /*location*/, unsigned long /*size*/) {
    DS_TRACE(BoardTraces, kReserveWritableSpace, QBF_I_INFO, "Ignoring reserveWritableSpace operation");
    return QBF_OK;
}

QBFResult ReadOnlyZorBspStorageProvider::storeAll(unsigned long /*location*/, CDatabase* /*database*/,
                                                  unsigned long /*channelInjector*/) {
    DS_TRACE(BoardTraces, kStoreAll, QBF_I_INFO, "Ignoring storeAll operation");
    return QBF_OK;
}

QBFResult ReadOnlyZorBspStorageProvider::storeAllWritable(unsigned long /*location*/, CVariable** /*variables*/,
                                                          unsigned long /*count*/) {
    // The text of the read-only XML provider, capital letter included; the two above spell the operation as a member.
    DS_TRACE(BoardTraces, kStoreAllWritable, QBF_I_INFO, "Ignoring StoreAllWritable operation");
    return QBF_OK;
}

QBFResult ReadOnlyZorBspStorageProvider::retrieveAll(unsigned long /*location*/, CDatabase* database,
                                                     unsigned long /*channelInjector*/) {
    if (QBF_IsFailure(CDatabase_UpdatePathHashTable(database))) {
        DS_TRACE(BoardTraces, kRetrieveAll, QBF_E_FAILED, "Error when updating hash table in CDatabase");
        return QBF_E_FAILED;
    }
    if (QBF_IsFailure(CDatabase_SetAsNotRetrieved(database))) {
        DS_TRACE(BoardTraces, kRetrieveAll, QBF_E_FAILED, "Error when setting Database as not retrieved");
        return QBF_E_FAILED;
    }

    SetBoardNumber(database, kNumberOfChannels, Bsp_getNumberOfChannels());
    for (const BoardText& text : kBroadcomConfiguration) {
        SetBoardText(database, text.variable, text.value);
    }
    // The words are read one by one, each when its variable is due.
    const BspHwRecord* const record = Bsp_getZorHwVariant();
    SetBoardNumber(database, kHwIdMajor, kHwIdMajorValue);
    SetBoardNumber(database, kHwIdMinor, ConvertHwVariantToHwId(record->words[kHwVariantWord]));
    for (const BoardCode& code : kHardwareCodes) {
        SetBoardNumber(database, code.variable, record->words[code.word]);
    }

    if (QBF_IsFailure(CDatabase_SetNotRetrievedVariablesToDefault(database))) {
        DS_TRACE(BoardTraces, kRetrieveAll, QBF_E_FAILED, "Error when setting missing variables to default");
        return QBF_E_FAILED;
    }
    return QBF_OK;
}

QBFResult ReadOnlyZorBspStorageProvider::updateVariable(CDatabase* database, const std::string& path,
                                                        unsigned int value) {
    return SetNumber(database, path.c_str(), value);
}

QBFResult ReadOnlyZorBspStorageProvider::updateVariable(CDatabase* database, const std::string& path,
                                                        const char* value) {
    return SetText(database, path.c_str(), value);
}

QBFResult ReadOnlyZorBspStorageProvider::updateVariable(CDatabase* database, const std::string& path,
                                                        const std::string& value) {
    return SetText(database, path.c_str(), value.c_str());
}

QBFResult ReadOnlyZorBspStorageProvider_getInterface(IStorageProvider** out) {
    providerInterface = {Initialize, ReserveWritableSpace, StoreAll, RetrieveAll, StoreAllWritable};
    *out = &providerInterface;
    return QBF_OK;
}

const char* HwNameFromValue(HwNameTable table, std::int32_t value) {
    if (table >= std::size(kHwNameTables)) {
        return nullptr;
    }
    const HwNameRows& rows = kHwNameTables[table];
    return value >= 0 && value < rows.sentinel->value ? rows.first[value].name.c_str() : nullptr;
}

int HwNameToValue(HwNameTable table, const char* name, std::int32_t* value) {
    if (table >= std::size(kHwNameTables) || name == nullptr) {
        return 0;
    }
    for (const HwNameEntry& row : kHwNameTables[table]) {
        if (row.name == name) {
            *value = row.value;
            return 1;
        }
    }
    return 0;
}
