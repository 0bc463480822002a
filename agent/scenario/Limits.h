#pragma once

#include <cstddef>

/// What one file may take: enough for a switch of 100,000 actions several times over, and little
/// enough that no file can take the agent's memory or time.
namespace UmoAgent::Limits {

inline constexpr std::size_t kBytes = std::size_t{64} << 20U;
/// Scalars, lists and mappings, with each alias counted as what it stands for.
inline constexpr std::size_t kValues = 4'000'000;
/// Rows of tables that are set or removed, in all events together.
inline constexpr std::size_t kChanges = 500'000;
inline constexpr std::size_t kEvents = 500'000;
/// Mistakes that are reported; of the others, the number is.
inline constexpr std::size_t kMistakes = 100;

} // namespace UmoAgent::Limits
