#pragma once

#include "Pelo/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>

/// The fast trace: an always-on ring of the last handler entries of the process, to be read after
/// something went wrong. Recording allocates nothing and formats nothing.
namespace Skimtrace {

/// Records kept; older ones are overwritten.
inline constexpr std::size_t kCapacity = 4096;

/// Names of more bytes are cut in the record.
inline constexpr std::size_t kNameBytes = 31;

/// The names that a record carries, such as policy, match and flow.
struct Names {
    std::string_view first{};
    std::string_view second{};
    std::string_view third{};
};

/// Records one entry. `format` must be a string literal; in it the dump replaces each "%s" with
/// the next name, and each "%u" with `number`.
PLATFORM_API void record(char const *format, Names const &names = {},
                         std::uint32_t number = 0) noexcept;

/// Writes the newest `count` records, oldest first, a line each: running number, then the text.
PLATFORM_API void dump(std::ostream &out, std::size_t count = kCapacity);

} // namespace Skimtrace
