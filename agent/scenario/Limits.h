#pragma once

#include <cstddef>

/// What one file may take: enough for a switch of 100,000 actions several times over, and little
/// enough that no file can take the agent's memory or time.
namespace UmoAgent::Limits {

inline constexpr std::size_t kBytes = std::size_t{64} << 20U;
/// Scalars, lists and mappings, with each alias counted as what it stands for.
inline constexpr std::size_t kValues = 4'000'000;
/// Rows of tables that are set or removed, in all events together; an action counts once more for
/// each time that its flow becomes a multicast one or ceases to be one.
inline constexpr std::size_t kChanges = 250'000;
inline constexpr std::size_t kEvents = 250'000;
/// What changes and notes take in memory.
inline constexpr std::size_t kMadeBytes = std::size_t{128} << 20U;
/// Of the name of a policy, match, action or topology, and of a note.
inline constexpr std::size_t kNameBytes = 1024;
inline constexpr std::size_t kNoteBytes = 65536;
/// Printouts in one file that is applied, and the bytes of its answer.
inline constexpr std::size_t kPrintouts = 100;
inline constexpr std::size_t kAnswerBytes = std::size_t{16} << 20U;
/// Mistakes that are reported; of the others, the number is.
inline constexpr std::size_t kMistakes = 100;

} // namespace UmoAgent::Limits
