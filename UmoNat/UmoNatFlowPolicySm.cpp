#include "UmoNat/UmoNatFlowPolicySm.h"

#include "Base/Assert.h"
#include "Mox/Enter.h"
#include "UmoNat/UmoNatFlowMcastSm.h"

namespace {
Mox::TraceHandle const trace("UmoNatFlowPolicySm");
} // namespace

UmoNatFlowPolicySm::UmoNatFlowPolicySm(Inputs const &inputs) : inputs_(inputs) {
    policyStatusSubscription_.follow(inputs_.policyStatus);
}

UmoNatFlowPolicySm::~UmoNatFlowPolicySm() = default;

void UmoNatFlowPolicySm::handleInitialized() {
    Base::assertThat(bool(inputs_.policyStatus), "policyStatus()");
    auto const &policy = inputs_.policyStatus->name();
    Mox::enter<"UmoNatFlowPolicySm::handleInitialized policy %s">(
        trace, 1, "UmoNatFlowPolicySm::", "handleInitialized", ", policy: ", policy);
    initialized_ = true;
    hwPolicyStatus_ = inputs_.hwStatus->natFlowIs(policy);
    auto const &matches = inputs_.policyStatus->match();
    matchSm_.reserve(matches.size());
    hwPolicyStatus_->matchReserve(matches.size());
    for (auto const &[name, matchStatus] : matches) {
        handleNatFlowMatch(name);
    }
}

void UmoNatFlowPolicySm::policyStatusDispatch(
    Pelo::ChangeOf<Ip::Nat::NatFlowPolicyStatus> const &change) {
    if (auto const *name = change.keyOf(Ip::Nat::NatFlowPolicyStatus::matchAttribute)) {
        handleNatFlowMatch(*name);
    }
}

void UmoNatFlowPolicySm::handleNatFlowMatch(Pelo::String const &name) {
    auto const &policy = inputs_.policyStatus->name();
    Mox::enter<"UmoNatFlowPolicySm::handleNatFlowMatch policy %s match %s">(
        trace, 2, "UmoNatFlowPolicySm::", "handleNatFlowMatch", ", policy: ", policy,
        ", match: ", name);
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
    Mox::enter<"UmoNatFlowPolicySm::doCleanup policy %s">(
        trace, 1, "UmoNatFlowPolicySm::", "doCleanup", ", policy: ", policy);
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
