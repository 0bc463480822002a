#include "Ip/NatFlowType.h"

#include <ostream>

namespace Ip::Nat {

std::ostream &operator<<(std::ostream &out, NatFlowType type) {
    switch (type) {
    case natFlowTypeUnicast:
        return out << "natFlowTypeUnicast";
    case natFlowTypeMulticast:
        return out << "natFlowTypeMulticast";
    case natFlowTypeNone:
        return out << "natFlowTypeNone";
    }
    return out << static_cast<unsigned>(type);
}

} // namespace Ip::Nat
