/// The header of a record in a secure binary file. A record is this header, the variable's path with its NUL, and the
/// bytes of the variable; the next one follows without a gap.
///
///     offset  size  field, unsigned and little-endian
///          0     4  start marker, 0xDEADBEEF
///          4     4  record length: 20 + path length + data size, so it leaves out the NUL
///          8     4  path length without the NUL
///         12     4  data size
///         16     4  end marker, 0xBEEFCAFE
#ifndef TAL_PRIVATE_SECURE_RECORD_H
#define TAL_PRIVATE_SECURE_RECORD_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tal {

constexpr std::size_t kSecureHeaderSize = 20;
using SecureHeaderBytes = std::uint8_t[kSecureHeaderSize];

constexpr std::uint32_t kSecureStartMarker = 0xDEADBEEF;
constexpr std::uint32_t kSecureEndMarker = 0xBEEFCAFE;

/// What a reader uses of a header; the record length and the end marker are only written.
struct SecureRecordHeader {
    std::uint32_t startMarker;
    std::uint32_t pathLength;
    std::uint32_t dataSize;
};

inline void PutLittleEndian(std::uint8_t* bytes, std::uint32_t word) {
    // Collected first, so that the compiler stores one word where the byte order allows it.
    const std::uint8_t littleEndian[] = {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8),
                                         static_cast<std::uint8_t>(word >> 16), static_cast<std::uint8_t>(word >> 24)};
    std::memcpy(bytes, littleEndian, sizeof littleEndian);
}

[[nodiscard]] inline std::uint32_t GetLittleEndian(const std::uint8_t* bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
}

inline void EncodeSecureHeader(SecureHeaderBytes& bytes, std::uint32_t pathLength, std::uint32_t dataSize) {
    PutLittleEndian(bytes, kSecureStartMarker);
    PutLittleEndian(bytes + 4, static_cast<std::uint32_t>(kSecureHeaderSize) + pathLength + dataSize);
    PutLittleEndian(bytes + 8, pathLength);
    PutLittleEndian(bytes + 12, dataSize);
    PutLittleEndian(bytes + 16, kSecureEndMarker);
}

[[nodiscard]] inline SecureRecordHeader DecodeSecureHeader(const SecureHeaderBytes& bytes) {
    return {GetLittleEndian(bytes), GetLittleEndian(bytes + 8), GetLittleEndian(bytes + 12)};
}

}  // namespace tal

#endif
