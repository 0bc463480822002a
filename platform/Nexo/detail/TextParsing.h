#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

/// Text parsing for the value types of this folder; private to their sources. Parsing is strict: a
/// text that is not entirely of the expected form is refused, so that a typing error in a
/// configuration is reported at once and not found later as a wrong address.
namespace Nexo::detail {

/// All of `text` as an unsigned number of that base; nothing if it is not one.
inline std::optional<std::uint32_t> parseUnsigned(std::string_view text, int base) {
    std::uint32_t value = 0;
    char const *const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc{} || stop != end) {
        return std::nullopt;
    }
    return value;
}

/// A decimal number from `min` to `max`. Leading zeros are refused: some read 010 as 8, others
/// as 10.
inline std::optional<std::uint32_t> parseDecimal(std::string_view text, std::uint32_t min,
                                                 std::uint32_t max) {
    if (text.size() > 1 && text.front() == '0') {
        return std::nullopt;
    }
    auto const value = parseUnsigned(text, 10);
    return value && *value >= min && *value <= max ? value : std::nullopt;
}

/// Yields the fields of a text one by one. A text with n separators has n + 1 fields; any may be
/// empty. The text must outlive this object.
class Fields {
  public:
    Fields(std::string_view text, char separator) : rest_(text), separator_(separator) {}

    bool done() const { return done_; }

    /// The next field; empty if none is left.
    std::string_view next() {
        auto const length = rest_.find(separator_);
        auto const field = rest_.substr(0, length);
        done_ = length == std::string_view::npos;
        rest_.remove_prefix(done_ ? rest_.size() : length + 1);
        return field;
    }

  private:
    std::string_view rest_;
    char separator_;
    bool done_ = false;
};

/// Throws std::invalid_argument: malformed <what> "<text>": expected <expected>.
[[noreturn]] inline void throwMalformed(std::string_view what, std::string_view text,
                                        std::string_view expected) {
    std::string message("malformed ");
    message.append(what).append(" \"").append(text).append("\": expected ").append(expected);
    throw std::invalid_argument(message);
}

} // namespace Nexo::detail
