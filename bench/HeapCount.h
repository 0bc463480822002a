#pragma once

#include <cstddef>

namespace Bench {

/// The program's allocations so far, its libraries' included. The source beside it replaces
/// operator new.
std::size_t allocations() noexcept;

} // namespace Bench
