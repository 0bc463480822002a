#pragma once

#include <cstddef>

namespace Bench {

/// The allocations of the program so far, its libraries' included, and the bytes that they hold
/// now. The source beside it replaces operator new.
struct Heap {
    std::size_t allocations;
    std::size_t bytes; // as the allocator hands them out, with its own word for each

    static Heap now() noexcept;
};

} // namespace Bench
