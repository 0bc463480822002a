#pragma once

#include "Ip/NatHwStatus.h"

/// Makes an action's hardware status say that nothing is programmed: no translations, no port
/// sets. The flow type stays. Does not call the helper.
void clearHwNatFlowAction(Ip::Nat::HwNatFlowActionStatus &hwAction);
