#pragma once

#include "Base/Export.h"
#include "Mox/Attributes.h"
#include "Nexo/IntfId.h"

#include <compare>
#include <cstdint>
#include <functional>

namespace UmoL3Intf {

/// The id of a layer-3 interface. An SVI's id is the number of its VLAN.
class PLATFORM_API L3Id {
  public:
    explicit L3Id(std::uint16_t value) noexcept : value_(value) {}

    [[nodiscard]] std::uint16_t value() const noexcept { return value_; }
    auto operator<=>(L3Id const &) const = default;

  private:
    std::uint16_t value_;
};

/// The VLAN number of an L3 id.
[[nodiscard]] inline std::uint16_t l3IdToVlanId(L3Id id) noexcept {
    return id.value();
}

} // namespace UmoL3Intf

template <>
struct std::hash<UmoL3Intf::L3Id> {
    std::size_t operator()(UmoL3Intf::L3Id id) const noexcept { return id.value(); }
};

namespace UmoL3Intf {

/// The L3 interfaces: the id of each interface, and the interface of each id.
class PLATFORM_API Table final : public Mox::Entity {
    MOX_VALUES(Nexo::IntfId, L3Id, intfL3Index)
    MOX_VALUES(L3Id, Nexo::IntfId, routedPortName)
};

} // namespace UmoL3Intf
