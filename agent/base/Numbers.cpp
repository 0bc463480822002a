#include "agent/base/Numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <system_error>

namespace UmoAgent {

namespace {

struct TimeUnit {
    std::string_view name;
    std::uint64_t nanoseconds;
};
constexpr std::array<TimeUnit, 6> kTimeUnits{{{"h", 3'600'000'000'000},
                                              {"m", 60'000'000'000},
                                              {"s", 1'000'000'000},
                                              {"ms", 1'000'000},
                                              {"us", 1'000},
                                              {"ns", 1}}};
constexpr std::uint64_t kMaxTime = 365ULL * 24 * 3'600'000'000'000;

/// Takes a number and its unit from the front of `text`. Units must get smaller: `unit` is the
/// first that is still allowed, and moves past the one found.
std::optional<std::uint64_t> timePart(std::string_view &text, std::size_t &unit) {
    std::size_t const number = std::min(text.find_first_not_of("0123456789"), text.size());
    auto const count = wholeNumber(text.substr(0, number));
    text.remove_prefix(number);
    std::string_view const name = text.substr(0, text.find_first_of("0123456789"));
    text.remove_prefix(name.size());
    while (unit < kTimeUnits.size() && kTimeUnits.at(unit).name != name) {
        ++unit;
    }
    if (!count || *count > kMaxTime || unit == kTimeUnits.size()) {
        return std::nullopt;
    }
    return *count * kTimeUnits.at(unit++).nanoseconds;
}

} // namespace

std::optional<std::uint64_t> wholeNumber(std::string_view text) {
    std::uint64_t value = 0;
    char const *const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, value);
    bool const leadingZero = text.size() > 1 && text.front() == '0';
    return error == std::errc{} && stop == end && !leadingZero ? std::optional(value)
                                                               : std::nullopt;
}

std::optional<Vyr::Time> readTime(std::string_view text) {
    bool const plain = text.find_first_not_of("0123456789") == std::string_view::npos;
    std::string const withUnit = std::string(text) + (plain ? "s" : "");
    std::string_view rest = withUnit;
    std::uint64_t total = 0;
    for (std::size_t unit = 0; !rest.empty();) {
        auto const part = timePart(rest, unit);
        if (!part || *part > kMaxTime - total) {
            return std::nullopt;
        }
        total += *part;
    }
    return Vyr::Time(total);
}

} // namespace UmoAgent
