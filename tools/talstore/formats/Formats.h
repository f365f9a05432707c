/// @file
/// The formats of storage files: one row for each, and everything that differs between them.
#ifndef TALSTORE_FORMATS_H
#define TALSTORE_FORMATS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "ReferenceHost.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

/// A location that the provider of a format accepts.
struct Location {
    StorageLocation number;
    bool isWritable = true;
    const char* fixedFileName = nullptr;  ///< What the provider calls its file, whatever it is told.
};

struct FormatInfo {
    Format format;
    const char* name;  ///< On the command line, and of the provider that reads and writes it.
    const char* ending;
    const char* description;
    const char* summary;  ///< Of the provider.
    std::vector<Location> locations;

    /// Null when the bytes do not tell.
    bool (*isRecognised)(std::string_view bytes);
    StoredContents (*inspect)(std::string_view bytes, host::Database* layout);
    QBFResult (*getInterface)(IStorageProvider** provider);
    void (*setFileNames)(const char* name);  ///< Gives every location that name, as far as the provider allows.

    bool needsLayout;                       ///< Names and types are nowhere in the file.
    bool hasTexts;                          ///< Values are texts of a document, not bytes.
    bool looksItemsUp;                      ///< The reader goes by path, not by place.
    bool comparesSizes;                     ///< An item of another size than the variable is refused.
    bool storesReadOnlyObjects;             ///< Variables of read-only objects are stored, too.
    std::vector<const char*> placeholders;  ///< What stands for a channel and is looked up as one.
    /// What makes the reader forget the document before, as if it had just started; null when it keeps nothing.
    const char* forgettableFile;
};

/// In the order of Format.
[[nodiscard]] const std::vector<FormatInfo>& Formats();
[[nodiscard]] const FormatInfo& InfoOf(Format format);
/// "xml", "secure", "binary"
[[nodiscard]] const char* NameOf(Format format);
[[nodiscard]] std::optional<Format> FormatNamed(std::string_view name);

/// What the name's ending says: .xml, .sbin, .bin.
[[nodiscard]] std::optional<Format> FormatOfName(std::string_view name);

/// What the bytes say; the name's ending decides where they do not.
[[nodiscard]] std::optional<Format> RecogniseFormat(std::string_view bytes, std::string_view name);

/// "locations 0, 3 and 6", "locations 0 and 3 to 11, of which 7, 8 and 11 are read-only"
[[nodiscard]] std::string LocationsText(const FormatInfo& format);

}  // namespace tal::talstore

#endif
