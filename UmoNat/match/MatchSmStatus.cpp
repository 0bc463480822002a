#include "UmoNat/UmoNatFlowMatchSmStatus.h"

Mox::Ptr<UmoNatFlowMatchSmStatus> UmoNatFlowMatchSmStatusIs() {
    return Mox::make<UmoNatFlowMatchSmStatus>();
}

Mox::Ptr<UmoNatFlowMatchSmStatus> umoNatFlowMatchSmStatusFactory() {
    return UmoNatFlowMatchSmStatusIs();
}
