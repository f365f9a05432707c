#include "support/SharedLibrary.h"

#include <dlfcn.h>
#include <elf.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "support/Files.h"

namespace tal::test {

std::string TestedLibrary() {
    Dl_info info = {};
    dladdr(dlsym(RTLD_DEFAULT, "CBinaryFileStorageProvider_GetInterface"), &info);
    return std::filesystem::canonical(info.dli_fname);
}

SharedLibrary::SharedLibrary(const std::string& path) : bytes_(ReadFile(path)) {
    const auto header = Read<ElfW(Ehdr)>(0);
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        const auto section = SectionAt(i);
        if (section.sh_type == SHT_DYNSYM) {
            ReadDynamicSymbols(section);
        } else if (section.sh_type == SHT_SYMTAB) {
            ReadLocalSymbols(section);
        } else if (section.sh_type == SHT_DYNAMIC) {
            ReadDependencies(section);
        }
    }
}

template <class T>
T SharedLibrary::Read(std::size_t offset) const {
    T value;
    std::memcpy(&value, bytes_.substr(offset, sizeof value).data(), sizeof value);
    return value;
}

ElfW(Shdr) SharedLibrary::SectionAt(std::size_t index) const {
    return Read<ElfW(Shdr)>(Read<ElfW(Ehdr)>(0).e_shoff + index * sizeof(ElfW(Shdr)));
}

std::string SharedLibrary::TextOf(const ElfW(Shdr) & section, std::size_t offset) const {
    return bytes_.c_str() + SectionAt(section.sh_link).sh_offset + offset;
}

void SharedLibrary::ReadDynamicSymbols(const ElfW(Shdr) & section) {
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

void SharedLibrary::ReadLocalSymbols(const ElfW(Shdr) & section) {
    std::string source;
    for (std::size_t at = 0; at < section.sh_size; at += sizeof(ElfW(Sym))) {
        const auto symbol = Read<ElfW(Sym)>(section.sh_offset + at);
        if (ELF32_ST_TYPE(symbol.st_info) == STT_FILE) {
            source = TextOf(section, symbol.st_name);
        } else if (ELF32_ST_BIND(symbol.st_info) == STB_LOCAL) {
            locals.push_back({source, TextOf(section, symbol.st_name)});
        }
    }
}

void SharedLibrary::ReadDependencies(const ElfW(Shdr) & section) {
    for (std::size_t at = 0; at < section.sh_size; at += sizeof(ElfW(Dyn))) {
        const auto entry = Read<ElfW(Dyn)>(section.sh_offset + at);
        if (entry.d_tag == DT_NEEDED) {
            needed.push_back(TextOf(section, entry.d_un.d_val));
        } else if (entry.d_tag == DT_SYMBOLIC || (entry.d_tag == DT_FLAGS && (entry.d_un.d_val & DF_SYMBOLIC) != 0)) {
            bindsItsOwnSymbols = true;
        }
    }
}

}  // namespace tal::test
