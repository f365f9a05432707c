/// Counts what is on the heap, in front of the C library's allocator.

#include <malloc.h>

#include <cstdlib>

#include "bench/Bench.h"

namespace {

std::size_t heapUsed = 0;
std::size_t heapAtReset = 0;
std::size_t heapPeak = 0;

void* Count(void* memory) {
    heapUsed += memory != nullptr ? malloc_usable_size(memory) : 0;
    heapPeak = heapUsed > heapPeak ? heapUsed : heapPeak;
    return memory;
}

void Discount(void* memory) {
    heapUsed -= memory != nullptr ? malloc_usable_size(memory) : 0;
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

void ResetHeapPeak() {
    heapAtReset = heapUsed;
    heapPeak = heapUsed;
}

std::size_t HeapPeak() {
    return heapPeak - heapAtReset;
}

}  // namespace tal::bench
