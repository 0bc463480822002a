#pragma once

#include "Mox/Attributes.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"

/// The VLAN through which copies recirculate, and its choice. It is kept while its interface
/// stays up and in the L3 table, because each change reprograms all recirculating actions.
class UmoNatFlowMcastTopologySm::Recirculation final : public Mox::Entity {
    MOX_ATTRIBUTE(std::uint16_t, natFlowRecircVlan) // 0: none

  public:
    explicit Recirculation(UmoNatFlowMcastTopologySm &topologySm) : topologySm_(topologySm) {}

    /// Chooses the first valid VLAN. Without one the VLAN stays as it is.
    void choose();

    /// Takes `vlan` if there is none, for the handler `function`.
    void offer(char const *function, std::uint16_t vlan);

    /// Takes the first valid VLAN of another interface than `oldIntf`, or none.
    void replace(Nexo::IntfId oldIntf);

  private:
    [[nodiscard]] std::uint16_t firstValidVlan(Nexo::IntfId exceptIntf) const;
    void take(char const *function, std::uint16_t vlan);

    UmoNatFlowMcastTopologySm &topologySm_; // the owner
};
