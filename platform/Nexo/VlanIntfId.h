#pragma once

#include "Nexo/IntfId.h"

#include <cstdint>

namespace Nexo {

/// Recognizes VLAN interfaces, such as `Vlan10`, by their identifier. Neither function parses the
/// name or allocates.
class VlanIntfId {
  public:
    static bool isVlanIntfId(IntfId intf) { return intf.vlan().has_value(); }

    /// The VLAN's number, 0 to 4095; 0 also if `intf` is not a VLAN interface. 0 and 4095 are not
    /// usable VLANs; the caller must check.
    static std::uint16_t vlanId(IntfId intf) { return intf.vlan().value_or(0); }
};

} // namespace Nexo
