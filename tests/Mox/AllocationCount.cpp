#include "tests/Mox/AllocationCount.h"

#include <cstdlib>
#include <new>

static std::size_t count = 0;

std::size_t TestSupport::allocations() noexcept {
    return count;
}

void *operator new(std::size_t size) {
    ++count;
    void *const memory = std::malloc(size == 0 ? 1 : size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void *memory) noexcept {
    std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}
