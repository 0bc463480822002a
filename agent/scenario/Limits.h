#pragma once

#include <cstddef>

/// The limits for one file: several times enough for a switch of 100,000 actions, but too small to
/// use up the agent's memory or time.
namespace UmoAgent::Limits {

inline constexpr std::size_t kBytes = std::size_t{64} << 20U;
/// Scalars, lists and mappings, each alias counted as its expansion.
inline constexpr std::size_t kValues = 4'000'000;
/// Rows of tables that are set or removed, over all events. An action counts once more each time
/// its flow becomes multicast or stops being multicast.
inline constexpr std::size_t kChanges = 250'000;
inline constexpr std::size_t kEvents = 250'000;
/// The memory of changes and notes.
inline constexpr std::size_t kMadeBytes = std::size_t{128} << 20U;
/// In the name of a policy, match, action or topology, and in a note.
inline constexpr std::size_t kNameBytes = 1024;
inline constexpr std::size_t kNoteBytes = 65536;
/// The printouts of an applied file, and the bytes of its answer.
inline constexpr std::size_t kPrintouts = 100;
inline constexpr std::size_t kAnswerBytes = std::size_t{16} << 20U;
/// The mistakes that are reported; the rest are only counted.
inline constexpr std::size_t kMistakes = 100;

} // namespace UmoAgent::Limits
