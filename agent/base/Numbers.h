#pragma once

#include "Vyr/Clock.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace UmoAgent {

/// The number that a text is: decimal digits without leading zeros. None for any other text.
std::optional<std::uint64_t> wholeNumber(std::string_view text);

/// The time that a text is, such as `10s`, `500ms`, `1m30s` or `2h`, also in `us` and `ns`, or a
/// plain number of seconds; at most a year. None for any other text.
std::optional<Vyr::Time> readTime(std::string_view text);

} // namespace UmoAgent
