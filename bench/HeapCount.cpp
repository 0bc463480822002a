#include "HeapCount.h"

#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

Bench::Heap heap{};

std::size_t taken(void *memory) noexcept {
    return malloc_usable_size(memory) + sizeof(std::size_t);
}

} // namespace

Bench::Heap Bench::Heap::now() noexcept {
    return heap;
}

void *operator new(std::size_t size) {
    void *const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++heap.allocations;
    heap.bytes += taken(memory);
    return memory;
}
void operator delete(void *memory) noexcept {
    if (memory != nullptr) {
        heap.bytes -= taken(memory);
        std::free(memory);
    }
}
void operator delete(void *memory, std::size_t) noexcept {
    operator delete(memory);
}
