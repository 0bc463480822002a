#pragma once

#include <cstddef>

namespace Bench {

/// The program's allocations so far, its libraries' included. The source beside it replaces
/// operator new of the benchmark or test program that links it.
std::size_t allocations() noexcept;

} // namespace Bench
