/// @file
/// Files in archives.
#ifndef TALSTORE_ARCHIVE_H
#define TALSTORE_ARCHIVE_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct archive;

namespace tal::talstore {

/// Whether the name ends as that of an archive does: .tar, .tar.gz, .tgz or .zip.
[[nodiscard]] bool IsArchive(std::string_view name);

struct ArchiveMember {
    std::string name;  ///< Empty where the archive is damaged and goes on after that.
    std::string bytes;
    std::string problem;  ///< Why it cannot be read; mostly empty.
};

/// Reads an archive from its beginning to its end.
class Archive {
public:
    /// Throws InputError.
    explicit Archive(std::string name);

    /// @return the next regular file in it; none at the end. Throws InputError when the archive is damaged.
    [[nodiscard]] std::optional<ArchiveMember> Next();

private:
    [[nodiscard]] ArchiveMember Read(std::string memberName);
    /// What the last call has complained of.
    [[nodiscard]] std::string Problem() const;

    std::string name_;
    bool isDamagedHere_ = false;
    std::unique_ptr<archive, int (*)(archive*)> reader_;
};

}  // namespace tal::talstore

#endif
