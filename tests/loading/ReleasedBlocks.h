/// Sees what operator new takes from the heap and operator delete gives back.
#ifndef TAL_TEST_RELEASED_BLOCKS_H
#define TAL_TEST_RELEASED_BLOCKS_H

#include <cstddef>

namespace tal::test {

/// The blocks of the whole process that operator new has given and operator delete not yet released. Not for threads.
[[nodiscard]] std::size_t LiveBlocks();

/// Keeps the addresses of the blocks that operator delete releases while it lives, in order and whoever asks for it.
/// At most one at a time.
class ReleasedBlocks {
public:
    static constexpr std::size_t kCapacity = 1000;

    ReleasedBlocks();
    ~ReleasedBlocks();
    ReleasedBlocks(const ReleasedBlocks&) = delete;
    ReleasedBlocks& operator=(const ReleasedBlocks&) = delete;

    [[nodiscard]] const void* const* begin() const { return blocks_; }
    [[nodiscard]] const void* const* end() const { return blocks_ + count_; }

    /// Ends the process when there are more blocks than `kCapacity`.
    void Add(const void* block);

private:
    const void* blocks_[kCapacity] = {};
    std::size_t count_ = 0;
};

}  // namespace tal::test

#endif
