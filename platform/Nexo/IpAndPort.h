#pragma once

#include "Base/Export.h"
#include "Nexo/IpAddr.h"

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace Nexo {

/// An IPv4 address with a transport port, as a translation rewrites or matches them. A zero address
/// means no translation; port 0 means that the port is ignored. Ordered by address, then by port.
class PLATFORM_API IpAndPort {
  public:
    constexpr IpAndPort() = default;
    constexpr IpAndPort(IpAddr addr, std::uint16_t port) : addr_(addr), port_(port) {}

    /// Reads `10.0.0.1:5000`, or `10.0.0.1` for port 0. The port is a decimal number 0-65535
    /// without leading zeros. Throws std::invalid_argument, quoting the malformed text or the
    /// malformed address in it.
    static IpAndPort parse(std::string_view text);

    constexpr IpAddr addr() const { return addr_; }
    constexpr std::uint16_t port() const { return port_; }

    /// Always with the port, `10.0.0.1:0` if it is 0.
    std::string stringValue() const;

    friend constexpr auto operator<=>(IpAndPort const &, IpAndPort const &) = default;

  private:
    IpAddr addr_;
    std::uint16_t port_ = 0;
};

static_assert(sizeof(IpAndPort) == 8);

/// Prints the text of stringValue().
PLATFORM_API std::ostream &operator<<(std::ostream &os, IpAndPort ipAndPort);

} // namespace Nexo
