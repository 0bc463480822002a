#include "UmoNat/UmoNatFlowMatchSm.h"

#include "Base/Assert.h"
#include "UmoNat/UmoNatFlowMcastSm.h"
#include "UmoNat/match/Trace.h"

Mox::TraceHandle const matchSmTrace("UmoNatFlowMatchSm");

namespace {
Mox::TraceHandle const &trace = matchSmTrace;
} // namespace

UmoNatFlowMatchSm::UmoNatFlowMatchSm(Inputs const &inputs) : inputs_(inputs) {
    matchStatusSubscription_.follow(inputs_.matchStatus);
}

UmoNatFlowMatchSm::~UmoNatFlowMatchSm() = default;

void UmoNatFlowMatchSm::handleInitialized() {
    Base::assertThat(bool(inputs_.matchStatus), "matchStatus()");
    auto const &match = inputs_.matchStatus->name();
    enterMatchSm<"handleInitialized">(*this, 1);
    Base::assertThat(bool(inputs_.hwPolicyStatus), "hwPolicyStatus()");
    hwMatchStatus_ = inputs_.hwPolicyStatus->matchIs(match);
    Base::assertThat(bool(hwMatchStatus_), "hwMatchStatus()");
    matchSmStatusIs(UmoNatFlowMatchSmStatusIs());
    Base::assertThat(bool(matchSmStatus_), "matchSmStatus()");
    initialized_ = true;
    handleNatFlow();
    auto const &actions = inputs_.matchStatus->action();
    actionSm_.reserve(actions.size());
    hwMatchStatus_->actionReserve(actions.size());
    for (auto const &[name, actionStatus] : actions) {
        handleNatFlowAction(name, actionStatus);
    }
}

void UmoNatFlowMatchSm::matchStatusDispatch(
    Pelo::ChangeOf<Ip::Nat::NatFlowMatchStatus> const &change) {
    if (change.isOf(Ip::Nat::NatFlowMatchStatus::flowAttribute)) {
        handleNatFlow();
    } else if (auto const *name = change.keyOf(Ip::Nat::NatFlowMatchStatus::actionAttribute)) {
        followDestinations(*name);
        handleNatFlowAction(*name);
    }
}

/// After the action was added or removed.
void UmoNatFlowMatchSm::followDestinations(Pelo::String const &action) {
    if (!matchSmStatus_) {
        return;
    }
    auto &destinations = matchSmStatus_->missingDestinations_;
    auto const *const machine = actionSm_.machines().find(action);
    auto const actionStatus = inputs_.matchStatus->action(action);
    if (actionStatus && machine == nullptr) {
        destinations.added(*actionStatus);
    } else if (!actionStatus && machine != nullptr) {
        destinations.removed((*machine)->destinationNamed());
    } else {
        destinations.forget();
    }
}

void UmoNatFlowMatchSm::hasNotificationActiveIs(bool active) {
    Mox::Reactor::hasNotificationActiveIs(active);
    if (!active) {
        missChanges();
    }
}

/// From now on an action may change without a machine that tells it to the present status.
void UmoNatFlowMatchSm::missChanges() const {
    if (matchSmStatus_) {
        matchSmStatus_->missingDestinations_.blind();
    }
}

void UmoNatFlowMatchSm::actionSmDel(Pelo::String const &name) {
    actionSm_.del(name);
    missChanges();
}

void UmoNatFlowMatchSm::actionSmDelAll() {
    actionSm_.delAll();
    missChanges();
}

void UmoNatFlowMatchSm::matchSmStatusIs(Mox::Ptr<UmoNatFlowMatchSmStatus> const &status) {
    bool const replaces = bool(matchSmStatus_);
    missChanges();
    matchSmStatus_ = status;
    if (replaces) {
        missChanges(); // machines go on telling the old one
    }
    matchSmStatusSubscription_.follow(status);
    ofActions_ = Mox::make<UmoNatFlowActionSm::Shared>(
        UmoNatFlowActionSm::OfMatch{.policy = inputs_.policy,
                                    .match = inputs_.matchStatus->name(),
                                    .matchStatus = inputs_.matchStatus,
                                    .hwMatchStatus = hwMatchStatus_,
                                    .matchSmStatus = matchSmStatus_,
                                    .topologySm = inputs_.topologySm,
                                    .helper = inputs_.helper,
                                    .bridgingConfig = inputs_.bridgingConfig});
    if (!markedForDeletion()) {
        handleGroupNumUpdate();
    }
}

