/// @file
/// Where the tool works on copies of the user's files.
#ifndef TALSTORE_PRIVATE_DIRECTORY_H
#define TALSTORE_PRIVATE_DIRECTORY_H

#include <filesystem>

namespace tal::talstore {

/// A directory of its own, which is removed with all that it holds.
class PrivateDirectory {
public:
    PrivateDirectory();
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
};

}  // namespace tal::talstore

#endif
