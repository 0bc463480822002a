#pragma once

#include "UmoNat/topology/NestedSm.h"

/// Follows the IP state of one interface. Creation and a change notify by VLAN and by its members.
/// Removal notifies nothing: an interface loses its L3 id along with its IP state, which does.
class UmoNatFlowMcastTopologySm::NestedSm_IpIntfStatus : public NestedSm<Ip::IpIntfStatus> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override { handleIpIntfStatus(); }
    void handleIpIntfStatus();

  private:
    void dispatch(Pelo::ChangeOf<Ip::IpIntfStatus> const &change) override;
};
