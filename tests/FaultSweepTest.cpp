/// Every provider, every operation that does work, every kind of fault, one fault at a time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "host/ReferenceHost.h"
#include "support/AllocationFaults.h"
#include "support/BoardVariables.h"
#include "support/CLibraryFaults.h"
#include "support/FileProviders.h"
#include "support/Files.h"
#include "support/GeneratedDatabase.h"
#include "support/HostCalls.h"
#include "support/PlayedBoard.h"
#include "support/Sweep.h"
#include "support/TraceRecorder.h"

namespace {

using tal::host::Database;
using tal::host::Object;
using tal::test::AllocationFaults;
using tal::test::CLibraryFaults;
using tal::test::ContentOf;
using tal::test::DatabaseContent;
using tal::test::FileProvider;
using tal::test::HostCalls;
using tal::test::SweepFaults;

constexpr StorageLocation kCalibration = 0;

/// It has no file.
constexpr FileProvider kBoard = {"Board", ReadOnlyZorBspStorageProvider_getInterface, nullptr, nullptr};

void AddEveryType(Object& object) {
    object.U8("U8", 200).U16("U16", 60000).U32("U32", 4000000000U);
    object.S8("S8", -100).S16("S16", -30000).S32("S32", -2000000000);
    object.Bool("Bool", 1).Char("Char", 'c').Float("Float", 1.5F).Double("Double", -2.5).String("String", 8, "text");
    object.U8Array("U8s", {1, 255}).U16Array("U16s", {1, 65535}).U32Array("U32s", {1, 4294967295U});
    object.S8Array("S8s", {-1, 1}).S16Array("S16s", {-1, 1}).S32Array("S32s", {-1, 1});
    object.BoolArray("Bools", {0, 1}).CharArray("Chars", {'a', 0}).FloatArray("Floats", {0.5F, -1.0F});
    object.DoubleArray("Doubles", {0.25, -4.0});
}

/// Every type, nested objects and object arrays in one another, and what the board-support provider fills.
std::unique_ptr<Database> BuildDatabase() {
    auto database = std::make_unique<Database>();
    Object& object = database->AddRegion("Config").AddObject("Radio");
    AddEveryType(object);
    object.AddNested("Tx").U8("Power", 7).AddNested("Filter").U16("Width", 40);
    Object& lane = object.AddToArray("Lanes", "Lane0").U8("Delay", 1);
    lane.AddToArray("Taps", "Tap0").S16("Weight", -5);
    object.AddToArray("Lanes", "Lane1").U8("Delay", 2);
    object.EmptyObjectArray("Spares");
    tal::test::AddBoardVariables(*database);
    return database;
}

/// How an operation ends when one call fails, and what it reports then. Several outcomes of one call depend on where
/// the walk stands.
struct Outcome {
    std::string_view call;  ///< How the call begins.
    QBFResult result;
    std::string_view report;  ///< How the trace line begins; empty: nothing that a clean run does not report as well.
};

struct Operation {
    const char* name;
    FileProvider files;
    bool stores;
    std::vector<Outcome> hostCalls;
    std::vector<Outcome> emptyHandedHostCalls;  ///< That answer a success and hand nothing out.
    std::vector<Outcome> fileCalls;
    std::vector<Outcome> allocations;
};

void PrintTo(const Operation& operation, std::ostream* stream) {
    *stream << operation.name;
}

const Operation kOperations[] = {
    {"XmlStore",
     tal::test::kXmlFiles,
     true,
     {{"CStorageRegion_GetName", QBF_E_FAILED,
       "0x8004 CXmlFileStorageProviderBase_ManageStore: Could not get region name"},
      {"CStorageObject_GetName", QBF_E_FAILED,
       "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get object name"},
      {"CStorageObject_GetVariableIterator", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_StoreObject: Could not iterate variables, (QBFResult = 8003)"},
      {"CStorageObject_GetNextVariable", QBF_E_FAILED,
       "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"},
      {"CVariable_GetName", QBF_E_FAILED,
       "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8003 CXmlFileStorageProviderBase_WriteVariable: Could not get content address"},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_StoreObject: CVariable_GetContentAddress() failed"},
      // What fails inside an element of an object array is reported and does not count.
      {"CStorageObject_GetName", QBF_OK, "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get object name"},
      {"CStorageObject_GetVariableIterator", QBF_OK,
       "0x8000 CXmlFileStorageProviderBase_StoreObject: Could not iterate variables, (QBFResult = 8003)"},
      {"CStorageObject_GetNextVariable", QBF_OK,
       "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"},
      {"CVariable_GetName", QBF_OK, "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"},
      {"CVariable_GetContentAddress", QBF_OK,
       "0x8003 CXmlFileStorageProviderBase_WriteVariable: Could not get content address"}},
     {{"CStorageRegion_GetName", QBF_E_FAILED,
       "0x8004 CXmlFileStorageProviderBase_ManageStore: Could not get region name"},
      {"CStorageObject_GetName", QBF_E_FAILED,
       "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get object name"},
      {"CStorageObject_GetName", QBF_OK, "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get object name"},
      {"CStorageObject_GetVariableIterator", QBF_E_FAILED,
       "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"},
      {"CStorageObject_GetVariableIterator", QBF_OK,
       "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"},
      {"CStorageObject_GetNextVariable", QBF_E_FAILED,
       "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"},
      {"CStorageObject_GetNextVariable", QBF_OK,
       "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"},
      {"CVariable_GetName", QBF_E_FAILED,
       "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"},
      {"CVariable_GetName", QBF_OK, "0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_WriteVariable: Could not get content address"},
      {"CVariable_GetContentAddress", QBF_OK,
       "0x8000 CXmlFileStorageProviderBase_WriteVariable: Could not get content address"},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_StoreObject: CVariable_GetContentAddress() failed"},
      // An array without elements needs no content.
      {"CVariable_GetContentAddress", QBF_OK, ""}},
     // Nobody looks at what becomes of a single write, only at the closing.
     {{"fopen storage_calibration_database.xml w+", QBF_E_FAILED,
       "0x8005 CXmlFileStorageProviderBase_OpenFile: Could not open storage file storage_calibration_database.xml "
       "(errno is: 5)"},
      {"fwrite", QBF_OK, ""},
      {"fflush", QBF_OK, ""},
      {"fsync", QBF_OK, ""},
      {"fclose", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_CloseFile: Could not close storage file for storage location 0 (errno is: "
       "5)"},
      {"fopen  r", QBF_OK, ""}},
     {}},
    {"XmlRetrieve",
     tal::test::kXmlFiles,
     false,
     {{"CDatabase_UpdatePathHashTable", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error when updating hash table in CDatabase"},
      {"CDatabase_SetAsNotRetrieved", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error when setting Database as not retrieved"},
      {"CDatabase_GetVariableByPath", QBF_OK,
       "0x820 CXmlFileStorageProviderBase_UpdateVariable:     File storage_calibration_database.xml contains variable "
       "that is not registered ("},
      {"CVariable_GetContentAddress", QBF_OK,
       "0x8003 CXmlFileStorageProviderBase_UpdateVariable: Could not get content address"},
      {"CVariable_SetRetrieved", QBF_OK, ""},
      {"CList_PushTail", QBF_OK,
       "0x8000 CXmlFileStorageProviderBase_EndElement: Could not add array element to list : "},
      {"CList_StartIterationFromHead", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_UpdateArray: Could not iterate array element list"},
      {"CList_GetNext", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_UpdateArray: Could not iterate array element list"},
      // The same two when the list is only emptied.
      {"CList_StartIterationFromHead", QBF_OK, ""},
      {"CList_GetNext", QBF_OK, ""},
      {"CDatabase_SetNotRetrievedVariablesToDefault", QBF_E_FAILED,
       "0x8003 CXmlFileStorageProviderBase_ManageRetrieve: Error when setting missing variables to default"}},
     {{"CDatabase_UpdatePathHashTable", QBF_OK, ""},
      {"CDatabase_SetAsNotRetrieved", QBF_OK, ""},
      {"CDatabase_GetVariableByPath", QBF_OK,
       "0x820 CXmlFileStorageProviderBase_UpdateVariable:     File storage_calibration_database.xml contains variable "
       "that is not registered ("},
      {"CVariable_GetContentAddress", QBF_OK,
       "0x8000 CXmlFileStorageProviderBase_UpdateVariable: Could not get content address"},
      {"CVariable_GetContentAddress", QBF_OK, ""},
      {"CVariable_SetRetrieved", QBF_OK, ""},
      {"CList_PushTail", QBF_OK, ""},
      {"CList_StartIterationFromHead", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_UpdateArray: Could not iterate array element list"},
      {"CList_GetNext", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_UpdateArray: Could not iterate array element list"},
      {"CList_StartIterationFromHead", QBF_OK, ""},
      {"CList_GetNext", QBF_OK, ""},
      {"CDatabase_SetNotRetrievedVariablesToDefault", QBF_OK, ""}},
     {{"stat", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_OpenFile: Error while trying to stat file storage_calibration_database.xml"},
      {"fopen", QBF_E_FAILED, "0x8000 CXmlFileStorageProviderBase_OpenFile: Error opening XML file"},
      {"fread", QBF_E_FAILED, "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Read error from XML file"},
      {"fclose", QBF_OK, ""}},
     {{"allocation", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: XML file storage_calibration_database.xml does not fit into "
       "memory"},
      {"allocation", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Could not create XML file parser"},
      {"allocation", QBF_E_FAILED,
       "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Parse error in file storage_calibration_database.xml at "
       "line "},
      {"allocation", QBF_OK, "0x8000 CXmlFileStorageProviderBase_EndElement: Could not add array element to list : "}}},
    {"BinaryStore",
     tal::test::kBinaryFiles,
     true,
     {{"CStorageRegion_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ManageStorage: Could not get region name"},
      {"CStorageObject_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ProcessObject: Could not get object name"},
      {"CStorageObject_GetVariableIterator", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_ProcessObject: Could not iterate variables, (QBFResult = 8003)"},
      {"CStorageObject_GetNextVariable", QBF_E_FAILED,
       "0x1000 CBinaryFileStorageProvider_ProcessObject: CStorageObject_GetNextVariable() failed"},
      {"CVariable_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ProcessObject: Could not get variable name"},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_ProcessObject: Could not get address for variable "},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_ProcessObject: CVariable_GetContentAddress() failed"}},
     {{"CStorageRegion_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ManageStorage: Could not get region name"},
      {"CStorageObject_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ProcessObject: Could not get object name"},
      {"CStorageObject_GetVariableIterator", QBF_E_FAILED,
       "0x1000 CBinaryFileStorageProvider_ProcessObject: CStorageObject_GetNextVariable() failed"},
      {"CStorageObject_GetNextVariable", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ProcessObject: Could not get variable name"},
      {"CVariable_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ProcessObject: Could not get variable name"},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_ProcessObject: Could not get address for variable "},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_ProcessObject: CVariable_GetContentAddress() failed"},
      {"CVariable_GetContentAddress", QBF_OK, ""}},
     {{"fopen", QBF_E_FAILED,
       "0x8005 CBinaryFileStorageProvider_OpenFile: Could not open file storage_calibration_database.bin (errno is: "
       "5)"},
      {"fwrite", QBF_E_FAILED,
       "0x800a CBinaryFileStorageProvider_ProcessObject: Not all bytes written, attempted to write "},
      {"fclose", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_CloseFile: Could not close storage file for storage location 0 (errno is: "
       "5)"}},
     {}},
    {"BinaryRetrieve",
     tal::test::kBinaryFiles,
     false,
     {{"CDatabase_UpdatePathHashTable", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_RetrieveAll: Error when updating hash table in CDatabase"},
      {"CDatabase_SetAsNotRetrieved", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_RetrieveAll: Error when setting Database as not retrieved"},
      {"CStorageRegion_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ManageStorage: Could not get region name"},
      {"CStorageObject_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ProcessObject: Could not get object name"},
      {"CStorageObject_GetVariableIterator", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_ProcessObject: Could not iterate variables, (QBFResult = 8003)"},
      {"CStorageObject_GetNextVariable", QBF_E_FAILED,
       "0x1000 CBinaryFileStorageProvider_ProcessObject: CStorageObject_GetNextVariable() failed"},
      {"CVariable_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ProcessObject: Could not get variable name"},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_ProcessObject: Could not get address for variable "},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_ProcessObject: CVariable_GetContentAddress() failed"},
      {"CVariable_SetRetrieved", QBF_OK, ""},
      {"CDatabase_SetNotRetrievedVariablesToDefault", QBF_E_FAILED,
       "0x8003 CBinaryFileStorageProvider_RetrieveAll: Error when setting missing variables to default"}},
     {{"CDatabase_UpdatePathHashTable", QBF_OK, ""},
      {"CDatabase_SetAsNotRetrieved", QBF_OK, ""},
      {"CStorageRegion_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ManageStorage: Could not get region name"},
      {"CStorageObject_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ProcessObject: Could not get object name"},
      {"CStorageObject_GetVariableIterator", QBF_E_FAILED,
       "0x1000 CBinaryFileStorageProvider_ProcessObject: CStorageObject_GetNextVariable() failed"},
      {"CStorageObject_GetNextVariable", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ProcessObject: Could not get variable name"},
      {"CVariable_GetName", QBF_E_FAILED,
       "0x8004 CBinaryFileStorageProvider_ProcessObject: Could not get variable name"},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_ProcessObject: Could not get address for variable "},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_ProcessObject: CVariable_GetContentAddress() failed"},
      {"CVariable_GetContentAddress", QBF_OK, ""},
      {"CVariable_SetRetrieved", QBF_OK, ""},
      {"CDatabase_SetNotRetrievedVariablesToDefault", QBF_OK, ""}},
     {{"fopen", QBF_E_FAILED,
       "0x8005 CBinaryFileStorageProvider_OpenFile: Could not open file storage_calibration_database.bin (errno is: "
       "5)"},
      {"fread", QBF_E_FAILED,
       "0x800a CBinaryFileStorageProvider_ProcessObject: Not all bytes read, attempted to read "},
      {"fclose", QBF_E_FAILED,
       "0x8000 CBinaryFileStorageProvider_CloseFile: Could not close storage file for storage location 0 (errno is: "
       "5)"}},
     {}},
    {"SecureStore",
     tal::test::kSecureFiles,
     true,
     {{"CStorageRegion_GetName", QBF_E_FAILED,
       "0x8004 CSecureBinaryFileStorageProvider_ManageStore: Could not get region name"},
      {"CStorageObject_GetName", QBF_E_FAILED,
       "0x8004 CSecureBinaryFileStorageProvider_ProcessObject: Could not get object name"},
      {"CStorageObject_GetName", QBF_E_FAILED,
       "0x8000 CSecureBinaryFileStorageProvider_ProcessObject: Failed to get name for object array element"},
      {"CStorageObject_GetVariableIterator", QBF_E_FAILED,
       "0x8000 CSecureBinaryFileStorageProvider_ProcessObject: Could not iterate variables, (QBFResult = 8003)"},
      {"CStorageObject_GetNextVariable", QBF_E_FAILED,
       "0x1000 CSecureBinaryFileStorageProvider_ProcessObject: CStorageObject_GetNextVariable() failed"},
      {"CVariable_GetName", QBF_E_FAILED,
       "0x8004 CSecureBinaryFileStorageProvider_ProcessObject: Could not get variable name"},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CSecureBinaryFileStorageProvider_ProcessObject: Could not get address for variable "},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CSecureBinaryFileStorageProvider_ProcessObject: CVariable_GetContentAddress() failed"}},
     {{"CStorageRegion_GetName", QBF_E_FAILED,
       "0x8004 CSecureBinaryFileStorageProvider_ManageStore: Could not get region name"},
      {"CStorageObject_GetName", QBF_E_FAILED,
       "0x8004 CSecureBinaryFileStorageProvider_ProcessObject: Could not get object name"},
      {"CStorageObject_GetName", QBF_E_FAILED,
       "0x8000 CSecureBinaryFileStorageProvider_ProcessObject: Failed to get name for object array element"},
      {"CStorageObject_GetVariableIterator", QBF_E_FAILED,
       "0x1000 CSecureBinaryFileStorageProvider_ProcessObject: CStorageObject_GetNextVariable() failed"},
      {"CStorageObject_GetNextVariable", QBF_E_FAILED,
       "0x8004 CSecureBinaryFileStorageProvider_ProcessObject: Could not get variable name"},
      {"CVariable_GetName", QBF_E_FAILED,
       "0x8004 CSecureBinaryFileStorageProvider_ProcessObject: Could not get variable name"},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CSecureBinaryFileStorageProvider_ProcessObject: Could not get address for variable "},
      {"CVariable_GetContentAddress", QBF_E_FAILED,
       "0x8000 CSecureBinaryFileStorageProvider_ProcessObject: CVariable_GetContentAddress() failed"},
      {"CVariable_GetContentAddress", QBF_OK, ""}},
     {{"fopen storage_calibration_database.sbin w+", QBF_E_FAILED,
       "0x8005 CSecureBinaryFileStorageProvider_OpenFile: Could not open file storage_calibration_database.sbin (errno "
       "is: 5)"},
      {"fwrite 20", QBF_E_FAILED,
       "0x800a CSecureBinaryFileStorageProvider_ProcessObject: Not all metadata header bytes written, attempted to "
       "write 20 bytes, got 0"},
      {"fwrite", QBF_E_FAILED,
       "0x800a CSecureBinaryFileStorageProvider_ProcessObject: Not all variable path bytes written, attempted to "
       "write "},
      {"fwrite", QBF_E_FAILED,
       "0x800a CSecureBinaryFileStorageProvider_ProcessObject: Not all variable data bytes written, attempted to "
       "write "},
      {"fflush", QBF_E_FAILED,
       "0x800a CSecureBinaryFileStorageProvider_ManageStore: Could not flush storage file for storage location 0 "
       "(errno is: 5)"},
      {"fsync", QBF_OK, ""},
      {"fclose", QBF_E_FAILED,
       "0x8000 CSecureBinaryFileStorageProvider_CloseFile: Could not close storage file for storage location 0 (errno "
       "is: 5)"},
      {"fopen  r", QBF_OK, ""}},
     {}},
    // A record that cannot be restored is reported and does not count.
    {"SecureRetrieve",
     tal::test::kSecureFiles,
     false,
     {{"CDatabase_UpdatePathHashTable", QBF_OK,
       "0x8000 CSecureBinaryFileStorageProvider_ManageRetrieve: Error when updating hash table in CDatabase"},
      {"CDatabase_SetAsNotRetrieved", QBF_OK,
       "0x8000 CSecureBinaryFileStorageProvider_ManageRetrieve: Error when setting Database as not retrieved"},
      {"CDatabase_GetVariableByPath", QBF_OK,
       "0x101 CSecureBinaryFileStorageProvider_PrepareForVariableUpdate: File storage_calibration_database.sbin "
       "contains variable that is not registered ("},
      // What stands after a nested object has been stored under a path that no database registers.
      {"CDatabase_GetVariableByPath Config/Radio/Tx/Filter/Lane0/", QBF_OK, ""},
      {"CVariable_GetContentAddress", QBF_OK,
       "0x8000 CSecureBinaryFileStorageProvider_PrepareForVariableUpdate: CVariable_GetContentAddress() failed"},
      {"CVariable_SetRetrieved", QBF_OK, ""},
      {"CDatabase_SetNotRetrievedVariablesToDefault", QBF_E_FAILED,
       "0x8003 CSecureBinaryFileStorageProvider_ManageRetrieve: Error when setting missing variables to default"}},
     {{"CDatabase_UpdatePathHashTable", QBF_OK, ""},
      {"CDatabase_SetAsNotRetrieved", QBF_OK, ""},
      {"CDatabase_GetVariableByPath", QBF_OK,
       "0x101 CSecureBinaryFileStorageProvider_PrepareForVariableUpdate: File storage_calibration_database.sbin "
       "contains variable that is not registered ("},
      {"CDatabase_GetVariableByPath Config/Radio/Tx/Filter/Lane0/", QBF_OK, ""},
      // A record whose variable has no address is dropped without a trace.
      {"CVariable_GetContentAddress", QBF_OK, ""},
      {"CVariable_SetRetrieved", QBF_OK, ""},
      {"CDatabase_SetNotRetrievedVariablesToDefault", QBF_OK, ""}},
     {{"fopen", QBF_E_FAILED,
       "0x8005 CSecureBinaryFileStorageProvider_OpenFile: Could not open file storage_calibration_database.sbin (errno "
       "is: 5)"},
      {"fread 20", QBF_OK,
       "0x800a CSecureBinaryFileStorageProvider_ManageRetrieve: Not all meta data header bytes read, attempted to read "
       "20 bytes, got 0"},
      {"fread", QBF_OK,
       "0x800a CSecureBinaryFileStorageProvider_ManageRetrieve: Not all variable path bytes read, attempted to read "},
      {"fread", QBF_OK,
       "0x800a CSecureBinaryFileStorageProvider_ManageRetrieve: Not all bytes read, attempted to read "},
      {"fclose", QBF_OK,
       "0x8000 CSecureBinaryFileStorageProvider_CloseFile: Could not close storage file for storage location 0 (errno "
       "is: 5)"}},
     {{"allocation", QBF_OK, "0x8000 CSecureBinaryFileStorageProvider_ManageRetrieve: Could not allocate "}}},
    {"BoardRetrieve",
     kBoard,
     false,
     {{"CDatabase_UpdatePathHashTable", QBF_E_FAILED,
       "0x8000 retrieveAll: Error when updating hash table in CDatabase"},
      {"CDatabase_SetAsNotRetrieved", QBF_E_FAILED, "0x8000 retrieveAll: Error when setting Database as not retrieved"},
      {"CDatabase_GetVariableByPath", QBF_OK, "0x8002 updateVariable:     Variable HDBCommonBoard/"},
      {"CVariable_GetContentAddress", QBF_OK,
       "0x800b updateVariable:     Something went wrong for variable HDBCommonBoard/"},
      {"CVariable_SetRetrieved", QBF_OK, ""},
      {"CDatabase_SetNotRetrievedVariablesToDefault", QBF_E_FAILED,
       "0x8000 retrieveAll: Error when setting missing variables to default"}},
     {{"CDatabase_UpdatePathHashTable", QBF_OK, ""},
      {"CDatabase_SetAsNotRetrieved", QBF_OK, ""},
      {"CDatabase_GetVariableByPath", QBF_OK, "0x8002 updateVariable:     Variable HDBCommonBoard/"},
      {"CVariable_GetContentAddress", QBF_OK,
       "0x800b updateVariable:     Something went wrong for variable HDBCommonBoard/"},
      {"CVariable_SetRetrieved", QBF_OK, ""},
      {"CDatabase_SetNotRetrievedVariablesToDefault", QBF_OK, ""}},
     {},
     {}},
};

bool BeginsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

/// Everything that the library calls. At most one call fails.
struct Callees {
    HostCalls host;
    CLibraryFaults files;
    AllocationFaults memory;

    /// @return the `nth` call, which has failed; empty if there was none.
    [[nodiscard]] std::string Failed(int nth) const {
        if (files.Fired()) {
            return files.Calls()[static_cast<std::size_t>(nth) - 1];
        }
        return memory.Fired() ? "allocation" : host.FiredAt();
    }
};

class FaultSweep : public testing::TestWithParam<Operation> {
protected:
    void SetUp() override {
        tal::test::PlayTestBoard(board_);
        provider_ = GetParam().files.Prepare();
        ASSERT_EQ(Store(), QBF_OK);
        ASSERT_EQ(Retrieve(), QBF_OK);
        file_ = File();
        content_ = ContentOf(*database_);
        ASSERT_EQ(Run(), QBF_OK);
        lines_ = traces_.Lines();
    }

    /// Fails the first call by `fail(callees, 1)`, then the second, and so on to the last.
    template <class Fail>
    void Sweep(const std::vector<Outcome>& outcomes, Fail fail) {
        if (outcomes.empty()) {
            EXPECT_EQ(RunWithFault(1, fail), "") << "there should be no such call";
            return;
        }
        std::set<const Outcome*> met;
        SweepFaults([&](int nth) {
            const std::string call = RunWithFault(nth, fail);
            if (!call.empty()) {
                met.insert(OutcomeOf(call, outcomes));
                ExpectCleanStoreAndRetrieve();
            }
            return !call.empty();
        });
        EXPECT_THAT(met, testing::SizeIs(outcomes.size())) << "an outcome that never came";
    }

    /// @return the call that failed; empty if there was none.
    template <class Fail>
    std::string RunWithFault(int nth, Fail fail) {
        Callees callees;
        fail(callees, nth);
        result_ = Run();
        std::string call = callees.Failed(nth);
        EXPECT_EQ(callees.files.OpenStreams(), 0) << call;
        EXPECT_EQ(callees.memory.LiveAllocations(), 0) << call;
        EXPECT_TRUE(database_->GuardsIntact()) << call;
        return call;
    }

private:
    QBFResult Store() { return provider_->StoreAll(kCalibration, database_->Handle(), 0); }
    QBFResult Retrieve() { return provider_->RetrieveAll(kCalibration, database_->Handle(), 0); }
    QBFResult Run() {
        traces_.Clear();
        return GetParam().stores ? Store() : Retrieve();
    }

    static std::string File() {
        const char* const name = GetParam().files.defaultFile;
        return name == nullptr ? "" : tal::test::ReadFile(name);
    }

    const Outcome* OutcomeOf(const std::string& call, const std::vector<Outcome>& outcomes) const {
        const auto outcome = std::find_if(outcomes.begin(), outcomes.end(), [&](const Outcome& candidate) {
            return BeginsWith(call, candidate.call) && result_ == candidate.result && Reports(candidate.report);
        });
        if (outcome == outcomes.end()) {
            ADD_FAILURE() << "no such outcome: " << call << " gives " << result_ << " and\n  "
                          << testing::PrintToString(traces_.Lines());
            return nullptr;
        }
        return &*outcome;
    }

    /// Whether more lines begin like this than in a clean run; for an empty report, whether nothing but progress lines
    /// differs.
    [[nodiscard]] bool Reports(std::string_view report) const {
        return report.empty() ? Problems(traces_.Lines()) == Problems(lines_)
                              : LinesLike(report, traces_.Lines()) > LinesLike(report, lines_);
    }

    static std::ptrdiff_t LinesLike(std::string_view beginning, const std::vector<std::string>& lines) {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return BeginsWith(line, beginning); });
    }

    static std::vector<std::string> Problems(std::vector<std::string> lines) {
        lines.erase(std::remove_if(lines.begin(), lines.end(),
                                   [](const std::string& line) {
                                       return BeginsWith(line, "0x800 ") || BeginsWith(line, "0x820 ");
                                   }),
                    lines.end());
        return lines;
    }

    void ExpectCleanStoreAndRetrieve() {
        database_->ResetToDefaults();
        EXPECT_EQ(Store(), QBF_OK);
        EXPECT_EQ(File(), file_);
        database_->SetAllToZero();
        EXPECT_EQ(Retrieve(), QBF_OK);
        EXPECT_EQ(ContentOf(*database_), content_);
    }

    tal::test::TemporaryDirectory directory_;
    tal::test::TraceRecorder traces_;
    tal::test::PlayedBoard board_;
    std::unique_ptr<Database> database_ = BuildDatabase();
    IStorageProvider* provider_ = nullptr;
    QBFResult result_ = QBF_OK;

    // What a clean run leaves behind.
    std::string file_;
    DatabaseContent content_;
    std::vector<std::string> lines_;
};

void FailHostCall(Callees& callees, int nth) {
    callees.host.Fail(nth, 0x8003);
}

void FailFileCall(Callees& callees, int nth) {
    callees.files.Fail(nth);
}

void FailAllocation(Callees& callees, int nth) {
    callees.memory.Fail(nth);
}

/// Promise 16
/// Surprise: StoreAll and RetrieveAll return `QBF_OK` or `QBF_E_FAILED`
TEST_P(FaultSweep, AnyHostCallThatFailsEndsAsDocumentedAndDoesNoHarm) {
    Sweep(GetParam().hostCalls, FailHostCall);
}

template <QBFResult Code>
void AnswerEmptyHanded(Callees& callees, int nth) {
    callees.host.Fail(nth, Code);
}

// As signed 32-bit numbers these are negative, which are no failures.
TEST_P(FaultSweep, TheLowestSuccessWithNothingHandedOutEndsAsDocumentedAndDoesNoHarm) {
    Sweep(GetParam().emptyHandedHostCalls, AnswerEmptyHanded<0x80000000>);
}

TEST_P(FaultSweep, TheHighestNegativeSuccessWithNothingHandedOutEndsAsDocumentedAndDoesNoHarm) {
    Sweep(GetParam().emptyHandedHostCalls, AnswerEmptyHanded<0xFFFFFFFF>);
}

/// Promise 7
/// Promise 20
TEST_P(FaultSweep, AnyFileCallThatFailsEndsAsDocumentedAndDoesNoHarm) {
    Sweep(GetParam().fileCalls, FailFileCall);
}

/// Promise 19
TEST_P(FaultSweep, AnyAllocationThatFailsEndsAsDocumentedAndDoesNoHarm) {
    Sweep(GetParam().allocations, FailAllocation);
}

INSTANTIATE_TEST_SUITE_P(Operations, FaultSweep, testing::ValuesIn(kOperations),
                         [](const testing::TestParamInfo<Operation>& operation) {
                             return std::string(operation.param.name);
                         });

}  // namespace
