#pragma once

#include "Base/Export.h"
#include "Bridging/VlanId.h"
#include "Mox/Attributes.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"

#include <cstdint>
#include <iosfwd>

namespace Bridging {

/// How an interface takes part in bridging. Only access and routed are told apart from the rest,
/// whose interfaces carry several VLANs.
enum class SwitchportMode : std::uint8_t {
    access = 0,
    trunk = 1,
    dot1qTunnel = 2,
    routed = 6,
};

PLATFORM_API std::ostream &operator<<(std::ostream &out, SwitchportMode mode);

/// The two settings change together, as one attribute. The native VLAN is the one that untagged
/// traffic of the interface belongs to.
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
