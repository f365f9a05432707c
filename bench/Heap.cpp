/// Counts what is on the heap while it is asked to, in front of the C library's allocator.

#include <malloc.h>

#include <algorithm>
#include <cstdlib>

#include "bench/Bench.h"

namespace {

bool isCounting = false;
// Negative while more has been given back than taken.
std::ptrdiff_t heapUsed = 0;
std::ptrdiff_t heapPeak = 0;

void* Count(void* memory) {
    if (isCounting) {
        heapUsed += static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
        heapPeak = std::max(heapPeak, heapUsed);
    }
    return memory;
}

void Discount(void* memory) {
    if (isCounting) {
        heapUsed -= static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    }
}

}  // namespace

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) {
    return Count(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
    return Count(__libc_calloc(count, size));
}

void* realloc(void* memory, std::size_t size) {
    Discount(memory);
    return Count(__libc_realloc(memory, size));
}

void free(void* memory) {
    Discount(memory);
    __libc_free(memory);
}
}

namespace tal::bench {

void StartCountingHeap() {
    heapUsed = 0;
    heapPeak = 0;
    isCounting = true;
}

std::size_t StopCountingHeap() {
    isCounting = false;
    return static_cast<std::size_t>(heapPeak);
}

}  // namespace tal::bench
