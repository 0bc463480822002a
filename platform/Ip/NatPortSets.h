#pragma once

#include "Base/Export.h"
#include "Mox/Attributes.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"

#include <cstdint>

namespace Ip::Nat {

/// The egress ports in one VLAN for one kind of copy of a flow. Its destructor is the platform's,
/// so that a helper may keep one after the library that made it was unloaded.
class PLATFORM_API NatFlowPortSet final : public Mox::Entity {
    MOX_KEY(NatFlowPortSet, std::uint16_t, vlan)
    MOX_FEW_SET(Nexo::IntfId, 8, intf)
    MOX_ATTRIBUTE(Nexo::EthAddr, dmac)       // destination MAC written into the copies
    MOX_ATTRIBUTE(std::uint32_t, portSetId)  // in the first group; 0: not programmed
    MOX_ATTRIBUTE(std::uint32_t, portSetId2) // in the second group; 0: not programmed

  public:
    ~NatFlowPortSet() override;
};

/// The port sets of one action, by VLAN. The status tree keeps the last ones programmed while the
/// next are computed.
class PLATFORM_API NatFlowVlanPortSets final : public Mox::Entity {
    MOX_FEW_CHILDREN(std::uint16_t, NatFlowPortSet, 1, ucastPortSet)
    MOX_FEW_CHILDREN(std::uint16_t, NatFlowPortSet, 1, mcastPortSet)
};

/// A new, empty set of port sets.
PLATFORM_API Mox::Ptr<NatFlowVlanPortSets> natFlowVlanPortSetsFactory();

} // namespace Ip::Nat
