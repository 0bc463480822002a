#pragma once

#include "UmoNat/UmoNatFlowMcastTopologySm.h"

/// Chooses the VLAN through which copies recirculate, for its owner. It is kept while its interface
/// stays up and in the L3 table, because each change reprograms all recirculating actions.
class UmoNatFlowMcastTopologySm::Recirculation final : public Mox::PtrInterface {
  public:
    explicit Recirculation(UmoNatFlowMcastTopologySm &topologySm) : topologySm_(topologySm) {}

    /// Takes the first valid VLAN. If there is none, the VLAN stays as it is.
    void choose();

    /// Takes `vlan` if none is set. `function` is the handler to name in the trace.
    void offer(char const *function, std::uint16_t vlan);

    /// Takes the first valid VLAN of an interface other than `oldIntf`, or none.
    void replace(Nexo::IntfId oldIntf);

  private:
    [[nodiscard]] std::uint16_t firstValidVlan(Nexo::IntfId exceptIntf) const;
    void take(char const *function, std::uint16_t vlan);

    UmoNatFlowMcastTopologySm &topologySm_; // the owner
};
