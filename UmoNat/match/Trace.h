#pragma once

#include "Mox/Entered.h"
#include "UmoNat/UmoNatFlowMatchSm.h"

/// What the sources of UmoNatFlowMatchSm share for their traces.
extern Mox::TraceHandle const matchSmTrace;

/// Traces that `machine` enters `Handler`: its names, then `pieces`. `More` is how the fast
/// trace shows what else it records of them.
template <Mox::Text Handler, Mox::Text More = "", class... Pieces>
void enter(UmoNatFlowMatchSm const &machine, int level, Pieces const &...pieces) {
    UmoNatFlowMatchSm::Inputs const &inputs = machine.inputs();
    Mox::enter<Mox::Text("UmoNatFlowMatchSm::") + Handler + " policy %s match %s" + More>(
        matchSmTrace, level, "UmoNatFlowMatchSm::", Handler.chars, ", policy: ", inputs.policy,
        ", match: ", inputs.matchStatus->name(), pieces...);
}
