#pragma once

#include "Base/Export.h"

#include <cstdint>
#include <iosfwd>

namespace Ip::Nat {

/// The kind of flow that an action produces.
enum NatFlowType : std::uint8_t {
    natFlowTypeUnicast = 0,   // to a unicast address
    natFlowTypeMulticast = 1, // to a multicast address
    natFlowTypeNone = 2,      // neither the action nor the match names a destination
};

/// Prints the enumerator's name, or the number of a value that has none.
PLATFORM_API std::ostream &operator<<(std::ostream &out, NatFlowType type);

} // namespace Ip::Nat
