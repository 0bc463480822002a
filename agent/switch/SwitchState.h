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
#include "agent/switch/ScenarioModel.h"

#include <map>

namespace UmoAgent {

/// The entities that the agent mounts for the NAT library: what the switch's other agents publish,
/// played by a scenario. Also holds the hardware status tree, which the library writes.
class SwitchState {
  public:
    /// All of it without entries.
    SwitchState();

    /// Changes the entities until they say what `model`, which must be valid, says. Whoever
    /// follows them hears of the differences only, in this order:
    ///
    ///  1. actions that stay but change get version 0, so that nobody acts on what is half done;
    ///  2. what goes: of the NAT configuration egress interfaces, then actions, matches and
    ///     policies, each in one piece with what is below it; then L3 interfaces, IP interfaces,
    ///     learned MACs, the VLANs and ports of topologies, VLAN members, VLANs, interfaces;
    ///  3. what is new or different: bridge MAC, interfaces, VLANs, topologies, learned MACs, IP
    ///     interfaces, L3 interfaces; then policies, matches with their flows, and actions;
    ///  4. the versions of the actions, when all that they stand for is in place.
    void become(SwitchModel const &model);

    /// What the entities say.
    [[nodiscard]] SwitchModel const &model() const { return model_; }

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
    void removeTopologies(SwitchModel const &model);
    void setTopologies(SwitchModel const &model);

    Mox::Ptr<Ip::Nat::Status> natStatus_;
    Mox::Ptr<Ip::Nat::HwNatFlowStatus> hwStatus_;
    Mox::Ptr<Bridging::Config> bridgingConfig_;
    Mox::Ptr<Bridging::Status> bridgingStatus_;
    Mox::Ptr<Bridging::VlanStatusDir> vlanStatusDir_;
    Mox::Ptr<Bridging::Topology::Config> topologyConfig_;
    Mox::Ptr<UmoL3Intf::Table> l3Table_;
    Mox::Ptr<Ip::Status> ipStatus_;
    std::map<Pelo::String, Mox::Ptr<Bridging::Topology::TopoConfig>> topologies_;
    SwitchModel model_;
};

} // namespace UmoAgent
