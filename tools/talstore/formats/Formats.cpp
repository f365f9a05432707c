#include "formats/Formats.h"

#include <algorithm>
#include <filesystem>

#include "common/Text.h"
#include "formats/InspectBinary.h"
#include "formats/InspectSecure.h"
#include "formats/InspectXml.h"

namespace tal::talstore {

namespace {

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

void SetXmlFileNames(const char* name) {
    CXmlFileStorageProviderBase_SetStorageFilenames(name, name, name, name, name, name, name, name, name, name);
}

constexpr char kCalibrationFile[] = "storage_calibration_database.sbin";

bool LooksLikeSecure(std::string_view bytes) {
    return bytes.substr(0, kSecureStartMarker.size()) == kSecureStartMarker;
}

void SetSecureFileNames(const char* name) {
    CSecureBinaryFileStorageProvider_SetStorageFilenames(name, name, name);
}

void SetBinaryFileNames(const char* name) {
    CBinaryFileStorageProvider_SetStorageFilenames(name, name, name);
}

/// "0, 3 and 6", "0 and 3 to 11"
std::string NumbersText(const std::vector<StorageLocation>& numbers) {
    std::vector<std::string> parts;
    for (std::size_t i = 0; i < numbers.size();) {
        std::size_t last = i;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) {
            ++last;
        }
        const bool isRange = last >= i + 3;
        parts.push_back(std::to_string(numbers[i]) + (isRange ? " to " + std::to_string(numbers[last]) : ""));
        i = isRange ? last + 1 : i + 1;
    }
    return tools::Listed(parts);
}

}  // namespace

const std::vector<FormatInfo>& Formats() {
    static const std::vector<FormatInfo> formats = {
        {Format::Xml,
         "xml",
         ".xml",
         "XML document",
         "XML documents",
         {{0}, {3}, {4}, {5}, {6}, {7, false}, {8, false}, {9}, {10}, {11, false}},
         LooksLikeXml,
         [](std::string_view bytes, host::Database* /*layout*/) { return InspectXml(bytes); },
         CXmlFileStorageProvider_GetInterface,
         SetXmlFileNames,
         /*needsLayout=*/false,
         /*hasTexts=*/true,
         /*looksItemsUp=*/true,
         /*comparesSizes=*/false,
         /*storesReadOnlyObjects=*/false,
         {"channel.X."},
         "<storage><region name=\"\"></region></storage>"},
        {Format::Secure,
         "secure",
         ".sbin",
         "secure binary file",
         "self-describing records",
         {{0}, {1, true, kCalibrationFile}, {2, true, kCalibrationFile}, {3}, {6}},
         LooksLikeSecure,
         [](std::string_view bytes, host::Database* /*layout*/) { return InspectSecure(bytes); },
         CSecureBinaryFileStorageProvider_GetInterface,
         SetSecureFileNames,
         /*needsLayout=*/false,
         /*hasTexts=*/false,
         /*looksItemsUp=*/true,
         /*comparesSizes=*/true,
         /*storesReadOnlyObjects=*/false,
         {"Channel.X.", "CalibrationTabRfX"},
         nullptr},
        {Format::Binary,
         "binary",
         ".bin",
         "raw binary file",
         "raw images",
         {{0}, {3}, {6}},
         nullptr,
         [](std::string_view bytes, host::Database* layout) { return InspectBinary(bytes, *layout); },
         CBinaryFileStorageProvider_GetInterface,
         SetBinaryFileNames,
         /*needsLayout=*/true,
         /*hasTexts=*/false,
         /*looksItemsUp=*/false,
         /*comparesSizes=*/false,
         /*storesReadOnlyObjects=*/true,
         {},
         nullptr},
    };
    return formats;
}

const FormatInfo& InfoOf(Format format) {
    return Formats()[static_cast<std::size_t>(format)];
}

const char* NameOf(Format format) {
    return InfoOf(format).name;
}

std::optional<Format> FormatNamed(std::string_view name) {
    for (const FormatInfo& format : Formats()) {
        if (format.name == name) {
            return format.format;
        }
    }
    return std::nullopt;
}

std::optional<Format> FormatOfName(std::string_view name) {
    const std::string ending = std::filesystem::path(name).extension().string();
    for (const FormatInfo& format : Formats()) {
        if (format.ending == ending) {
            return format.format;
        }
    }
    return std::nullopt;
}

std::optional<Format> RecogniseFormat(std::string_view bytes, std::string_view name) {
    for (const FormatInfo& format : Formats()) {
        if (format.isRecognised != nullptr && format.isRecognised(bytes)) {
            return format.format;
        }
    }
    return FormatOfName(name);
}

std::string LocationsText(const FormatInfo& format) {
    std::vector<StorageLocation> all;
    std::vector<StorageLocation> readOnly;
    for (const Location& location : format.locations) {
        all.push_back(location.number);
        if (!location.isWritable) {
            readOnly.push_back(location.number);
        }
    }
    return "locations " + NumbersText(all) +
           (readOnly.empty() ? "" : ", of which " + NumbersText(readOnly) + " are read-only");
}

}  // namespace tal::talstore
