/// @file
/// Many short texts, which take no more memory than their bytes.
#ifndef TALSTORE_KEPT_TEXTS_H
#define TALSTORE_KEPT_TEXTS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

namespace tal::talstore {

/// A text that somebody else keeps, and a copy of it where a std::string is wanted.
class KeptText : public std::string_view {
public:
    KeptText() = default;
    explicit KeptText(std::string_view text) : std::string_view(text) {}

    operator std::string() const { return {begin(), end()}; }
};

/// Texts that somebody else keeps.
class TextList {
public:
    using value_type = KeptText;
    using const_iterator = const KeptText*;

    TextList() = default;
    TextList(const KeptText* first, std::uint32_t count) : first_(first), count_(count) {}

    [[nodiscard]] const_iterator begin() const { return first_; }
    [[nodiscard]] const_iterator end() const { return first_ + count_; }
    [[nodiscard]] std::size_t size() const { return count_; }
    [[nodiscard]] bool empty() const { return count_ == 0; }
    [[nodiscard]] KeptText front() const { return *first_; }
    [[nodiscard]] KeptText operator[](std::size_t index) const { return first_[index]; }

private:
    const KeptText* first_ = nullptr;
    std::uint32_t count_ = 0;
};

/// Keeps texts as long as it lives, wherever it is moved to.
class KeptTexts {
public:
    /// @return a copy of the text.
    KeptText Keep(std::string_view text) { return Join(text, {}, {}); }
    /// @return the three texts in one.
    KeptText Join(std::string_view first, std::string_view second, std::string_view third);
    /// @return a copy of the list, of texts that are kept already.
    TextList KeepList(const std::vector<KeptText>& texts);

private:
    std::unique_ptr<std::pmr::monotonic_buffer_resource> memory_ =
        std::make_unique<std::pmr::monotonic_buffer_resource>();
};

/// Finds the elements of a list by the texts that they have in `path`. Of every element it takes eight bytes or a few
/// more, and keeps no text.
class PathIndex {
public:
    static constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

    /// Adds the element unless one with the same path has been added before.
    /// @return that one, or kNotFound.
    template <class Elements>
    std::size_t Add(const Elements& elements, std::size_t number) {
        if (2 * (count_ + 1) > slots_.size()) {
            Grow();
        }
        Slot& slot = slots_[PlaceOf(elements, elements[number].path)];
        if (slot.number != kFree) {
            return slot.number;
        }
        slot = {HashOf(elements[number].path), static_cast<std::uint32_t>(number)};
        ++count_;
        return kNotFound;
    }

    template <class Elements>
    [[nodiscard]] std::size_t Find(const Elements& elements, std::string_view path) const {
        if (slots_.empty()) {
            return kNotFound;
        }
        const Slot& slot = slots_[PlaceOf(elements, path)];
        return slot.number == kFree ? kNotFound : slot.number;
    }

private:
    static constexpr std::uint32_t kFree = static_cast<std::uint32_t>(-1);

    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t number = kFree;
    };

    static std::uint32_t HashOf(std::string_view path);
    void Grow();

    /// @return the slot that the path has, or the free one where it belongs.
    template <class Elements>
    [[nodiscard]] std::size_t PlaceOf(const Elements& elements, std::string_view path) const {
        const std::uint32_t hash = HashOf(path);
        std::size_t place = hash & (slots_.size() - 1);
        while (slots_[place].number != kFree &&
               (slots_[place].hash != hash || elements[slots_[place].number].path != path)) {
            place = (place + 1) & (slots_.size() - 1);
        }
        return place;
    }

    std::vector<Slot> slots_;  ///< A power of two, at most half of them taken.
    std::size_t count_ = 0;
};

}  // namespace tal::talstore

#endif
