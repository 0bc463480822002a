#include "Bridging/Config.h"

#include <ostream>

namespace Bridging {

std::ostream &operator<<(std::ostream &out, SwitchportMode mode) {
    switch (mode) {
    case SwitchportMode::access:
        return out << "access";
    case SwitchportMode::trunk:
        return out << "trunk";
    case SwitchportMode::dot1qTunnel:
        return out << "dot1qTunnel";
    case SwitchportMode::routed:
        return out << "routed";
    }
    return out << static_cast<unsigned>(mode);
}

} // namespace Bridging
