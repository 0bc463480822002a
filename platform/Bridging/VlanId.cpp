#include "Bridging/VlanId.h"

#include <ostream>
#include <stdexcept>

namespace Bridging {

VlanId::VlanId(std::uint16_t value) : value_(value) {
    if (value < 1 || value > 4094) {
        throw std::range_error("Bridging::VlanId::value < 1 or > 4094 not allowed");
    }
}

std::ostream &operator<<(std::ostream &out, VlanId vlan) {
    return out << vlan.value();
}

std::ostream &operator<<(std::ostream &out, VlanIdOrNone vlan) {
    return out << vlan.value();
}

std::ostream &operator<<(std::ostream &out, Fid fid) {
    return out << fid.value();
}

} // namespace Bridging
