#include "FuzzSupport.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "Device/DeviceSupport/private/Tracing.h"

namespace tal::fuzz {

namespace {

char record[4096];

const std::string& StorageFileName() {
    static const MemoryFolder folder;
    static const std::string name = folder.Path() / "storage";
    return name;
}

IStorageProvider& Initialized(QBFResult (*getInterface)(IStorageProvider** out)) {
    // Every record is formatted, so that a format that does not fit its arguments is found, too.
    DS_trace.threshold = INT_MAX;
    IStorageProvider* provider = nullptr;
    Require(getInterface(&provider) == QBF_OK, "the provider is there");
    Require(provider->Initialize(0) == QBF_OK, "the provider can be initialized");
    return *provider;
}

}  // namespace

void WriteStorageFile(const std::uint8_t* data, std::size_t size) {
    std::ofstream file(StorageFileName(), std::ios::binary);
    file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    Require(file.flush().good(), "the storage file can be written");
}

Bytes ReadStorageFile() {
    std::ifstream file(StorageFileName(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

IStorageProvider& XmlProvider() {
    IStorageProvider& provider = Initialized(CXmlFileStorageProvider_GetInterface);
    CXmlFileStorageProviderBase_SetStorageFilenames(StorageFileName().c_str(), nullptr, nullptr, nullptr, nullptr,
                                                    nullptr, nullptr, nullptr, nullptr, nullptr);
    return provider;
}

IStorageProvider& BinaryProvider() {
    IStorageProvider& provider = Initialized(CBinaryFileStorageProvider_GetInterface);
    CBinaryFileStorageProvider_SetStorageFilenames(StorageFileName().c_str(), "", "");
    return provider;
}

IStorageProvider& SecureProvider() {
    IStorageProvider& provider = Initialized(CSecureBinaryFileStorageProvider_GetInterface);
    CSecureBinaryFileStorageProvider_SetStorageFilenames(StorageFileName().c_str(), "", "");
    return provider;
}

std::unique_ptr<host::Database> EveryTypeDatabase() {
    auto database = std::make_unique<host::Database>();
    host::Object& scalars = database->AddRegion("Plain").AddObject("Scalars");
    scalars.U8("u8", 8).U16("u16", 16).U32("u32", 32).S8("s8", -8).S16("s16", -16).S32("s32", -32);
    scalars.Bool("bool", 1).Char("char", 'c').Float("float", 0.5F).Double("double", 0.25);
    scalars.String("string", 8, "text").String("letter", 1);
    host::Object& arrays = database->AddRegion("CalibrationTabRf3").AddObject("Arrays.Channel3");
    arrays.U8Array("u8s", {1, 2}).U16Array("u16s", {1, 2}).U32Array("u32s", {1, 2});
    arrays.S8Array("s8s", {-1, 2}).S16Array("s16s", {-1, 2}).S32Array("s32s", {-1, 2});
    arrays.BoolArray("bools", {0, 1}).CharArray("chars", {'a', 'b'});
    arrays.FloatArray("floats", {1, 2}).DoubleArray("doubles", {1, 2}).U8("Channel.3.last", 3);
    database->AddRegion("CalibrationTabRfX").AddObject("Rewritten.ChannelX").U8("channel.3.gain", 3);
    host::Object& nested = database->AddRegion("Nested").AddObject("A");
    nested.U8("before", 1);
    nested.AddNested("B").U8("inner", 2).AddNested("C").U8("innermost", 3);
    nested.AddToArray("Lanes", "L0").U8("lane", 4).AddToArray("Inner", "I0").U8("deep", 5);
    nested.AddToArray("Lanes", "L1").U8("lane", 6);
    nested.EmptyObjectArray("None").U8("after", 7);
    return database;
}

void RetrieveHostileFile(IStorageProvider& provider, host::Database& database, const std::uint8_t* data,
                         std::size_t size, unsigned long channelInjector) {
    WriteStorageFile(data, size);
    database.SetAllToZero();
    const QBFResult hostile = provider.RetrieveAll(0, database.Handle(), channelInjector);
    Require(hostile == QBF_OK || hostile == QBF_E_FAILED, "a retrieve succeeds or fails");
    Require(database.GuardsIntact(), "nothing is written beside a variable");

    database.ResetToDefaults();
    Require(provider.StoreAll(0, database.Handle(), 0) == QBF_OK, "the next store succeeds");
    Require(provider.RetrieveAll(0, database.Handle(), 0) == QBF_OK, "the next retrieve succeeds");
}

}  // namespace tal::fuzz

// In place of the trace library's functions: records are formatted and forgotten.
extern "C" {

int CPexTraceHandler_DmLevel2GtLevel(QBFResult /*code*/) {
    return 0;
}

void trace_begin(TraceState* /*state*/, int /*level*/, const TraceSite* /*site*/) {}

[[gnu::format(printf, 2, 3)]] void trace_printf(TraceState* /*state*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(tal::fuzz::record, sizeof tal::fuzz::record, format, arguments);
    va_end(arguments);
}

void trace_end(TraceState* /*state*/) {}
}
