#pragma once

#include <chrono>

namespace Mox {

/// A duration in seconds, as a double.
using Seconds = std::chrono::duration<double>;

} // namespace Mox
