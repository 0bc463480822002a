#pragma once

#include "Base/Export.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Nexo {

/// A 48-bit MAC address. The zero address, which is also the default, means none. Ordered
/// numerically, the first octet first.
class PLATFORM_API EthAddr {
  public:
    constexpr EthAddr() = default;

    /// `value` holds the address in its lower 48 bits, the first octet highest: 01:00:5e:00:00:00
    /// is 0x01005e000000. Throws std::invalid_argument if a higher bit is set.
    constexpr explicit EthAddr(std::uint64_t value) : value_(value) {
        if (value >> 48 != 0) {
            throw std::invalid_argument("MAC address has more than 48 bits");
        }
    }

    /// Reads `aa:bb:cc:dd:ee:ff`: six octets of two hexadecimal digits each, of either case.
    /// Throws std::invalid_argument, quoting `text`, if it is anything else.
    static EthAddr parse(std::string_view text);

    static constexpr EthAddr ethAddrZero() { return EthAddr(); }

    /// The address in the lower 48 bits, the first octet highest.
    constexpr std::uint64_t value() const { return value_; }

    constexpr bool isZero() const { return value_ == 0; }

    /// Whether this is a group address, broadcast included.
    constexpr bool isMulticast() const { return (value_ >> 40 & 1) != 0; }

    /// In lower case.
    std::string stringValue() const;

    friend constexpr auto operator<=>(EthAddr const &, EthAddr const &) = default;

  private:
    std::uint64_t value_ = 0;
};

static_assert(sizeof(EthAddr) == 8);

/// Prints the text of stringValue().
PLATFORM_API std::ostream &operator<<(std::ostream &os, EthAddr addr);

} // namespace Nexo

template <>
struct std::hash<Nexo::EthAddr> {
    std::size_t operator()(Nexo::EthAddr addr) const noexcept {
        return std::hash<std::uint64_t>{}(addr.value());
    }
};
