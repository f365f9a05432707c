#include "formats/InspectSecure.h"
#include "common/Text.h"

#include <cstdint>

namespace tal::talstore {

using tools::Count;
using tools::EndsInsideCharacter;
using tools::HexNumber;
using tools::Printable;

namespace {

constexpr std::uint32_t kStartMarker = 0xDEADBEEF;
constexpr std::uint32_t kEndMarker = 0xBEEFCAFE;
constexpr std::size_t kHeaderSize = 20;
/// What the reader's path buffer holds beside the NUL.
constexpr std::uint32_t kLongestReadablePath = 510;
constexpr std::size_t kLongestRegionName = 39;

struct Header {
    std::uint32_t startMarker;
    std::uint32_t recordLength;
    std::uint32_t pathLength;
    std::uint32_t dataSize;
    std::uint32_t endMarker;
};

std::uint32_t LittleEndian32(std::string_view bytes, std::size_t offset) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
        number |= std::uint32_t{static_cast<unsigned char>(bytes[offset + i])} << (8U * i);
    }
    return number;
}

Header DecodeHeader(std::string_view bytes) {
    return {LittleEndian32(bytes, 0), LittleEndian32(bytes, 4), LittleEndian32(bytes, 8), LittleEndian32(bytes, 12),
            LittleEndian32(bytes, 16)};
}

class SecureInspector {
public:
    explicit SecureInspector(std::string_view bytes) : bytes_(bytes) {}

    StoredContents Inspect() {
        if (bytes_.empty()) {
            Report(Severity::Warning, "secure.empty", 0, {},
                   "the file is empty: every variable would take its default");
        }
        while (position_ < bytes_.size() && InspectRecord()) {
        }
        contents_.isWhole = position_ == bytes_.size();
        return std::move(contents_);
    }

private:
    [[nodiscard]] std::size_t Remaining() const { return bytes_.size() - position_; }

    void Report(Severity severity, const char* code, std::size_t offset, std::string path, std::string message) {
        contents_.findings.push_back({severity, code, {offset}, std::move(path), std::move(message)});
    }

    /// @return whether the reader goes on after the record.
    bool InspectRecord() {
        if (Remaining() < kHeaderSize) {
            Report(Severity::Error, "secure.header-cut", position_, {},
                   "the file ends inside a record header: " + std::to_string(Remaining()) + " of 20 bytes");
            return false;
        }
        const Header header = DecodeHeader(bytes_.substr(position_, kHeaderSize));
        if (header.startMarker != kStartMarker) {
            ReportStartMarker(header.startMarker);
            return false;
        }
        if (header.pathLength > kLongestReadablePath) {
            Report(Severity::Error, "secure.path-length", position_ + 8, {},
                   "the path length is " + std::to_string(header.pathLength) +
                       ", at most 510 is possible: the file is taken for corrupt here" + BytesBehind());
            return false;
        }
        return InspectBody(header);
    }

    std::string BytesBehind() { return ", " + Count(Remaining(), "byte") + " from here on are not read"; }

    void ReportStartMarker(std::uint32_t found) {
        std::string message = "start marker is " + HexNumber(found) +
                              ", expected 0xDEADBEEF: the file is taken for corrupt here" + BytesBehind();
        const std::size_t next = bytes_.find(kSecureStartMarker, position_ + 1);
        if (next != std::string_view::npos) {
            message += "; another start marker is at byte " + std::to_string(next);
        }
        Report(Severity::Error, "secure.start-marker", position_, {}, std::move(message));
    }

    bool InspectBody(const Header& header) {
        const std::size_t start = position_;
        const std::size_t pathSize = std::size_t{header.pathLength} + 1;
        const std::string_view body = bytes_.substr(start + kHeaderSize);
        if (body.size() < pathSize) {
            Report(Severity::Error, "secure.path-cut", start, std::string(body),
                   "the file ends inside the record's path: " + std::to_string(body.size()) + " of " +
                       Count(pathSize, "byte"));
            return false;
        }
        // The reader's path ends at its first NUL, wherever that is.
        const std::string_view pathField = body.substr(0, pathSize);
        const std::string path(pathField.substr(0, pathField.find('\0')));
        const std::string_view data = body.substr(pathSize);
        if (data.size() < header.dataSize) {
            Report(Severity::Error, "secure.data-cut", start, path,
                   "the file ends inside the record's data: " + std::to_string(data.size()) + " of " +
                       Count(header.dataSize, "byte"));
            return false;
        }
        CheckHeader(header, start, path);
        CheckPath(pathField, start + kHeaderSize, path);
        AddItem(path, start, data.substr(0, header.dataSize));
        position_ = start + kHeaderSize + pathSize + header.dataSize;
        return true;
    }

    void CheckHeader(const Header& header, std::size_t start, const std::string& path) {
        // Readers use neither field.
        const std::uint32_t expectedLength = std::uint32_t{kHeaderSize} + header.pathLength + header.dataSize;
        if (header.recordLength != expectedLength) {
            Report(Severity::Warning, "secure.length-field", start + 4, path,
                   "the record length is " + std::to_string(header.recordLength) + ", expected " +
                       std::to_string(expectedLength) + "; readers ignore it");
        }
        if (header.endMarker != kEndMarker) {
            Report(Severity::Warning, "secure.end-marker", start + 16, path,
                   "end marker is " + HexNumber(header.endMarker) + ", expected 0xBEEFCAFE; readers ignore it");
        }
    }

    void CheckPath(std::string_view field, std::size_t start, const std::string& path) {
        if (path.size() == field.size()) {
            Report(Severity::Warning, "secure.path-end", start + field.size() - 1, path,
                   "the path does not end in a NUL");
        } else if (path.size() + 1 < field.size()) {
            Report(Severity::Warning, "secure.path-end", start + path.size(), path,
                   "the path ends at a NUL after " + Count(path.size(), "character") + ", its length says " +
                       std::to_string(field.size() - 1));
        }
        if (EndsInsideCharacter(path)) {
            Report(Severity::Warning, "secure.path-text", start, path,
                   "the path ends inside a character: a name has been cut, and no document can hold it");
        } else if (Printable(path) != path) {
            Report(Severity::Warning, "secure.path-text", start, path,
                   "the path holds control characters, or bytes that are not UTF-8");
        }
        if (path.size() == kLongestReadablePath) {
            Report(Severity::Warning, "secure.name-limit", start, path,
                   "the path has 510 characters, the most that are stored: it may have been cut");
        }
        if (path.find('/') == kLongestRegionName) {
            Report(Severity::Note, "secure.name-limit", start, path,
                   "the region's name has 39 characters, the most that are stored: it may have been cut");
        }
    }

    void AddItem(const std::string& path, std::size_t start, std::string_view data) {
        StoredItem item;
        item.path = contents_.texts.Keep(path);
        item.place.offset = start;
        item.bytes = data;
        item.isHandedOn = true;
        contents_.handedOn.push_back(contents_.items.size());
        contents_.items.push_back(item);
        const std::size_t first = firstItems_.Add(contents_.items, contents_.items.size() - 1);
        if (first != PathIndex::kNotFound) {
            Report(Severity::Warning, "duplicate-path", start, path,
                   "the path is stored before, at byte " + std::to_string(contents_.items[first].place.offset) +
                       "; the last one counts");
        }
    }

    std::string_view bytes_;
    std::size_t position_ = 0;
    StoredContents contents_;
    PathIndex firstItems_;  ///< The first item of each path.
};

}  // namespace

StoredContents InspectSecure(std::string_view bytes) {
    return SecureInspector(bytes).Inspect();
}

}  // namespace tal::talstore
