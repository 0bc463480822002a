#pragma once

#include "Base/Export.h"
#include "Bridging/VlanId.h"
#include "Mox/Attributes.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"

namespace Bridging {

/// Where a MAC address was learned.
struct LearnedHost {
    Nexo::IntfId intf{};

    bool operator==(LearnedHost const &) const = default;
};

/// The forwarding database of one filtering id.
class PLATFORM_API FdbStatus final : public Mox::Entity {
    MOX_KEY(FdbStatus, Fid, fid)
    MOX_VALUES(Nexo::EthAddr, LearnedHost, learnedHost)
};

/// The forwarding databases, in order of insertion.
class PLATFORM_API Status final : public Mox::Entity {
    MOX_CHILDREN(Fid, FdbStatus, fdbStatus)
};

/// An interface's membership in a VLAN. It has no attributes.
struct VlanPortStatus {
    bool operator==(VlanPortStatus const &) const = default;
};

class PLATFORM_API VlanStatus final : public Mox::Entity {
    MOX_KEY(VlanStatus, VlanId, vlanId)
    MOX_VALUES(Nexo::IntfId, VlanPortStatus, vlanPortStatus)
};

class PLATFORM_API VlanStatusDir final : public Mox::Entity {
    MOX_CHILDREN(VlanId, VlanStatus, vlanStatus)
};

} // namespace Bridging
