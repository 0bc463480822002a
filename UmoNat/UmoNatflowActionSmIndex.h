#pragma once

#include "Mox/Attributes.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "UmoNat/Export.h"

#include <cstdint>

class UmoNatFlowActionSm;

/// The entries of the topology machine's action index: which action machines have port sets that
/// depend on an interface, on a VLAN, or on where a host is. An entry keeps no machine alive; a
/// machine is taken out of all entries before its end.
class UmoNatflowActionSmIntf final : public Mox::Entity {
    MOX_KEY(UmoNatflowActionSmIntf, Nexo::IntfId, intf)
    MOX_SET(UmoNatFlowActionSm *, actionSm)
};

class UmoNatflowActionSmVlan final : public Mox::Entity {
    MOX_KEY(UmoNatflowActionSmVlan, std::uint16_t, vlan)
    MOX_SET(UmoNatFlowActionSm *, actionSm)
};

class UmoNatflowActionSmMac final : public Mox::Entity {
    MOX_KEY(UmoNatflowActionSmMac, Nexo::EthAddr, mac)
    MOX_SET(UmoNatFlowActionSm *, actionSm)
};

/// Make an entry of that key without machines.
Mox::Ptr<UmoNatflowActionSmIntf> UmoNatflowActionSmIntfIs(Nexo::IntfId intf);
Mox::Ptr<UmoNatflowActionSmVlan> UmoNatflowActionSmVlanIs(std::uint16_t vlan);
Mox::Ptr<UmoNatflowActionSmMac> UmoNatflowActionSmMacIs(Nexo::EthAddr const &mac);

UMONAT_API Mox::Ptr<UmoNatflowActionSmIntf> umoNatflowActionSmIntfFactory(Nexo::IntfId intf);
UMONAT_API Mox::Ptr<UmoNatflowActionSmVlan> umoNatflowActionSmVlanFactory(std::uint16_t vlan);
UMONAT_API Mox::Ptr<UmoNatflowActionSmMac> umoNatflowActionSmMacFactory(Nexo::EthAddr const &mac);
