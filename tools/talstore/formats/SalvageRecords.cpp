#include <algorithm>
#include <array>
#include <cstdint>

#include "formats/InspectSecure.h"
#include "formats/Salvage.h"

namespace tal::talstore {

namespace {

constexpr std::string_view kSecureEndMarker = "\xFE\xCA\xEF\xBE";
constexpr std::size_t kRecordHeaderSize = 20;
constexpr std::size_t kEndMarkerOffset = 16;
constexpr std::size_t kLongestStoredPath = 510;

std::uint32_t FieldAt(std::string_view bytes, std::size_t offset) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
        number |= std::uint32_t{static_cast<unsigned char>(bytes[offset + i])} << (8U * i);
    }
    return number;
}

class RecordFinder {
public:
    RecordFinder(std::string_view bytes, const SizeOfPath& sizeOf) : bytes_(bytes), sizeOf_(sizeOf) {}

    std::vector<SalvagedRecord> Find() {
        std::vector<SalvagedRecord> records;
        std::size_t position = NextMarker(0);
        while (position != std::string_view::npos) {
            std::optional<SalvagedRecord> record = RecordAt(position);
            if (record) {
                const std::size_t end = EndOf(*record);
                records.push_back(std::move(*record));
                position = NextMarker(end);
            } else {
                position = NextMarker(position + 1);
            }
        }
        return records;
    }

private:
    struct Sizes {
        std::size_t path;
        std::size_t data;
    };

    [[nodiscard]] bool HasStart(std::size_t position) const {
        return bytes_.substr(position, kSecureStartMarker.size()) == kSecureStartMarker;
    }
    [[nodiscard]] bool HasEnd(std::size_t position) const {
        return position + kEndMarkerOffset <= bytes_.size() &&
               bytes_.substr(position + kEndMarkerOffset, kSecureEndMarker.size()) == kSecureEndMarker;
    }

    /// @return the next place where a header may begin, from this one on; npos for none.
    [[nodiscard]] std::size_t NextMarker(std::size_t position) const {
        const std::size_t start = bytes_.find(kSecureStartMarker, position);
        const std::size_t end = bytes_.find(kSecureEndMarker, position + kEndMarkerOffset);
        return std::min(start, end == std::string_view::npos ? end : end - kEndMarkerOffset);
    }

    static std::size_t EndOf(const SalvagedRecord& record) {
        return record.offset + kRecordHeaderSize + record.path.size() + 1 + record.data.size();
    }

    [[nodiscard]] std::optional<SalvagedRecord> RecordAt(std::size_t position) const {
        if (bytes_.size() - position < kRecordHeaderSize) {
            return std::nullopt;
        }
        const std::size_t length = FieldAt(bytes_, position + 4);
        const std::size_t path = FieldAt(bytes_, position + 8);
        const std::size_t data = FieldAt(bytes_, position + 12);
        // As the header has it, and as the length has it when one of the others is damaged.
        const std::array<Sizes, 3> candidates = {
            Sizes{path, data}, {length - kRecordHeaderSize - data, data}, {path, length - kRecordHeaderSize - path}};
        for (const Sizes& sizes : candidates) {
            const bool areStored = sizes.path == path && sizes.data == data;
            const bool isLength = length == kRecordHeaderSize + sizes.path + sizes.data;
            const int contradictions = (areStored ? 0 : 1) + (isLength ? 0 : 1);
            if (std::optional<SalvagedRecord> record = RecordOf(position, sizes, contradictions)) {
                return record;
            }
        }
        return std::nullopt;
    }

    [[nodiscard]] std::optional<SalvagedRecord> RecordOf(std::size_t position, Sizes sizes, int contradictions) const {
        const std::string_view body = bytes_.substr(position + kRecordHeaderSize);
        const bool isIn = sizes.path != 0 && sizes.path <= kLongestStoredPath && body.size() > sizes.path &&
                          body.size() - sizes.path - 1 >= sizes.data;
        if (!isIn || body.substr(0, sizes.path).find('\0') != std::string_view::npos) {
            return std::nullopt;
        }
        SalvagedRecord record = {position, std::string(body.substr(0, sizes.path)),
                                 body.substr(sizes.path + 1, sizes.data)};
        const std::size_t end = EndOf(record);
        const bool isFollowed = bytes_.size() - end < kRecordHeaderSize || HasStart(end) || HasEnd(end);
        contradictions += (HasStart(position) ? 0 : 1) + (HasEnd(position) ? 0 : 1) +
                          (body[sizes.path] == '\0' ? 0 : 1) + (isFollowed ? 0 : 1);
        const std::optional<std::size_t> known = sizeOf_(record.path);
        const bool isTaken = contradictions == 0 || (contradictions == 1 && known == record.data.size());
        return isTaken ? std::optional(std::move(record)) : std::nullopt;
    }

    std::string_view bytes_;
    const SizeOfPath& sizeOf_;
};

}  // namespace

std::vector<SalvagedRecord> SalvageRecords(std::string_view bytes, const SizeOfPath& sizeOf) {
    return RecordFinder(bytes, sizeOf).Find();
}

}  // namespace tal::talstore
