#include "formats/StorageFile.h"

#include <filesystem>

#include "files/InputError.h"
#include "files/WholeFile.h"
#include "formats/InspectBinary.h"
#include "formats/InspectSecure.h"
#include "formats/InspectXml.h"

namespace tal::talstore {

namespace {

[[noreturn]] void Fail(const std::string& name, const std::string& problem) {
    throw InputError(name + ": " + problem);
}

std::string_view WithoutSpaces(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

bool LooksLikeXml(std::string_view bytes) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (bytes.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        bytes.remove_prefix(kByteOrderMark.size());
    }
    const std::string_view text = WithoutSpaces(bytes);
    return text.substr(0, 5) == "<?xml" || text.substr(0, 8) == "<storage" || text.substr(0, 4) == "<!--" ||
           text.substr(0, 9) == "<!DOCTYPE";
}

}  // namespace

std::optional<Format> FormatOfName(std::string_view name) {
    const std::string ending = std::filesystem::path(name).extension().string();
    if (ending == ".xml") {
        return Format::Xml;
    }
    if (ending == ".sbin") {
        return Format::Secure;
    }
    return ending == ".bin" ? std::optional(Format::Binary) : std::nullopt;
}

std::optional<Format> RecogniseFormat(std::string_view bytes, std::string_view name) {
    if (bytes.substr(0, kSecureStartMarker.size()) == kSecureStartMarker) {
        return Format::Secure;
    }
    return LooksLikeXml(bytes) ? Format::Xml : FormatOfName(name);
}

StorageFile LoadStorageFile(const std::string& name, std::optional<Format> format, bool hasLayout) {
    std::string bytes = ReadWholeFile(name);
    if (!format) {
        format = RecogniseFormat(bytes, name);
    }
    if (!format && hasLayout) {
        format = Format::Binary;
    }
    if (!format) {
        Fail(name,
             "neither an XML document nor a secure binary file; a raw binary file needs --layout, and --format "
             "says what a damaged file was");
    }
    if (*format == Format::Binary && !hasLayout) {
        Fail(name, "a raw binary file holds no names and no types: say with --layout how it is laid out");
    }
    return {name, std::move(bytes), *format};
}

StoredContents Inspect(const StorageFile& file, host::Database* layout) {
    switch (file.format) {
        case Format::Xml:
            return InspectXml(file.bytes);
        case Format::Secure:
            return InspectSecure(file.bytes);
        default:
            return InspectBinary(file.bytes, *layout);
    }
}

}  // namespace tal::talstore
