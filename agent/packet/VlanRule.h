#pragma once

#include "Bridging/Config.h"
#include "agent/packet/Packet.h"

#include <cstdint>
#include <optional>

namespace UmoAgent {

/// Whether the interface accepts a frame with this tag, or an untagged one. A routed interface
/// accepts untagged frames, an access interface those of its native VLAN, if any, with or without a
/// tag; other interfaces accept every VLAN that a tag names, and untagged frames if there is a
/// native VLAN.
bool accepts(Bridging::SwitchportModeAndNativeVlan const &settings,
             std::optional<VlanTag> const &tag);

/// Whether frames of that VLAN leave the interface with a tag.
bool leavesTagged(Bridging::SwitchportModeAndNativeVlan const &settings, std::uint16_t vlan);

} // namespace UmoAgent
