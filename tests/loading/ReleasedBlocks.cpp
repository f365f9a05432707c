// The operators are in a file of their own so that they are never inlined: memory checkers replace all or none of them.

#include "loading/ReleasedBlocks.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace tal::test {

namespace {

ReleasedBlocks* active = nullptr;

void Release(void* memory) {
    if (active != nullptr && memory != nullptr) {
        active->Add(memory);
    }
    std::free(memory);
}

}  // namespace

ReleasedBlocks::ReleasedBlocks() {
    active = this;
}

ReleasedBlocks::~ReleasedBlocks() {
    active = nullptr;
}

void ReleasedBlocks::Add(const void* block) {
    if (count_ == kCapacity) {
        std::abort();
    }
    blocks_[count_++] = block;
}

}  // namespace tal::test

void* operator new(std::size_t size) {
    void* const memory = std::malloc(std::max<std::size_t>(size, 1));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    tal::test::Release(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    tal::test::Release(memory);
}
