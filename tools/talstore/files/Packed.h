/// @file
/// Numbers and texts in a row of bytes, for another process of the same program.
#ifndef TALSTORE_PACKED_H
#define TALSTORE_PACKED_H

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace tal::talstore {

class Packer {
public:
    void Number(std::uint64_t number) {
        char bytes[sizeof number];
        std::memcpy(bytes, &number, sizeof number);
        bytes_.append(bytes, sizeof number);
    }
    void Text(std::string_view text) {
        Number(text.size());
        bytes_.append(text);
    }
    [[nodiscard]] std::string Take() { return std::move(bytes_); }

private:
    std::string bytes_;
};

/// Takes out what a Packer has put in, in the same order.
class Unpacker {
public:
    /// @param bytes  As Packer::Take gives them; referred to.
    explicit Unpacker(std::string_view bytes) : bytes_(bytes) {}

    [[nodiscard]] std::uint64_t Number() {
        std::uint64_t number = 0;
        std::memcpy(&number, bytes_.data(), sizeof number);
        bytes_.remove_prefix(sizeof number);
        return number;
    }
    [[nodiscard]] std::string Text() {
        const auto size = static_cast<std::size_t>(Number());
        std::string text(bytes_.substr(0, size));
        bytes_.remove_prefix(size);
        return text;
    }

private:
    std::string_view bytes_;
};

}  // namespace tal::talstore

#endif
