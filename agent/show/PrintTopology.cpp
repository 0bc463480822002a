#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatFlowMcastSm.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "agent/base/Text.h"
#include "agent/show/Printers.h"

#include <ostream>

namespace UmoAgent {

void printRecircVlan(std::ostream &out, UmoNatFlowMcastSm const &root) {
    auto const &topology = *root.topologySm();
    std::uint16_t const recircVlan = topology.natFlowRecircVlan();
    if (recircVlan == 0) {
        out << "recirculation VLAN: none\n";
        return;
    }
    out << "recirculation VLAN: " << recircVlan;
    for (auto const &[intf, vlan] : topology.intfL3Index()) {
        if (vlan == recircVlan) {
            out << ", L3 interface " << intf;
        }
    }
    out << '\n';
}

void printBacklog(std::ostream &out, UmoNatFlowMcastSm const &root) {
    auto const &topology = *root.topologySm();
    auto const &task = topology.actionSmUpdateBacklogTask();
    out << "backlog: " << topology.actionSmUpdateBacklog().size() << " waiting, "
        << (task && task->taskScheduled() ? "a" : "no") << " run is scheduled\n";
    for (UmoNatFlowActionSm const *action : topology.actionSmUpdateBacklog()) {
        out << "  policy " << printable(action->policy()) << ", match "
            << printable(action->match()) << ", action " << printable(action->action()) << '\n';
    }
}

} // namespace UmoAgent
