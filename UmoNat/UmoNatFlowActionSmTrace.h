#pragma once

#include "Mox/Trace.h"
#include "UmoNat/UmoNatFlowActionSm.h"

/// What the sources of UmoNatFlowActionSm share for their traces.
extern Mox::TraceHandle const actionSmTrace;

/// The head of the first trace line of an operation.
struct UmoNatFlowActionSm::EntryMessage {
    char const *function;
    UmoNatFlowActionSm const &machine;
};
