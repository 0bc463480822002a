#include "tests/Mox/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::size_t> allocations{0};

void *allocate(std::size_t size) noexcept {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size == 0 ? 1 : size);
}
} // namespace

std::size_t TestSupport::AllocationCount::total() noexcept {
    return allocations.load(std::memory_order_relaxed);
}

// All forms that may meet each other: a sanitizer brings its own of those that are left out.
void *operator new(std::size_t size) {
    if (void *memory = allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void *operator new[](std::size_t size) {
    return operator new(size);
}
void *operator new(std::size_t size, std::nothrow_t const &) noexcept {
    return allocate(size);
}
void *operator new[](std::size_t size, std::nothrow_t const &) noexcept {
    return allocate(size);
}
void operator delete(void *memory) noexcept {
    std::free(memory);
}
void operator delete[](void *memory) noexcept {
    std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void *memory, std::size_t) noexcept {
    std::free(memory);
}
