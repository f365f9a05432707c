/// Records of secure binary files, put together byte by byte and independently of the library.
#ifndef TAL_TEST_SECURE_RECORDS_H
#define TAL_TEST_SECURE_RECORDS_H

#include <cstdint>
#include <string>
#include <string_view>

namespace tal::test {

/// Where the fields of a record's header stand.
constexpr std::size_t kRecordLengthAt = 4;
constexpr std::size_t kPathLengthAt = 8;
constexpr std::size_t kDataSizeAt = 12;
constexpr std::size_t kEndMarkerAt = 16;
constexpr std::size_t kPathAt = 20;

[[nodiscard]] inline std::string LittleEndian(std::uint32_t word) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<char>(word >> shift));
    }
    return bytes;
}

/// A header whose fields say what they like.
[[nodiscard]] inline std::string SecureHeader(std::uint32_t pathLength, std::uint32_t dataSize) {
    return "\xEF\xBE\xAD\xDE" + LittleEndian(20 + pathLength + dataSize) + LittleEndian(pathLength) +
           LittleEndian(dataSize) + "\xFE\xCA\xEF\xBE";
}

/// A good record.
[[nodiscard]] inline std::string SecureRecord(const std::string& path, std::string_view data) {
    std::string record = SecureHeader(static_cast<std::uint32_t>(path.size()), static_cast<std::uint32_t>(data.size()));
    record += path;
    record += '\0';
    record += data;
    return record;
}

/// @return `bytes` with the 32-bit field at `offset` replaced.
[[nodiscard]] inline std::string WithField(std::string bytes, std::size_t offset, std::uint32_t word) {
    return bytes.replace(offset, 4, LittleEndian(word));
}

}  // namespace tal::test

#endif
