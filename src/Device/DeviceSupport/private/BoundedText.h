/// Texts in buffers of fixed size: whatever is too long is cut, and every buffer is always terminated.
#ifndef TAL_PRIVATE_BOUNDED_TEXT_H
#define TAL_PRIVATE_BOUNDED_TEXT_H

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace tal {

/// Copies as much of `text` as `buffer` holds.
/// @return the copy.
template <std::size_t Size>
std::string_view CopyBounded(char (&buffer)[Size], std::string_view text) {
    const std::size_t length = std::min(text.size(), Size - 1);
    std::memmove(buffer, text.data(), length);
    buffer[length] = '\0';
    return {buffer, length};
}

/// Makes `buffer` the path of `name` beneath `parent`, or as much of it as fits.
/// @return that path.
template <std::size_t Size>
std::string_view JoinPath(char (&buffer)[Size], std::string_view parent, std::string_view name) {
    const std::size_t parentLength = std::min(parent.size(), Size - 1);
    std::memcpy(buffer, parent.data(), parentLength);
    std::size_t length = parentLength;
    if (length < Size - 1) {
        buffer[length++] = '/';
    }
    const std::size_t nameLength = std::min(name.size(), Size - 1 - length);
    std::memcpy(buffer + length, name.data(), nameLength);
    buffer[length + nameLength] = '\0';
    return {buffer, length + nameLength};
}

/// Appends as much of `text` as `buffer` still holds.
template <std::size_t Size>
void AppendBounded(char (&buffer)[Size], std::string_view text) {
    const std::size_t used = std::strlen(buffer);
    const std::size_t length = std::min(text.size(), Size - 1 - used);
    std::memmove(buffer + used, text.data(), length);
    buffer[used + length] = '\0';
}

/// A pattern of a channel rewriting rule: the channel number between two fixed texts, "Channel." n ".".
class ChannelText {
public:
    ChannelText(std::string_view before, unsigned long channel, std::string_view after) {
        AppendBounded(text_, before);
        char digits[kLongestNumber];
        const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, channel);
        AppendBounded(text_, {digits, static_cast<std::size_t>(end.ptr - digits)});
        AppendBounded(text_, after);
    }

    [[nodiscard]] std::string_view View() const { return text_; }

private:
    static constexpr std::size_t kLongestNumber = 20;
    char text_[48] = "";
};

/// Builds `text` with the first occurrence of `pattern` replaced; what does not fit into `result` is cut.
/// @return whether the pattern was there; `result` is untouched when it was not.
template <std::size_t Size>
bool BuildReplacement(char (&result)[Size], std::string_view text, std::string_view pattern,
                      std::string_view replacement) {
    const std::size_t position = text.find(pattern);
    if (position == std::string_view::npos) {
        return false;
    }
    CopyBounded(result, text.substr(0, position));
    AppendBounded(result, replacement);
    AppendBounded(result, text.substr(position + pattern.size()));
    return true;
}

/// Replaces the first occurrence of `pattern` in `target`, building the new text in `scratch`; what does not fit into
/// `scratch`, and then into `target`, is cut.
/// @return whether the pattern was there.
template <std::size_t Size, std::size_t ScratchSize>
bool ReplaceFirst(char (&target)[Size], char (&scratch)[ScratchSize], std::string_view pattern,
                  std::string_view replacement) {
    if (!BuildReplacement(scratch, target, pattern, replacement)) {
        return false;
    }
    CopyBounded(target, scratch);
    return true;
}

}  // namespace tal

#endif
