#include "Bridging/Topology.h"

#include <ostream>

namespace Bridging::Topology {

std::ostream &operator<<(std::ostream &out, PortState state) {
    switch (state) {
    case PortState::disabled:
        return out << "disabled";
    case PortState::blocking:
        return out << "blocking";
    case PortState::learning:
        return out << "learning";
    case PortState::forwarding:
        return out << "forwarding";
    }
    return out << static_cast<unsigned>(state);
}

} // namespace Bridging::Topology
