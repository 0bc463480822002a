#pragma once

#include "UmoNat/UmoNatFlowMcastTopologySmNested.h"

/// Follows the IP state of one interface. Its going notifies nobody: an interface loses its L3
/// id along with its IP state, and that does.
class UmoNatFlowMcastTopologySm::NestedSm_IpIntfStatus : public NestedSm<Ip::IpIntfStatus> {
  public:
    using NestedSm::NestedSm;

    void handleInitialized() override { handleIpIntfStatus(); }
    void handleIpIntfStatus();

  private:
    void dispatch(Pelo::Change const &change) override;
};
