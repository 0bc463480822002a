#pragma once

#include "Ip/NatHwStatus.h"

/// Clears the translations and the port sets in an action's hardware status. Keeps the flow type.
/// Does not call the helper.
void clearHwNatFlowAction(Ip::Nat::HwNatFlowActionStatus &hwAction);
