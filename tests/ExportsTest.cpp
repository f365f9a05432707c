// What the built library offers and asks for, read from its dynamic symbol table.

#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <link.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "support/Files.h"

namespace {

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

/// A shared library of this machine's own word size.
class SharedLibrary {
public:
    explicit SharedLibrary(const char* path) : bytes_(tal::test::ReadFile(path)) {
        const auto header = Read<ElfW(Ehdr)>(0);
        for (std::size_t i = 0; i < header.e_shnum; ++i) {
            const auto section = SectionAt(i);
            if (section.sh_type == SHT_DYNSYM) {
                ReadSymbols(section);
            } else if (section.sh_type == SHT_DYNAMIC) {
                ReadDependencies(section);
            }
        }
    }

    std::vector<std::string> exported;   // Sorted.
    std::vector<std::string> undefined;  // Sorted.
    std::vector<std::string> needed;
    bool bindsItsOwnSymbols = false;

private:
    template <class T>
    [[nodiscard]] T Read(std::size_t offset) const {
        T value;
        std::memcpy(&value, bytes_.substr(offset, sizeof value).data(), sizeof value);
        return value;
    }

    [[nodiscard]] ElfW(Shdr) SectionAt(std::size_t index) const {
        return Read<ElfW(Shdr)>(Read<ElfW(Ehdr)>(0).e_shoff + index * sizeof(ElfW(Shdr)));
    }

    /// The text at `offset` in the string table that belongs to `section`.
    [[nodiscard]] std::string TextOf(const ElfW(Shdr) & section, std::size_t offset) const {
        return bytes_.c_str() + SectionAt(section.sh_link).sh_offset + offset;
    }

    void ReadSymbols(const ElfW(Shdr) & section) {
        for (std::size_t at = 0; at < section.sh_size; at += sizeof(ElfW(Sym))) {
            const auto symbol = Read<ElfW(Sym)>(section.sh_offset + at);
            const std::string name = TextOf(section, symbol.st_name);
            if (!name.empty() && ELF32_ST_BIND(symbol.st_info) != STB_LOCAL) {
                (symbol.st_shndx == SHN_UNDEF ? undefined : exported).push_back(name);
            }
        }
        std::sort(exported.begin(), exported.end());
        std::sort(undefined.begin(), undefined.end());
    }

    void ReadDependencies(const ElfW(Shdr) & section) {
        for (std::size_t at = 0; at < section.sh_size; at += sizeof(ElfW(Dyn))) {
            const auto entry = Read<ElfW(Dyn)>(section.sh_offset + at);
            if (entry.d_tag == DT_NEEDED) {
                needed.push_back(TextOf(section, entry.d_un.d_val));
            } else if (entry.d_tag == DT_SYMBOLIC ||
                       (entry.d_tag == DT_FLAGS && (entry.d_un.d_val & DF_SYMBOLIC) != 0)) {
                bindsItsOwnSymbols = true;
            }
        }
    }

    std::string bytes_;
};

const SharedLibrary& Library() {
    static const SharedLibrary library(TAL_TEST_LIBRARY);
    return library;
}

template <class Predicate>
std::vector<std::string> UndefinedIf(Predicate predicate) {
    std::vector<std::string> names;
    std::copy_if(Library().undefined.begin(), Library().undefined.end(), std::back_inserter(names), predicate);
    return names;
}

bool StartsWith(std::string_view name, std::string_view start) {
    return name.substr(0, start.size()) == start;
}

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

TEST(Exports, AHostMayPutItsOwnFunctionsInFront) {
    EXPECT_FALSE(Library().bindsItsOwnSymbols);
}

}  // namespace
