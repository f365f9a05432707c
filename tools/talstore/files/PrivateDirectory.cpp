#include "files/PrivateDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "files/InputError.h"

namespace tal::talstore {

std::shared_ptr<const PrivateDirectory> PrivateDirectory::Shared() {
    static std::weak_ptr<const PrivateDirectory> current;
    std::shared_ptr<const PrivateDirectory> shared = current.lock();
    if (shared == nullptr) {
        shared = std::make_shared<const PrivateDirectory>();
        current = shared;
    }
    return shared;
}

PrivateDirectory::PrivateDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "talstore-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        RefuseFile(name, std::strerror(errno));
    }
    path_ = name;
}

PrivateDirectory::~PrivateDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace tal::talstore
