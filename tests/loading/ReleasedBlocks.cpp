// The operators are in a file of their own so that they are never inlined: memory checkers replace all or none of them.

#include "loading/ReleasedBlocks.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace tal::test {

namespace {

ReleasedBlocks* active = nullptr;
std::size_t liveBlocks = 0;

void* Take(std::size_t size) {
    void* const memory = std::malloc(std::max<std::size_t>(size, 1));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++liveBlocks;
    return memory;
}

void Release(void* memory) {
    if (memory == nullptr) {
        return;
    }
    --liveBlocks;
    if (active != nullptr) {
        active->Add(memory);
    }
    std::free(memory);
}

}  // namespace

std::size_t LiveBlocks() {
    return liveBlocks;
}

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
    return tal::test::Take(size);
}

void operator delete(void* memory) noexcept {
    tal::test::Release(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    tal::test::Release(memory);
}
