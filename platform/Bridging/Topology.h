#pragma once

#include "Base/Export.h"
#include "Bridging/VlanId.h"
#include "Mox/Attributes.h"
#include "Nexo/IntfId.h"
#include "Pelo/String.h"

#include <cstdint>
#include <iosfwd>

/// Spanning-tree state: each VLAN belongs to a topology, and each topology has a state for each
/// of its ports.
namespace Bridging::Topology {

/// Only a forwarding port carries traffic; all other states are equivalent.
enum class PortState : std::uint8_t {
    disabled = 0,
    blocking = 1,
    learning = 2,
    forwarding = 3,
};

PLATFORM_API std::ostream &operator<<(std::ostream &out, PortState state);

class PLATFORM_API TopoPortConfig final : public Mox::Entity {
    MOX_KEY(TopoPortConfig, Nexo::IntfId, intf)
    MOX_ATTRIBUTE(PortState, portState)
};

class PLATFORM_API TopoConfig final : public Mox::Entity {
    MOX_KEY(TopoConfig, Pelo::String, name)
    MOX_CHILDREN(Nexo::IntfId, TopoPortConfig, topoPortConfig)
};

class PLATFORM_API Config final : public Mox::Entity {
    MOX_REFERENCES(VlanId, TopoConfig, vidToTopoMap)
};

} // namespace Bridging::Topology
