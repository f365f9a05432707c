/// @file
/// Many files: those that are named, and those in the folders that are.
#ifndef TALSTORE_FILE_LIST_H
#define TALSTORE_FILE_LIST_H

#include <memory>
#include <string>
#include <vector>

namespace tal::talstore {

/// What was given. It is kept once for all files in it, of which there may be very many.
struct GivenPlace {
    std::string parent;  ///< What the names of files in it begin with and are known without; may be empty.
    std::string folder;  ///< In which the files were found; empty for what was named itself.
};

struct ListedFile {
    std::string name;
    std::string problem;  ///< Of a folder that cannot be walked; empty for a file.
    std::shared_ptr<const GivenPlace> given;

    /// @return its name in what was given.
    [[nodiscard]] std::string Inside() const;

    [[nodiscard]] bool operator<(const ListedFile& other) const { return name < other.name; }
    [[nodiscard]] bool operator==(const ListedFile& other) const { return name == other.name; }
};

/// @param listName  Of a file with a name per line, "-" for standard input. Throws InputError.
/// @param end       What ends a name: a newline or a NUL.
[[nodiscard]] std::vector<std::string> ReadNames(const std::string& listName, char end);

/// Folders are walked for regular files; a name that is no folder stays as it is, be the file there or not.
/// @param paths   What was given one by one: the files in a folder have their names in it, others their last part.
/// @param listed  What was given in a list: all have their names there.
/// @return the files in the order of their names, each name once.
[[nodiscard]] std::vector<ListedFile> ListFiles(const std::vector<std::string>& paths,
                                                const std::vector<std::string>& listed);

}  // namespace tal::talstore

#endif
