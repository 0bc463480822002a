#pragma once

#include "Ip/NatFlowType.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "sim/Plain.h"

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace Sim {

/// What a switch should do, computed from its inputs anew each time, by brute force and in the
/// plainest way. Shares nothing with the library but value types.

struct Ports {
    std::set<Nexo::IntfId> interfaces;
    Nexo::EthAddr dmac{};

    bool operator==(Ports const &) const = default;
};

/// The port sets of an action: unicast ones or not, by VLAN.
using PortSets = std::map<std::pair<bool, std::uint16_t>, Ports>;

/// Whether `vlan` can carry flows.
bool vlanUsable(PlainSwitch const &model, std::uint16_t vlan);

/// Whether `intf` routes and has an address.
bool interfaceUp(PlainSwitch const &model, Nexo::IntfId intf);

/// What kind of flow an action makes.
Ip::Nat::NatFlowType expectedFlowType(PlainMatch const &match, PlainAction const &action);

/// The number of groups that a match needs.
std::uint32_t expectedGroups(PlainMatch const &match);

/// Where the copies of an action of that type go, with `recircVlan` being the recirculation VLAN.
PortSets expectedPorts(PlainSwitch const &model, Ip::Nat::NatFlowType type,
                       PlainAction const &action, std::uint16_t recircVlan);

/// Whether what the ports of an action depend on differs between two states in a way of which
/// nobody tells the action.
bool changesSilently(PlainSwitch const &before, PlainSwitch const &after,
                     PlainAction const &action);

/// The recirculation VLAN, which depends on what came first: follows a switch from the start.
class RecircOracle {
  public:
    [[nodiscard]] std::uint16_t vlan() const { return vlan_; }

    void starts(PlainSwitch const &initial);
    void changes(PlainSwitch const &before, PlainSwitch const &after);

  private:
    using L3Entries = std::vector<std::pair<Nexo::IntfId, std::uint16_t>>;

    L3Entries::iterator entryOf(Nexo::IntfId intf);
    void leave(PlainSwitch const &model, Nexo::IntfId intf);
    void ipChanges(PlainSwitch const &model, Nexo::IntfId intf);

    L3Entries l3_; // in the order of their coming
    std::uint16_t vlan_ = 0;
};

} // namespace Sim
