#include "FuzzBasics.h"

#include <cstdlib>
#include <iostream>
#include <string>

namespace tal::fuzz {

bool isReplay = false;

void Require(bool holds, std::string_view what) {
    if (!holds) {
        std::cerr << "this does not hold: " << what << std::endl;
        std::abort();
    }
}

MemoryFolder::MemoryFolder() {
    std::string name = std::filesystem::exists("/dev/shm") ? "/dev/shm/tal-fuzz-XXXXXX" : "/tmp/tal-fuzz-XXXXXX";
    Require(mkdtemp(name.data()) != nullptr, "a folder for the files can be made");
    path_ = name;
}

MemoryFolder::~MemoryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace tal::fuzz
