#include "UmoNat/action/GroupCount.h"

bool needsTwoGroups(Ip::Nat::NatFlow const &flow, Ip::Nat::NatFlowMatchStatus const &matchStatus) {
    if (!flow.destination.addr.isZero()) {
        return false;
    }
    for (auto const &[name, action] : matchStatus.action()) {
        if (action->dst().addr().isZero()) {
            return true;
        }
    }
    return false;
}
