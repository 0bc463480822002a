#pragma once

#include "UmoNat/topology/NestedSm.h"

/// Follows the IP state of one interface. Creation and changes notify by VLAN and by its members.
/// Removal notifies nothing: the interface is expected to leave the L3 table at the same time, and
/// that notifies.
class UmoNatFlowMcastTopologySm::NestedSm_IpIntfStatus : public NestedSm<Ip::IpIntfStatus> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override { handleIpIntfStatus(); }
    void handleIpIntfStatus();

  private:
    void dispatch(Pelo::ChangeOf<Ip::IpIntfStatus> const &change) override;
};
