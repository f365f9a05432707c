/// @file
/// Where the tool works on copies of the user's files.
#ifndef TALSTORE_PRIVATE_DIRECTORY_H
#define TALSTORE_PRIVATE_DIRECTORY_H

#include <filesystem>
#include <memory>

namespace tal::talstore {

/// A directory of its own, which is removed with all that it holds.
class PrivateDirectory {
public:
    /// The one of everybody in the process who wants one at the same time; it goes with the last of them.
    [[nodiscard]] static std::shared_ptr<const PrivateDirectory> Shared();

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
