#pragma once

#include "Nexo/IntfId.h"

#include <cstdint>

namespace Nexo {

/// Tells VLAN interfaces, `Vlan10`, from the others by their identifier. Neither question looks at
/// the name's text or allocates.
class VlanIntfId {
  public:
    static bool isVlanIntfId(IntfId intf) { return intf.vlan().has_value(); }

    /// The VLAN's number, 0 to 4095; 0 also when `intf` is no VLAN interface. 0 and 4095 are no
    /// usable VLANs, callers test for them.
    static std::uint16_t vlanId(IntfId intf) { return intf.vlan().value_or(0); }
};

} // namespace Nexo
