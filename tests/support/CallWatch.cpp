#include "support/CallWatch.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tal::test {

namespace {

/// The addresses at which a loaded file lies.
struct Module {
    std::uintptr_t begin = UINTPTR_MAX;
    std::uintptr_t end = 0;

    [[nodiscard]] bool Holds(const void* address) const {
        const auto value = reinterpret_cast<std::uintptr_t>(address);
        return begin <= value && value < end;
    }
};

struct Modules {
    Module executable;
    Module library;
    Module host;
};

Module ModuleOf(const dl_phdr_info& info) {
    Module module;
    for (int i = 0; i < info.dlpi_phnum; ++i) {
        const ElfW(Phdr)& header = info.dlpi_phdr[i];
        if (header.p_type == PT_LOAD) {
            const std::uintptr_t begin = info.dlpi_addr + header.p_vaddr;
            module.begin = begin < module.begin ? begin : module.begin;
            module.end = begin + header.p_memsz > module.end ? begin + header.p_memsz : module.end;
        }
    }
    return module;
}

int CollectModule(dl_phdr_info* info, std::size_t /*size*/, void* data) {
    auto& modules = *static_cast<Modules*>(data);
    // The executable is reported first, and without a name.
    if (modules.executable.end == 0) {
        modules.executable = ModuleOf(*info);
    } else if (std::strstr(info->dlpi_name, "libTalDeviceSupport.so") != nullptr) {
        modules.library = ModuleOf(*info);
    } else if (std::strstr(info->dlpi_name, "libTalHost.so") != nullptr) {
        modules.host = ModuleOf(*info);
    }
    return 0;
}

Modules FindModules() {
    Modules modules;
    dl_iterate_phdr(CollectModule, &modules);
    return modules;
}

}  // namespace

bool IsWatched(const void* returnAddress, Watch watch) {
    static const Modules modules = FindModules();
    if (watch == Watch::Host) {
        return modules.host.Holds(returnAddress);
    }
    return modules.library.Holds(returnAddress) ||
           (watch == Watch::LibraryAndTests && modules.executable.Holds(returnAddress));
}

void* RealSymbol(const char* symbol) {
    void* const address = dlsym(RTLD_NEXT, symbol);
    if (address == nullptr) {
        std::fprintf(stderr, "no library defines %s\n", symbol);
        std::abort();
    }
    return address;
}

}  // namespace tal::test
