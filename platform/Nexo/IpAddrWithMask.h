#pragma once

#include "Base/Export.h"
#include "Nexo/IpAddr.h"

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace Nexo {

/// An interface's IPv4 address with the length of its subnet mask. The default, 0.0.0.0/0, means
/// that the interface has no address. The address keeps its host bits: 10.0.0.1/24 and
/// 10.0.0.2/24 differ. Ordered by address, then by mask length.
class PLATFORM_API IpAddrWithMask {
  public:
    constexpr IpAddrWithMask() = default;

    /// `maskLen` is in bits, 0 to 32; throws std::invalid_argument if it is more.
    IpAddrWithMask(IpAddr addr, std::uint8_t maskLen);

    /// Reads `10.0.0.1/24`; the length is required. Throws std::invalid_argument, quoting the
    /// malformed text or the malformed address in it.
    static IpAddrWithMask parse(std::string_view text);

    constexpr IpAddr addr() const { return addr_; }

    /// The mask's length in bits, 0 to 32.
    constexpr std::uint8_t maskLen() const { return maskLen_; }

    std::string stringValue() const;

    friend constexpr auto operator<=>(IpAddrWithMask const &, IpAddrWithMask const &) = default;

  private:
    IpAddr addr_;
    std::uint8_t maskLen_ = 0;
};

static_assert(sizeof(IpAddrWithMask) == 8);

/// Prints the text of stringValue().
PLATFORM_API std::ostream &operator<<(std::ostream &os, IpAddrWithMask addrWithMask);

} // namespace Nexo
