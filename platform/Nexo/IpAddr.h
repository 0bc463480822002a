#pragma once

#include "Base/Export.h"

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace Nexo {

/// An IPv4 address. The zero address, which is also the default, means none. Ordered numerically,
/// 9.0.0.0 before 10.0.0.0.
class PLATFORM_API IpAddr {
  public:
    constexpr IpAddr() = default;

    /// `value` is in host byte order: 10.0.0.1 is 0x0a000001.
    constexpr explicit IpAddr(std::uint32_t value) : value_(value) {}

    /// Reads `10.0.0.1`: four decimal numbers 0-255 without leading zeros.
    /// Throws std::invalid_argument, quoting `text`, if it is anything else.
    static IpAddr parse(std::string_view text);

    /// The address in host byte order.
    constexpr std::uint32_t value() const { return value_; }

    constexpr bool isZero() const { return value_ == 0; }

    /// Whether the address is a multicast group, 224.0.0.0 to 239.255.255.255.
    constexpr bool isMulticast() const { return value_ >> 28 == 0xe; }

    std::string stringValue() const;

    friend constexpr auto operator<=>(IpAddr const &, IpAddr const &) = default;

  private:
    std::uint32_t value_ = 0;
};

static_assert(sizeof(IpAddr) == 4);

/// Prints the text of stringValue().
PLATFORM_API std::ostream &operator<<(std::ostream &os, IpAddr addr);

} // namespace Nexo
