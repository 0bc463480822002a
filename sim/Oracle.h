#pragma once

#include "Ip/NatFlowType.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "sim/Plain.h"
#include "sim/PlainPacket.h"

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace Sim {

/// What a switch should do, computed from its inputs each time, by brute force and in the simplest
/// way. Shares only value types with the library.

struct Ports {
    std::set<Nexo::IntfId> interfaces;
    Nexo::EthAddr dmac{};

    bool operator==(Ports const &) const = default;
};

/// The port sets of an action, by unicast or not, and VLAN.
using PortSets = std::map<std::pair<bool, std::uint16_t>, Ports>;

/// Whether `vlan` can carry flows.
bool vlanUsable(PlainSwitch const &model, std::uint16_t vlan);

/// Whether `intf` routes and has an address.
bool interfaceUp(PlainSwitch const &model, Nexo::IntfId intf);

/// The flow type of an action.
Ip::Nat::NatFlowType expectedFlowType(PlainMatch const &match, PlainAction const &action);

/// The number of groups that a match needs.
std::uint32_t expectedGroups(PlainMatch const &match);

/// The port sets of an action of that flow type.
PortSets expectedPorts(PlainSwitch const &model, Ip::Nat::NatFlowType type,
                       PlainAction const &action, std::uint16_t recircVlan);

/// Whether the inputs of an action's port sets differ between two states in a way that does not
/// notify the action.
bool changesSilently(PlainSwitch const &before, PlainSwitch const &after,
                     PlainAction const &action);

/// Policy and match.
using MatchName = std::pair<Pelo::String, Pelo::String>;

/// What becomes of a packet.
struct Delivery {
    std::vector<PlainPacket> copies;
    std::vector<MatchName> hits; // the matches that selected it, or a recirculated copy
};

/// The delivery of a packet that comes in, or of a recirculated copy, when everything is
/// programmed.
Delivery expectedDelivery(PlainSwitch const &model, std::uint16_t recircVlan,
                          PlainPacket const &packet, bool recirculated = false);

/// The recirculation VLAN. It depends on history, so this follows a switch from the start.
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

    L3Entries l3_; // in order of insertion
    std::uint16_t vlan_ = 0;
};

} // namespace Sim
