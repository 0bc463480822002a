#pragma once

#include "UmoNat/UmoNatFlowMcastTopologySmNested.h"

/// Follows one topology that at least one VLAN maps to, and its ports.
class UmoNatFlowMcastTopologySm::MoxTopoConfig : public NestedSm<Bridging::Topology::TopoConfig> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override;
    void hasNotificationActiveIs(bool active) override;

    /// A port began or ceased to forward: tells the users of the VLANs, then those of the port.
    void handleTopoPort(Nexo::IntfId intf);
    void handleTopologyDel();

    [[nodiscard]] auto const &moxTopoPortConfig() const noexcept {
        return moxTopoPortConfig_.machines();
    }
    void topoPortConfigIs(Mox::Ptr<Bridging::Topology::TopoPortConfig const> const &config);
    void topoPortConfigDel(Nexo::IntfId intf) { moxTopoPortConfig_.del(intf); }
    void topoPortConfigDelAll() { moxTopoPortConfig_.delAll(); }

  protected:
    void childrenDelAll() override;

  private:
    void handleDel() override { handleTopologyDel(); }
    void dispatch(Pelo::Change const &change) override;
    void notifyVlans();

    Mox::ReactorCollection<Nexo::IntfId, MoxTopoPortConfig> moxTopoPortConfig_;
    MOX_SET(Bridging::VlanId, vlanList) // the VLANs that the machine has mapped to the topology
};

/// Follows the state of one port in a topology.
class UmoNatFlowMcastTopologySm::MoxTopoPortConfig
    : public NestedSm<Bridging::Topology::TopoPortConfig, MoxTopoConfig> {
  public:
    using NestedSm::NestedSm;

    [[nodiscard]] bool forwarding() const noexcept { return forwarding_; }

    void handleInitialized() override { handlePortState(); }
    void handlePortState();
    void handleTopologyIntfDel();

  private:
    void handleDel() override { handleTopologyIntfDel(); }
    void dispatch(Pelo::Change const &change) override;

    bool forwarding_ = false;
};
