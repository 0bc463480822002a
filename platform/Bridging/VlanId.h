#pragma once

#include "Base/Export.h"

#include <compare>
#include <cstdint>
#include <functional>
#include <iosfwd>

namespace Bridging {

/// A VLAN number, 1 to 4094. A number that may not be a VLAN is a plain 16-bit value, with 0 for
/// none, and becomes a VlanId only for a lookup.
class PLATFORM_API VlanId {
  public:
    /// Throws std::range_error outside 1 to 4094.
    explicit VlanId(std::uint16_t value);

    [[nodiscard]] std::uint16_t value() const noexcept { return value_; }
    auto operator<=>(VlanId const &) const = default;

  private:
    std::uint16_t value_;
};

PLATFORM_API std::ostream &operator<<(std::ostream &out, VlanId vlan);

/// A VLAN number that may be unset: 0 and 4095 both mean no usable VLAN.
class PLATFORM_API VlanIdOrNone {
  public:
    VlanIdOrNone() noexcept = default;
    explicit VlanIdOrNone(std::uint16_t value) noexcept : value_(value) {}

    [[nodiscard]] std::uint16_t value() const noexcept { return value_; }
    [[nodiscard]] bool usable() const noexcept { return value_ != 0 && value_ != 4095; }
    bool operator==(VlanIdOrNone const &) const = default;

  private:
    std::uint16_t value_ = 0;
};

PLATFORM_API std::ostream &operator<<(std::ostream &out, VlanIdOrNone vlan);

/// A filtering database id. The id of a VLAN's database is the VLAN's number.
class PLATFORM_API Fid {
  public:
    explicit Fid(std::uint16_t value) noexcept : value_(value) {}

    [[nodiscard]] std::uint16_t value() const noexcept { return value_; }
    auto operator<=>(Fid const &) const = default;

  private:
    std::uint16_t value_;
};

PLATFORM_API std::ostream &operator<<(std::ostream &out, Fid fid);

} // namespace Bridging

template <>
struct std::hash<Bridging::VlanId> {
    std::size_t operator()(Bridging::VlanId vlan) const noexcept { return vlan.value(); }
};

template <>
struct std::hash<Bridging::Fid> {
    std::size_t operator()(Bridging::Fid fid) const noexcept { return fid.value(); }
};
