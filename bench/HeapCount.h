#pragma once

#include <cstddef>

namespace Bench {

/// The allocations so far of the program and its libraries. The source file replaces operator new
/// of the benchmark or test program that links it.
std::size_t allocations() noexcept;

} // namespace Bench
