#include "agent/packet/VlanRule.h"

namespace UmoAgent {

bool accepts(Bridging::SwitchportModeAndNativeVlan const &settings,
             std::optional<VlanTag> const &tag) {
    bool const hasVlan = tag && tag->vlan != 0;
    if (settings.mode == Bridging::SwitchportMode::routed) {
        return !hasVlan;
    }
    if (hasVlan && Bridging::carriesSeveralVlans(settings.mode)) {
        return tag->vlan <= 4094;
    }
    return settings.nativeVlan.usable() && (!hasVlan || tag->vlan == settings.nativeVlan.value());
}

bool leavesTagged(Bridging::SwitchportModeAndNativeVlan const &settings, std::uint16_t vlan) {
    return Bridging::carriesSeveralVlans(settings.mode) &&
           !(settings.nativeVlan.usable() && vlan == settings.nativeVlan.value());
}

} // namespace UmoAgent
