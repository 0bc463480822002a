#include "HeapCount.h"

#include <cstdlib>
#include <new>

static std::size_t count = 0;

std::size_t Bench::allocations() noexcept {
    return count;
}

void *operator new(std::size_t size) {
    void *const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++count;
    return memory;
}
void operator delete(void *memory) noexcept {
    std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}
