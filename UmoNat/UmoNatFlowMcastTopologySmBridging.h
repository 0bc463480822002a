#pragma once

#include "UmoNat/UmoNatFlowMcastTopologySmNested.h"

/// The reactors to bridging state. They hold nothing but what they follow, and never decide
/// whether a change matters: they tell which interface, VLAN or host it was.

class UmoNatFlowMcastTopologySm::NestedSm_SwitchIntfConfig
    : public NestedSm<Bridging::SwitchIntfConfig> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override;
    void handleSwitchportModeAndNativeVlan();
    void handleSwitchIntfConfigDel();

  private:
    void handleDel() override { handleSwitchIntfConfigDel(); }
    void dispatch(Pelo::Change const &change) override;
    void handleConfig(char const *function);
};

/// A VLAN's coming and going is told by VLAN, a change of its members by interface.
class UmoNatFlowMcastTopologySm::NestedSm_VlanStatus : public NestedSm<Bridging::VlanStatus> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override { owner().handleVlanStatus(followed().vlanId()); }
    void handleVlanPortStatus(Nexo::IntfId intf);

  private:
    void handleDel() override { owner().handleVlanStatus(followed().vlanId()); }
    void dispatch(Pelo::Change const &change) override;
};

/// A forwarding database's coming and going is told by VLAN, a change of its hosts by MAC.
class UmoNatFlowMcastTopologySm::NestedSm_FdbStatus : public NestedSm<Bridging::FdbStatus> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override { owner().handleFdbStatus(followed().fid()); }
    void handleLearnedHost(Nexo::EthAddr const &mac);

  private:
    void handleDel() override { owner().handleFdbStatus(followed().fid()); }
    void dispatch(Pelo::Change const &change) override;
};
