#pragma once

#include "Bridging/Config.h"
#include "Bridging/Status.h"
#include "Bridging/Topology.h"
#include "Ip/IpStatus.h"
#include "Ip/NatHwStatus.h"
#include "Ip/NatStatus.h"
#include "Mox/Ptr.h"
#include "Pelo/String.h"
#include "UmoL3Intf/Table.h"
#include "agent/switch/Tables.h"

#include <map>
#include <optional>
#include <set>
#include <vector>

namespace UmoAgent {

class Draft;

/// The entities that the agent mounts for the NAT library: what the switch's other agents would
/// publish. The agent stores no second copy of the switch, only what the entities do not contain.
/// Also holds the hardware status tree, which the library writes.
class SwitchState {
  public:
    /// All entities, without entries.
    SwitchState();

    /// Applies `draft`, which was made on this state and has no faults; the draft cannot be used
    /// afterwards. The time is proportional to the draft. Followers are notified of differences
    /// only, in this order:
    ///
    ///  1. actions that stay but change get version 0, so that nobody evaluates a half-made change;
    ///  2. removals: egress interfaces, then actions, matches and policies, each as a whole; then
    ///     L3 interfaces, IP interfaces, learned MACs, the VLANs and ports of topologies, VLAN
    ///     members, VLANs, interfaces;
    ///  3. additions and changes: bridge MAC, interfaces, VLANs, topologies, learned MACs, IP
    ///     interfaces, L3 interfaces; then policies, matches with their flows, and actions;
    ///  4. the versions of the actions, when everything else is in place.
    ///
    /// Within each step existing rows come first, in the order in which they were added, then new
    /// ones.
    void mount(Draft const &draft);

    /// The row; none if there is none.
    template <class T>
    [[nodiscard]] std::optional<typename T::Value> find(typename T::Key const &key) const;

    [[nodiscard]] std::vector<Bridging::VlanId> vlansOfTopology(Pelo::String const &topology) const;
    /// The interface with the L3 id, or the empty one.
    [[nodiscard]] Nexo::IntfId l3InterfaceOf(Bridging::VlanId id) const;
    /// In order.
    [[nodiscard]] std::vector<Pelo::String> actionsOfMatch(Table::Match::Key const &key) const;
    /// Whether the action's flow is not multicast, or once was not.
    [[nodiscard]] bool neededMacs(Table::Action::Key const &key) const;
    /// Whether the switch has, or once had, the interface.
    [[nodiscard]] bool everDeclared(Nexo::IntfId intf) const { return declared_.count(intf) != 0; }

    [[nodiscard]] Mox::Ptr<Ip::Nat::Status> const &natStatus() const { return natStatus_; }
    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &hwStatus() const { return hwStatus_; }
    [[nodiscard]] Mox::Ptr<Bridging::Config> const &bridgingConfig() const {
        return bridgingConfig_;
    }
    [[nodiscard]] Mox::Ptr<Bridging::Status> const &bridgingStatus() const {
        return bridgingStatus_;
    }
    [[nodiscard]] Mox::Ptr<Bridging::VlanStatusDir> const &vlanStatusDir() const {
        return vlanStatusDir_;
    }
    [[nodiscard]] Mox::Ptr<Bridging::Topology::Config> const &topologyConfig() const {
        return topologyConfig_;
    }
    [[nodiscard]] Mox::Ptr<UmoL3Intf::Table> const &l3Table() const { return l3Table_; }
    [[nodiscard]] Mox::Ptr<Ip::Status> const &ipStatus() const { return ipStatus_; }

  private:
    [[nodiscard]] Mox::Ptr<Ip::Nat::NatFlowMatchStatus> match(Table::Match::Key const &key) const;
    [[nodiscard]] Mox::Ptr<Ip::Nat::NatFlowActionStatus>
    action(Table::Action::Key const &key) const;

    void removeTopologies(Draft const &draft);
    void setTopologies(Draft const &draft);

    ChipCapacity chip_;
    Table::Tuning::Value tuning_;
    Mox::Ptr<Ip::Nat::Status> natStatus_;
    Mox::Ptr<Ip::Nat::HwNatFlowStatus> hwStatus_;
    Mox::Ptr<Bridging::Config> bridgingConfig_;
    Mox::Ptr<Bridging::Status> bridgingStatus_;
    Mox::Ptr<Bridging::VlanStatusDir> vlanStatusDir_;
    Mox::Ptr<Bridging::Topology::Config> topologyConfig_;
    Mox::Ptr<UmoL3Intf::Table> l3Table_;
    Mox::Ptr<Ip::Status> ipStatus_;
    std::map<Pelo::String, Mox::Ptr<Bridging::Topology::TopoConfig>> topologies_;
    std::set<Nexo::IntfId> declared_;
    std::set<Table::Action::Key> onceNotMulticast_; // actions that are multicast now
};

} // namespace UmoAgent
