#include "Ip/NatHwStatus.h"

namespace Ip::Nat {

HwNatFlowActionStatus::~HwNatFlowActionStatus() = default;

HwNatFlowMatchStatus::~HwNatFlowMatchStatus() = default;

HwNatFlowPolicyStatus::~HwNatFlowPolicyStatus() = default;

} // namespace Ip::Nat
