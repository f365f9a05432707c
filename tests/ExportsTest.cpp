// What the built library offers and asks for, read from its symbol tables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>
#include <vector>

#include "support/SharedLibrary.h"

namespace {

using tal::test::SharedLibrary;
using tal::test::TestedLibrary;
using testing::Contains;
using testing::ElementsAreArray;
using testing::Not;

// clang-format off
constexpr const char* kExports[] = {
    "CBinaryFileStorageProvider_GetInterface",
    "CBinaryFileStorageProvider_SetStorageFilenames",
    "CDummyStorageProvider_GetInterface",
    "CReadOnlyXmlFileStorageProvider_GetInterface",
    "CReadOnlyXmlFileStorageProvider_SetStorageFilenames",
    "CSecureBinaryFileStorageProvider_GetInterface",
    "CSecureBinaryFileStorageProvider_SetChannelNumber",
    "CSecureBinaryFileStorageProvider_SetStorageFilenames",
    "CXmlFileStorageProviderBase_GetInterface",
    "CXmlFileStorageProviderBase_SetStorageFilenames",
    "CXmlFileStorageProvider_GetInterface",
    "HwNameFromValue",
    "HwNameToValue",
    "_Z42ReadOnlyZorBspStorageProvider_getInterfacePP16IStorageProvider",
    "_ZN29ReadOnlyZorBspStorageProvider10initializeEm",
    "_ZN29ReadOnlyZorBspStorageProvider11getInstanceEv",
    "_ZN29ReadOnlyZorBspStorageProvider11retrieveAllEmP9CDatabasem",
    "_ZN29ReadOnlyZorBspStorageProvider14updateVariableEP9CDatabaseRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPKc",
    "_ZN29ReadOnlyZorBspStorageProvider14updateVariableEP9CDatabaseRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES9_",
    "_ZN29ReadOnlyZorBspStorageProvider14updateVariableEP9CDatabaseRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEj",
    "_ZN29ReadOnlyZorBspStorageProvider16storeAllWritableEmPP9CVariablem",
    "_ZN29ReadOnlyZorBspStorageProvider20reserveWritableSpaceEmm",
    "_ZN29ReadOnlyZorBspStorageProvider8storeAllEmP9CDatabasem",
};
// clang-format on

constexpr const char* kHostImports[] = {
    "CList_Construct",
    "CList_Destruct",
    "CList_GetNext",
    "CList_PushTail",
    "CList_StartIterationFromHead",
    "CPexTraceHandler_DmLevel2GtLevel",
    "CStorageObject_GetName",
    "CStorageObject_GetNextVariable",
    "CStorageObject_GetVariableIterator",
    "CStorageObject_IsWritable",
    "CVariable_GetContentAddress",
    "CVariable_GetName",
    "CVariable_GetNoOfElements",
    "CVariable_GetSizeInBytes",
    "CVariable_GetType",
    "CVariable_SetRetrieved",
    "_Z22CStorageRegion_GetNameP14CStorageRegionPPc",
    "_Z27CDatabase_GetVariableByPathP9CDatabasePKcPP9CVariable",
    "_Z27CDatabase_SetAsNotRetrievedP9CDatabase",
    "_Z29CDatabase_UpdatePathHashTableP9CDatabase",
    "_Z43CDatabase_SetNotRetrievedVariablesToDefaultP9CDatabase",
};

constexpr const char* kBoardImports[] = {
    "Bsp_getNumberOfChannels", "Bsp_getZorHwVariant", "DS_trace", "trace_begin", "trace_end", "trace_printf",
};

const SharedLibrary& Library() {
    static const SharedLibrary library(TestedLibrary());
    return library;
}

constexpr const char* kProviderSources[] = {
    "CBinaryFileStorageProvider.cpp",       "CDummyStorageProvider.cpp",       "CReadOnlyXmlFileStorageProvider.cpp",
    "CSecureBinaryFileStorageProvider.cpp", "CXmlFileStorageProviderBase.cpp", "ReadOnlyZorBspStorageProvider.cpp"};

template <class Predicate>
std::vector<std::string> UndefinedIf(Predicate predicate) {
    std::vector<std::string> names;
    std::copy_if(Library().undefined.begin(), Library().undefined.end(), std::back_inserter(names), predicate);
    return names;
}

bool StartsWith(std::string_view name, std::string_view start) {
    return name.substr(0, start.size()) == start;
}

/// Promise 22
/// Surprise: The entry point is `ReadOnlyZorBspStorageProvider_getInterface`
TEST(Exports, AreExactlyTheDocumentedOnes) {
    EXPECT_THAT(Library().exported, ElementsAreArray(kExports));
}

TEST(Exports, TheHostsFunctionsStayUndefinedUnderTheirDocumentedSymbols) {
    EXPECT_THAT(UndefinedIf([](const std::string& name) {
                    const bool isEncodedFunction = StartsWith(name, "_Z") && std::isdigit(name[2]) != 0;
                    return StartsWith(name, "C") || isEncodedFunction;
                }),
                ElementsAreArray(kHostImports));
}

TEST(Exports, TraceAndBoardSupportAreReachedThroughTheirDocumentedSymbols) {
    EXPECT_THAT(UndefinedIf([](const std::string& name) {
                    return StartsWith(name, "Bsp_") || StartsWith(name, "DS_") || StartsWith(name, "trace_");
                }),
                ElementsAreArray(kBoardImports));
}

TEST(Exports, TheLibraryNeedsTheBoardsLibrariesAndExpatAndNoHost) {
    EXPECT_THAT(Library().needed, Contains(testing::StartsWith("libbrqtrace.so")));
    EXPECT_THAT(Library().needed, Contains(testing::StartsWith("libcorebsp.so")));
    EXPECT_THAT(Library().needed, Contains(testing::StartsWith("libexpat.so")));
    EXPECT_THAT(Library().needed, Not(Contains(testing::HasSubstr("TalHost"))));
}

TEST(Exports, TheBoardSupportInstanceIsCreatedUnderTheRuntimesGuard) {
    EXPECT_THAT(Library().undefined, Contains("__cxa_guard_acquire"));
    EXPECT_THAT(Library().undefined, Contains("__cxa_guard_release"));
}

TEST(Exports, EachProvidersSourceSetsUpTheStandardStreamsOnceWhenTheLibraryIsLoaded) {
    constexpr std::string_view kInitialiserOfTheStreams = "_ZStL8__ioinit";
    for (const char* source : kProviderSources) {
        EXPECT_EQ(std::count_if(Library().locals.begin(), Library().locals.end(),
                                [&](const SharedLibrary::LocalSymbol& symbol) {
                                    return symbol.source == source && symbol.name == kInitialiserOfTheStreams;
                                }),
                  1)
            << source;
    }
}

/// Promise 22
TEST(Exports, AHostMayPutItsOwnFunctionsInFront) {
    EXPECT_FALSE(Library().bindsItsOwnSymbols);
}

}  // namespace
