#include "UmoNat/UmoNatFlowPolicySm.h"

#include "Mox/Assert.h"
#include "Mox/Trace.h"
#include "Skimtrace/Skimtrace.h"
#include "UmoNat/UmoNatFlowMcastSm.h"

namespace {
Mox::TraceHandle const trace("UmoNatFlowPolicySm");
} // namespace

UmoNatFlowPolicySm::UmoNatFlowPolicySm(Inputs const &inputs) : inputs_(inputs) {
    policyStatusSubscription_.follow(inputs_.policyStatus);
}

UmoNatFlowPolicySm::~UmoNatFlowPolicySm() = default;

void UmoNatFlowPolicySm::handleInitialized() {
    Mox::assertThat(bool(inputs_.policyStatus), "policyStatus()");
    auto const &policy = inputs_.policyStatus->name();
    trace.at(1, "UmoNatFlowPolicySm::", "handleInitialized", ", policy: ", policy);
    static constinit Skimtrace::Point entered("UmoNatFlowPolicySm::handleInitialized policy %s");
    entered.record({policy});
    initialized_ = true;
    hwPolicyStatus_ = inputs_.hwStatus->natFlowIs(policy);
    for (auto const &[name, matchStatus] : inputs_.policyStatus->match()) {
        handleNatFlowMatch(name);
    }
}

void UmoNatFlowPolicySm::policyStatusDispatch(Pelo::Change const &change) {
    if (auto const *name = change.keyOf(Ip::Nat::NatFlowPolicyStatus::matchAttribute)) {
        handleNatFlowMatch(*name);
    }
}

void UmoNatFlowPolicySm::handleNatFlowMatch(Pelo::String const &name) {
    auto const &policy = inputs_.policyStatus->name();
    trace.at(2, "UmoNatFlowPolicySm::", "handleNatFlowMatch", ", policy: ", policy,
             ", match: ", name);
    static constinit Skimtrace::Point entered(
        "UmoNatFlowPolicySm::handleNatFlowMatch policy %s match %s");
    entered.record({policy, name});
    if (!initialized_) {
        return;
    }
    if (auto const matchStatus = inputs_.policyStatus->match(name)) {
        trace.at(2, "Create matchSm");
        matchSmIs(name, {.policy = policy,
                         .matchStatus = matchStatus,
                         .hwPolicyStatus = hwPolicyStatus_,
                         .topologySm = inputs_.topologySm,
                         .helper = inputs_.helper,
                         .bridgingConfig = inputs_.bridgingConfig,
                         .mcastSm = inputs_.mcastSm});
    } else {
        trace.at(2, "Delete matchSm");
        matchSmDel(name);
    }
}

void UmoNatFlowPolicySm::doCleanup() {
    auto const &policy = inputs_.policyStatus->name();
    trace.at(1, "UmoNatFlowPolicySm::", "doCleanup", ", policy: ", policy);
    static constinit Skimtrace::Point entered("UmoNatFlowPolicySm::doCleanup policy %s");
    entered.record({policy});
    if (initialized_) {
        if (auto const &task = inputs_.mcastSm->unprogrammedGroupTask()) {
            task->stopTimerTask();
        }
        inputs_.mcastSm->unprogrammedGroupDelAll();
        matchSmDelAll();
        inputs_.hwStatus->natFlowDel(policy);
    }
}

Mox::Ptr<UmoNatFlowPolicySm> UmoNatFlowPolicySmIs(UmoNatFlowPolicySm::Inputs const &inputs) {
    return Mox::reactorIs<UmoNatFlowPolicySm>(inputs);
}
