#include "formats/StorageFile.h"

#include "files/InputError.h"
#include "files/WholeFile.h"

namespace tal::talstore {

std::optional<Format> FormatToRetrieve(std::string_view bytes, std::string_view name) {
    const std::optional<Format> format = RecogniseFormat(bytes, name);
    return !format && bytes.empty() ? Format::Secure : format;
}

StorageFile LoadStorageFile(const std::string& name, std::optional<Format> format, bool hasLayout) {
    std::string bytes = ReadWholeFile(name);
    if (!format) {
        format = FormatToRetrieve(bytes, name);
    }
    if (!format && hasLayout) {
        format = Format::Binary;
    }
    if (!format) {
        RefuseFile(name,
                   "neither an XML document nor a secure binary file; a raw binary file needs --layout, and --format "
                   "says what a damaged file was");
    }
    if (InfoOf(*format).needsLayout && !hasLayout) {
        RefuseFile(name, "a raw binary file holds no names and no types: say with --layout how it is laid out");
    }
    return {name, std::move(bytes), *format};
}

StoredContents Inspect(const StorageFile& file, host::Database* layout) {
    return InfoOf(file.format).inspect(file.bytes, layout);
}

}  // namespace tal::talstore
