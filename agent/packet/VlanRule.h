#pragma once

#include "Bridging/Config.h"
#include "agent/packet/Packet.h"

#include <cstdint>
#include <optional>

namespace UmoAgent {

/// Whether the interface accepts a frame with this tag, or an untagged one. Access and routed
/// interfaces carry only their native VLAN, if any; others carry every VLAN that a tag names.
bool accepts(Bridging::SwitchportModeAndNativeVlan const &settings,
             std::optional<VlanTag> const &tag);

/// Whether frames of that VLAN leave the interface with a tag.
bool leavesTagged(Bridging::SwitchportModeAndNativeVlan const &settings, std::uint16_t vlan);

} // namespace UmoAgent
