#pragma once

#include "UmoNat/topology/NestedSm.h"

/// Follows one topology that at least one VLAN maps to, and its ports. Removal notifies the
/// VLANs of its list.
class UmoNatFlowMcastTopologySm::MoxTopoConfig : public NestedSm<Bridging::Topology::TopoConfig> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override;
    void hasNotificationActiveIs(bool active) override;

    /// Handles a port that started or stopped forwarding: notifies by each VLAN of the list, then
    /// by the port.
    void handleTopoPort(Nexo::IntfId intf);
    void handleTopologyDel();

    [[nodiscard]] auto const &moxTopoPortConfig() const noexcept {
        return moxTopoPortConfig_.machines();
    }
    Mox::Ptr<MoxTopoPortConfig>
    topoPortConfigIs(Mox::Ptr<Bridging::Topology::TopoPortConfig const> const &config);
    void topoPortConfigDel(Nexo::IntfId intf) { moxTopoPortConfig_.del(intf); }
    void topoPortConfigDelAll() { moxTopoPortConfig_.delAll(); }

  protected:
    void childrenDelAll() override;

  private:
    void handleDel() override { handleTopologyDel(); }
    void dispatch(Pelo::ChangeOf<Bridging::Topology::TopoConfig> const &change) override;
    void notifyVlans();

    MOX_SET(Bridging::VlanId, vlanList) // the VLANs mapped to the topology
    Mox::ReactorCollection<Nexo::IntfId, MoxTopoPortConfig> moxTopoPortConfig_;
};

/// Follows the state of one port in a topology. Creation and removal count as a change of state if
/// the port forwards; a port that does not forward is in no port set.
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
    void dispatch(Pelo::ChangeOf<Bridging::Topology::TopoPortConfig> const &change) override;

    bool forwarding_ = false;
};
