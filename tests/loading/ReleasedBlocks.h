/// Sees what is given back to the heap.
#ifndef TAL_TEST_RELEASED_BLOCKS_H
#define TAL_TEST_RELEASED_BLOCKS_H

#include <cstddef>

namespace tal::test {

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
