#include "tests/Mox/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

static std::atomic<std::size_t> count{0};

std::size_t TestSupport::allocations() noexcept {
    return count;
}

// The forms that may meet each other: those for arrays end in these, or with a sanitizer are
// all its own.
void *operator new(std::size_t size, std::nothrow_t const &) noexcept {
    ++count;
    return std::malloc(size == 0 ? 1 : size);
}
void *operator new(std::size_t size) {
    void *const memory = operator new(size, std::nothrow);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void *memory) noexcept {
    std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}
