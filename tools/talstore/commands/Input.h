/// @file
/// What commands read: a file, the layout if they have one, and what the file holds.
#ifndef TALSTORE_INPUT_H
#define TALSTORE_INPUT_H

#include <future>
#include <memory>
#include <string>

#include "ReferenceHost.h"
#include "commands/Commands.h"
#include "formats/StorageFile.h"

namespace tal::talstore {

/// Loads a file. What is wrong with the layout is told before what is wrong with the file.
/// @param format  As the user gave it, or empty.
/// @param layout  The name of its description; empty for none. Throws InputError, host::DescriptionError.
[[nodiscard]] StorageFile LoadBesideLayout(const std::string& name, const std::string& format,
                                           const std::string& layout);

/// Inspects a file while something else is done, unless that takes no time worth mentioning.
class Inspection {
public:
    /// @param layout  For a format that needs one it has to be there when the contents are taken.
    /// Both stay where they are until then.
    Inspection(const StorageFile& file, const std::unique_ptr<host::Database>& layout);

    [[nodiscard]] StoredContents Take() { return contents_.get(); }

private:
    std::future<StoredContents> contents_;
};

/// Stays where it is: the contents refer to the file.
struct Input {
    Input(const std::string& name, const CommonOptions& options);
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    const StorageFile file;
    std::unique_ptr<host::Database> layout;  ///< Null for none.
    StoredContents contents;
};

}  // namespace tal::talstore

#endif
