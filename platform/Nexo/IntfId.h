#pragma once

#include "Base/Export.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace Nexo {

/// Identifies an interface of the switch. An identifier is a small number for the interface's name,
/// and is copied, hashed and compared as a number. Each name is kept once per process, and never
/// removed.
///
/// Identifiers are ordered by when their interface was first named, which is stable within a run
/// but says nothing about the names. Number 0 is the empty identifier: no interface.
///
/// The table of names is not locked: convert names to identifiers, and back, on the agent's event
/// thread only.
class PLATFORM_API IntfId {
  public:
    /// The empty identifier.
    constexpr IntfId() = default;

    /// The identifier of the interface of that name; the empty name gives the empty identifier. A
    /// name is any 1 to 15 visible ASCII characters except `/`, as Linux names its interfaces:
    /// `eth1`, `veth-a`, `br0.10`; but not `.` or `..`. Interfaces of a switch may be longer, and
    /// have a short form, which is the same interface:
    ///
    ///     Ethernet1, Ethernet1/2, Ethernet1/2/3   Et1, Et1/2, Et1/2/3   numbers 1-9999
    ///     Port-Channel5                           Po5                   1-9999
    ///     Vlan10                                  Vl10                  0-4095
    ///     Loopback0                               Lo0                   0-9999
    ///     Management1                             Ma1                   0-9999
    ///
    /// Upper and lower case are as shown, numbers have no leading zeros. Vlan0 and Vlan4095 are
    /// accepted, although no traffic can use these VLANs. Any name with one of these words before
    /// its first digit must be one of these names, so that a mistake such as Ethernet01 or Vlan9999
    /// does not name yet another interface. Throws std::invalid_argument, quoting `name`, for
    /// anything else. Allocates only when the interface is named for the first time.
    explicit IntfId(std::string_view name);

    constexpr bool empty() const { return number_ == 0; }

    /// The number for the name; it differs from run to run.
    constexpr std::uint32_t number() const { return number_; }

    /// The long name, `Ethernet1/2`; empty for the empty identifier. Valid as long as the process.
    std::string const &stringValue() const;

    /// The short name, `Et1/2`, or the name itself if it has no short form; empty for the empty
    /// identifier. Valid as long as the process.
    std::string const &shortName() const;

    friend constexpr auto operator<=>(IntfId const &, IntfId const &) = default;

  private:
    friend class VlanIntfId;

    /// The VLAN number in the name; nothing if this is not a VLAN interface.
    std::optional<std::uint16_t> vlan() const;

    std::uint32_t number_ = 0;
};

static_assert(sizeof(IntfId) == 4 && std::is_trivially_copyable_v<IntfId>);

/// Prints the long name; nothing for the empty identifier.
PLATFORM_API std::ostream &operator<<(std::ostream &os, IntfId intf);

} // namespace Nexo

template <>
struct std::hash<Nexo::IntfId> {
    std::size_t operator()(Nexo::IntfId intf) const noexcept {
        return std::hash<std::uint32_t>{}(intf.number());
    }
};