void UmoNatFlowMatchSm::matchSmStatusDispatch(
    Pelo::ChangeOf<UmoNatFlowMatchSmStatus> const &change) {
    if (change.isOf(UmoNatFlowMatchSmStatus::groupNumUpdateAttribute)) {
        handleGroupNumUpdate();
    }
}

bool UmoNatFlowMatchSm::handleGroupNumUpdate() {
    enterMatchSm<"handleGroupNumUpdate">(*this, 2, ", flow: ", inputs_.matchStatus->flow());
    if (!initialized_) {
        return true;
    }
    Base::assertThat(bool(hwMatchStatus_), "hwMatchStatus()");
    hwMatchStatus_->flowIs(inputs_.matchStatus->flow());
    std::uint32_t const current = matchSmStatus_->groupNum();
    std::uint32_t const wanted = getGroupNum();
    trace.at(2, "Current groups num: ", current, ", new: ", wanted);
    if (wanted == current) {
        return false;
    }
    for (auto const &[name, actionSm] : actionSm_.machines()) {
        actionSm->handleGroupNum(wanted);
    }
    deleteNatFlowGroups();
    matchSmStatus_->groupNumIs(wanted);
    bool const created = createNatFlowGroups(wanted);
    if (created || wanted == 0) {
        // The match no longer waits. A retry would allocate over the groups that it holds, or stop
        // at it because it wants none and starve the matches behind it.
        inputs_.mcastSm->unprogrammedGroupDel(this);
    }
    if (!created) {
        return true;
    }
    for (auto const &[name, actionSm] : actionSm_.machines()) {
        actionSm->evaluate(UmoNatFlowCause::Kind::groups);
    }
    return true;
}

void UmoNatFlowMatchSm::handleNatFlow() {
    enterMatchSm<"handleNatFlow">(*this, 2, ", flow: ", inputs_.matchStatus->flow());
    if (!initialized_ || handleGroupNumUpdate()) {
        return;
    }
    for (auto const &[name, actionSm] : actionSm_.machines()) {
        actionSm->handleNatFlow();
    }
}

void UmoNatFlowMatchSm::handleNatFlowAction(Pelo::String const &name) {
    handleNatFlowAction(name, nullptr);
}

/// `actionStatus` is the action of that name if the caller knows it.
void UmoNatFlowMatchSm::handleNatFlowAction(
    Pelo::String const &name, Mox::Ptr<Ip::Nat::NatFlowActionStatus const> actionStatus) {
    enterMatchSm<"handleNatFlowAction", " action %s">(*this, 2, ", action: ", name);
    if (!initialized_) {
        return;
    }
    // Who hears of the new flow or of new groups may remove the action.
    bool const newFlow = hwMatchStatus_->flow() != inputs_.matchStatus->flow();
    if (handleGroupNumUpdate() || newFlow || !actionStatus) {
        actionStatus = inputs_.matchStatus->action(name);
    }
    if (actionStatus) {
        trace.at(2, "Create actionSm");
        actionSmIs(name, {ofActions_, actionStatus});
    } else {
        trace.at(2, "Delete actionSm");
        if (auto const *const machine = actionSm_.machines().find(name);
            machine != nullptr && (*machine)->references() > 1) {
            missChanges(); // held elsewhere, it goes on telling them
        }
        actionSm_.del(name);
    }
}

void UmoNatFlowMatchSm::doCleanup() {
    enterMatchSm<"doCleanup">(*this, 1);
    if (initialized_) {
        actionSm_.delAll();
        deleteNatFlowGroups();
        inputs_.hwPolicyStatus->matchDel(inputs_.matchStatus->name());
    }
}

void UmoNatFlowMatchSm::childrenDelAll() {
    // Not in the cleanup: deleteNatFlowGroups, which runs there, still counts the match as waiting.
    inputs_.mcastSm->unprogrammedGroupDel(this);
    actionSm_.delAll();
    if (auto *const observer =
            inputs_.topologySm != nullptr ? inputs_.topologySm->observer() : nullptr) {
        observer->matchGone(*this);
    }
}

Mox::Ptr<UmoNatFlowMatchSm> UmoNatFlowMatchSmIs(UmoNatFlowMatchSm::Inputs const &inputs) {
    return Mox::reactorIs<UmoNatFlowMatchSm>(inputs);
}
