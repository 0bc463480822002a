#include "UmoNat/action/HwRecord.h"

void clearHwNatFlowAction(Ip::Nat::HwNatFlowActionStatus &hwAction) {
    hwAction.srcNatIs({});
    hwAction.dstNatIs({});
    hwAction.srcFlowIs({});
    hwAction.dstFlowIs({});
    hwAction.srcLenIs(0);
    hwAction.dstLenIs(0);
    if (auto const portSets = hwAction.vlanPortSets()) {
        portSets->ucastPortSetDelAll();
        portSets->mcastPortSetDelAll();
        hwAction.vlanPortSetsIs(nullptr);
    }
}
