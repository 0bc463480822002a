#include "sim/Oracle.h"

#include <algorithm>

namespace Sim {

using Nexo::IntfId;

/// `intf` can no longer be used: the first other interface with a usable VLAN replaces it.
void RecircOracle::leave(PlainSwitch const &model, IntfId intf) {
    auto const next = std::find_if(l3_.begin(), l3_.end(), [&](auto const &entry) {
        return entry.first != intf && vlanUsable(model, entry.second);
    });
    vlan_ = next == l3_.end() ? 0 : next->second;
}

void RecircOracle::ipChanges(PlainSwitch const &model, IntfId intf) {
    auto const entry = entryOf(intf);
    if (entry == l3_.end()) {
        return;
    }
    if (!interfaceUp(model, intf) && entry->second == vlan_) {
        leave(model, intf);
    } else if (interfaceUp(model, intf) && vlan_ == 0) {
        vlan_ = entry->second;
    }
}

/// The first usable VLAN; if there is none, that of the first interface found up.
void RecircOracle::starts(PlainSwitch const &initial) {
    l3_.assign(initial.l3Interfaces.begin(), initial.l3Interfaces.end());
    leave(initial, IntfId());
    for (auto const &[intf, settings] : initial.ipInterfaces) {
        ipChanges(initial, intf);
    }
}

/// The changes within one event, in the order in which the agent makes them: L3 interfaces are
/// removed; IP interfaces are removed, silently; bridging changes; IP interfaces are added and
/// changed, one setting at a time; L3 interfaces are added and changed.
void RecircOracle::changes(PlainSwitch const &before, PlainSwitch const &after) {
    PlainSwitch now = before; // the changes so far, as far as they matter here
    std::erase_if(now.l3Interfaces, [&](auto const &l3) {
        auto const kept = after.l3Interfaces.find(l3.first);
        return kept == after.l3Interfaces.end() || kept->second != l3.second;
    });
    for (auto const &[intf, vlan] : L3Entries(l3_)) {
        if (after.l3Interfaces.count(intf) == 0) {
            if (vlan == vlan_) {
                leave(now, intf);
            }
            l3_.erase(entryOf(intf));
        }
    }
    std::erase_if(now.ipInterfaces,
                  [&](auto const &ip) { return after.ipInterfaces.count(ip.first) == 0; });
    now.vlans = after.vlans;
    now.topologyOfVlan = after.topologyOfVlan;
    for (auto const &[intf, settings] : after.ipInterfaces) {
        auto const [ip, fresh] =
            now.ipInterfaces.try_emplace(intf, UmoAgent::Table::IpInterface::Value{{}, false});
        if (fresh) {
            ipChanges(now, intf);
        }
        if (ip->second.address != settings.address) {
            ip->second.address = settings.address;
            ipChanges(now, intf);
        }
        if (ip->second.routing != settings.routing) {
            ip->second.routing = settings.routing;
            ipChanges(now, intf);
        }
    }
    for (auto const &[intf, vlan] : after.l3Interfaces) {
        auto const entry = entryOf(intf);
        if (entry != l3_.end() && entry->second == vlan) {
            continue;
        }
        (entry == l3_.end() ? l3_.emplace_back(intf, 0) : *entry).second = vlan;
        if (vlan_ == 0) {
            vlan_ = vlan;
        }
    }
}

RecircOracle::L3Entries::iterator RecircOracle::entryOf(IntfId intf) {
    return std::find_if(l3_.begin(), l3_.end(), [&](auto const &l3) { return l3.first == intf; });
}

} // namespace Sim
