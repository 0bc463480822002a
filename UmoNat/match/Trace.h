#pragma once

#include "Mox/Enter.h"
#include "UmoNat/UmoNatFlowMatchSm.h"

/// The trace handle shared by the sources of UmoNatFlowMatchSm.
extern Mox::TraceHandle const matchSmTrace;

/// Traces the entry of `machine` into `Handler`: its names, then `pieces`. `More` is the format in
/// which the fast trace prints what it records of `pieces`.
template <Mox::Text Handler, Mox::Text More = "", class... Pieces>
void enterMatchSm(UmoNatFlowMatchSm const &machine, int level, Pieces const &...pieces) {
    UmoNatFlowMatchSm::Inputs const &inputs = machine.inputs();
    Mox::enter<Mox::Text("UmoNatFlowMatchSm::") + Handler + " policy %s match %s" + More>(
        matchSmTrace, level, "UmoNatFlowMatchSm::", Handler.chars, ", policy: ", inputs.policy,
        ", match: ", inputs.matchStatus->name(), pieces...);
}
