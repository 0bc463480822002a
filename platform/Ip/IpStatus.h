#pragma once

#include "Base/Export.h"
#include "Mox/Attributes.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAddrWithMask.h"

namespace Ip {

/// The IP state of one interface. It counts as up while routing is on and it has an address.
class PLATFORM_API IpIntfStatus final : public Mox::Entity {
    MOX_KEY(IpIntfStatus, Nexo::IntfId, intf)
    MOX_ATTRIBUTE(Nexo::IpAddrWithMask, addrWithMask) // primary address; 0.0.0.0/0: none
    MOX_ATTRIBUTE(bool, routing)
};

class PLATFORM_API Status final : public Mox::Entity {
    MOX_CHILDREN(Nexo::IntfId, IpIntfStatus, ipIntfStatus)
};

} // namespace Ip
