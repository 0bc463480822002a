#pragma once

#include <cstddef>

namespace TestSupport {

/// The program's allocations so far. The source beside it replaces the program's operator new,
/// and is therefore linked into the program of these tests only.
std::size_t allocations() noexcept;

} // namespace TestSupport
