#pragma once

#include "Base/Export.h"
#include "Bridging/VlanId.h"
#include "Mox/Attributes.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"

#include <cstdint>
#include <iosfwd>

namespace Bridging {

/// How an interface takes part in bridging.
enum class SwitchportMode : std::uint8_t {
    access = 0,
    trunk = 1,
    dot1qTunnel = 2,
    routed = 6,
};

/// Whether an interface in that mode carries other VLANs than its native one.
constexpr bool carriesSeveralVlans(SwitchportMode mode) noexcept {
    return mode != SwitchportMode::access && mode != SwitchportMode::routed;
}

PLATFORM_API std::ostream &operator<<(std::ostream &out, SwitchportMode mode);

/// The two settings change together, as one attribute. The native VLAN is that of the interface's
/// untagged traffic.
struct SwitchportModeAndNativeVlan {
    SwitchportMode mode = SwitchportMode::access;
    VlanIdOrNone nativeVlan{};

    bool operator==(SwitchportModeAndNativeVlan const &) const = default;
};

class PLATFORM_API SwitchIntfConfig final : public Mox::Entity {
    MOX_KEY(SwitchIntfConfig, Nexo::IntfId, intf)
    MOX_ATTRIBUTE(SwitchportModeAndNativeVlan, switchportModeAndNativeVlan)
};

class PLATFORM_API Config final : public Mox::Entity {
    MOX_ATTRIBUTE(Nexo::EthAddr, bridgeMacAddr) // the switch's own
    MOX_CHILDREN(Nexo::IntfId, SwitchIntfConfig, switchIntfConfig)
};

} // namespace Bridging
