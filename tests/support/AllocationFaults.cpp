#include "support/AllocationFaults.h"

#include <expat.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>

namespace tal::test {

namespace {

AllocationFaults* activeFaults = nullptr;

/// The double's own records need memory, too.
bool keepsBooks = false;

struct BookKeeping {
    BookKeeping() { keepsBooks = true; }
    ~BookKeeping() { keepsBooks = false; }
    BookKeeping(const BookKeeping&) = delete;
    BookKeeping& operator=(const BookKeeping&) = delete;
};

}  // namespace

AllocationFaults::AllocationFaults(Watch watch) : watch_(watch) {
    EXPECT_EQ(activeFaults, nullptr) << "one AllocationFaults at a time";
    activeFaults = this;
}

AllocationFaults::~AllocationFaults() {
    activeFaults = nullptr;
}

void AllocationFaults::FailFrom(int nth) {
    failing_ = nth;
    failsLaterOnes_ = true;
}

/// The heap as the library sees it.
class Allocator {
public:
    static bool IsWatchedCall(const void* caller) {
        return activeFaults != nullptr && !keepsBooks && IsWatched(caller, activeFaults->watch_);
    }

    /// @return null when this allocation is to fail, or the heap is exhausted.
    static void* New(const void* caller, std::size_t size) {
        return IsWatchedCall(caller) ? Allocate(size) : std::malloc(std::max<std::size_t>(size, 1));
    }

    static void* Allocate(std::size_t size) {
        if (activeFaults == nullptr) {
            return std::malloc(std::max<std::size_t>(size, 1));
        }
        if (Fails()) {
            return nullptr;
        }
        void* const memory = std::malloc(std::max<std::size_t>(size, 1));
        Register(memory, size);
        return memory;
    }

    static void* Reallocate(void* memory, std::size_t size) {
        if (activeFaults == nullptr) {
            return std::realloc(memory, size);
        }
        if (Fails()) {
            return nullptr;
        }
        Forget(memory);
        void* const moved = std::realloc(memory, size);
        Register(moved, size);
        return moved;
    }

    // Inlined into a destructor, the free would seem to be paired with operator new, of which the compiler warns.
    [[gnu::noinline]] static void Free(void* memory) {
        if (activeFaults != nullptr && !keepsBooks) {
            Forget(memory);
        }
        std::free(memory);
    }

    template <class Create>
    static char* CreateText(std::size_t capacity, Create create) {
        if (Fails()) {
            throw std::bad_alloc();
        }
        char* const text = UnwatchedCall(create);
        Register(text, capacity + 1);
        return text;
    }

    static XML_Parser CreateParser(const XML_Char* encoding) {
        if (activeFaults->failsParserCreation_) {
            activeFaults->fired_ = true;
            return nullptr;
        }
        static const XML_Memory_Handling_Suite memory = {Allocate, Reallocate, Free};
        return XML_ParserCreate_MM(encoding, &memory, nullptr);
    }

private:
    template <class Create>
    static char* UnwatchedCall(Create create) {
        const BookKeeping books;
        return create();
    }

    static bool Fails() {
        const int number = ++activeFaults->allocations_;
        const bool fails =
            activeFaults->failing_ != 0 &&
            (activeFaults->failsLaterOnes_ ? number >= activeFaults->failing_ : number == activeFaults->failing_);
        activeFaults->fired_ = activeFaults->fired_ || fails;
        return fails;
    }

    static void Register(void* memory, std::size_t size) {
        if (memory != nullptr) {
            const BookKeeping books;
            activeFaults->sizes_[memory] = size;
            activeFaults->liveBytes_ += size;
            activeFaults->peakBytes_ = std::max(activeFaults->peakBytes_, activeFaults->liveBytes_);
        }
    }

    static void Forget(void* memory) {
        const BookKeeping books;
        const auto entry = activeFaults->sizes_.find(memory);
        if (entry != activeFaults->sizes_.end()) {
            activeFaults->liveBytes_ -= entry->second;
            activeFaults->sizes_.erase(entry);
        }
    }
};

namespace {

void* NewOrThrow(const void* caller, std::size_t size) {
    void* const memory = Allocator::New(caller, size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

}  // namespace tal::test

using tal::test::Allocator;

// Inlined into another function, each would take that function's caller for its own.
[[gnu::noinline]] void* operator new(std::size_t size) {
    return tal::test::NewOrThrow(__builtin_return_address(0), size);
}

[[gnu::noinline]] void* operator new[](std::size_t size) {
    return tal::test::NewOrThrow(__builtin_return_address(0), size);
}

[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return Allocator::New(__builtin_return_address(0), size);
}

[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return Allocator::New(__builtin_return_address(0), size);
}

void operator delete(void* memory) noexcept {
    Allocator::Free(memory);
}

void operator delete[](void* memory) noexcept {
    Allocator::Free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    Allocator::Free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    Allocator::Free(memory);
}

// std::string::_M_create. Strings take their memory inside the C++ library, so that operator new is not called by the
// one who wants the string.
#if SIZE_MAX == UINT32_MAX
#define STRING_CREATE _ZNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE9_M_createERjj
#else
#define STRING_CREATE _ZNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE9_M_createERmm
#endif
#define TEXT_OF(name) #name
#define EXPANDED_TEXT_OF(name) TEXT_OF(name)

extern "C" char* STRING_CREATE(std::string* string, std::size_t* capacity, std::size_t oldCapacity) {
    static auto* const real = tal::test::Real<decltype(STRING_CREATE)>(EXPANDED_TEXT_OF(STRING_CREATE));
    const auto create = [=] { return real(string, capacity, oldCapacity); };
    return Allocator::IsWatchedCall(__builtin_return_address(0)) ? Allocator::CreateText(*capacity, create) : create();
}

extern "C" XML_Parser XML_ParserCreate(const XML_Char* encoding) {
    static auto* const real = tal::test::Real<decltype(XML_ParserCreate)>("XML_ParserCreate");
    return Allocator::IsWatchedCall(__builtin_return_address(0)) ? Allocator::CreateParser(encoding) : real(encoding);
}
