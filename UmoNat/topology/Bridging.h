#pragma once

#include "Mox/Enter.h"
#include "UmoNat/topology/NestedSm.h"

/// The reactors to bridging state. They notify by interface, VLAN or MAC, and do not check whether
/// a change matters.

/// Creation, a change and removal notify by interface.
class UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig
    : public NestedSm<Bridging::SwitchIntfConfig> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override;
    void handleSwitchportModeAndNativeVlan();
    void handleSwitchIntfConfigDel();

  private:
    void handleDel() override { handleSwitchIntfConfigDel(); }
    void dispatch(Pelo::ChangeOf<Bridging::SwitchIntfConfig> const &change) override;
    template <Mox::Text Handler>
    void enterHandler() const;
};

/// Creation and removal notify by VLAN, a change of the members by interface.
class UmoNatFlowMcastTopologySm::NestedSm_VlanStatus : public NestedSm<Bridging::VlanStatus> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override { owner().handleVlanStatus(followed().vlanId()); }
    void handleVlanPortStatus(Nexo::IntfId intf);

  private:
    void handleDel() override { owner().handleVlanStatus(followed().vlanId()); }
    void dispatch(Pelo::ChangeOf<Bridging::VlanStatus> const &change) override;
};

/// Creation and removal notify by VLAN, a change of the learned hosts by MAC.
class UmoNatFlowMcastTopologySm::NestedSm_FdbStatus : public NestedSm<Bridging::FdbStatus> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override { owner().handleFdbStatus(followed().fid()); }
    void handleLearnedHost(Nexo::EthAddr const &mac);

  private:
    void handleDel() override { owner().handleFdbStatus(followed().fid()); }
    void dispatch(Pelo::ChangeOf<Bridging::FdbStatus> const &change) override;
};
