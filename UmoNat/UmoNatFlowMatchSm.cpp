#include "UmoNat/UmoNatFlowMatchSm.h"

#include "Mox/Assert.h"
#include "Mox/Trace.h"
#include "Skimtrace/Skimtrace.h"
#include "UmoNat/HwNatFlowActionRecord.h"
#include "UmoNat/NatFlowGroupCount.h"
#include "UmoNat/UmoNatFlowMcastSm.h"

#include <ostream>

namespace {
Mox::TraceHandle const trace("UmoNatFlowMatchSm");
} // namespace

/// The first trace line of every handler.
struct UmoNatFlowMatchSm::EntryMessage {
    char const *function;
    UmoNatFlowMatchSm const &machine;
};

std::ostream &operator<<(std::ostream &out, UmoNatFlowMatchSm::EntryMessage const &message) {
    UmoNatFlowMatchSm::Inputs const &inputs = message.machine.inputs();
    return out << "UmoNatFlowMatchSm::" << message.function << ", policy: " << inputs.policy
               << ", match: " << inputs.matchStatus->name();
}

UmoNatFlowMatchSm::EntryMessage UmoNatFlowMatchSm::entry(char const *function) const {
    return {function, *this};
}

UmoNatFlowMatchSm::UmoNatFlowMatchSm(Inputs const &inputs) : inputs_(inputs) {
    matchStatusSubscription_.follow(inputs_.matchStatus);
}

UmoNatFlowMatchSm::~UmoNatFlowMatchSm() = default;

void UmoNatFlowMatchSm::handleInitialized() {
    Mox::assertThat(bool(inputs_.matchStatus), "matchStatus()");
    auto const &match = inputs_.matchStatus->name();
    trace.at(1, entry("handleInitialized"));
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMatchSm::handleInitialized policy %s match %s");
    entered.record({inputs_.policy, match});
    Mox::assertThat(bool(inputs_.hwPolicyStatus), "hwPolicyStatus()");
    hwMatchStatus_ = inputs_.hwPolicyStatus->matchIs(match);
    Mox::assertThat(bool(hwMatchStatus_), "hwMatchStatus()");
    matchSmStatusIs(UmoNatFlowMatchSmStatusIs());
    Mox::assertThat(bool(matchSmStatus_), "matchSmStatus()");
    initialized_ = true;
    handleNatFlow();
    for (auto const &[name, actionStatus] : inputs_.matchStatus->action()) {
        handleNatFlowAction(name);
    }
}

void UmoNatFlowMatchSm::matchStatusDispatch(Pelo::Change const &change) {
    if (change.isOf(Ip::Nat::NatFlowMatchStatus::flowAttribute)) {
        handleNatFlow();
    } else if (auto const *name = change.keyOf(Ip::Nat::NatFlowMatchStatus::actionAttribute)) {
        handleNatFlowAction(*name);
    }
}

void UmoNatFlowMatchSm::matchSmStatusIs(Mox::Ptr<UmoNatFlowMatchSmStatus> const &status) {
    matchSmStatus_ = status;
    matchSmStatusSubscription_.follow(status);
    if (!markedForDeletion()) {
        handleGroupNumUpdate();
    }
}

void UmoNatFlowMatchSm::matchSmStatusDispatch(Pelo::Change const &change) {
    if (change.isOf(UmoNatFlowMatchSmStatus::groupNumUpdateAttribute)) {
        handleGroupNumUpdate();
    }
}

std::uint32_t UmoNatFlowMatchSm::getGroupNum() const {
    auto const &matchStatus = *inputs_.matchStatus;
    if (matchStatus.action().empty()) {
        return 0;
    }
    return needsTwoGroups(matchStatus.flow(), matchStatus) ? 2 : 1;
}

bool UmoNatFlowMatchSm::createNatFlowGroups(std::uint32_t groups) {
    trace.at(2, entry("createNatFlowGroups"), ", groups: ", groups);
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMatchSm::createNatFlowGroups policy %s match %s groups %u");
    entered.record({inputs_.policy, inputs_.matchStatus->name()}, groups);
    if (!initialized_ || groups == 0) {
        return false;
    }
    if (groups == 1) {
        return createSingleGroup();
    }
    Mox::assertThat(groups == 2, "groups == 2");
    return createGroupPair();
}

bool UmoNatFlowMatchSm::createSingleGroup() {
    auto const &match = inputs_.matchStatus->name();
    trace.at(2, "Create single group for match ", match);
    std::uint32_t const id = inputs_.helper->createNatFlowGroup(inputs_.policy, match, false);
    trace.at(2, "Group id: ", id);
    if (id == 0) {
        trace.at(2, "Failed to allocate group");
        inputs_.mcastSm->addUnprogrammedGroupTask(this);
        return false;
    }
    return recordGroups(id, id);
}

bool UmoNatFlowMatchSm::createGroupPair() {
    auto const &match = inputs_.matchStatus->name();
    trace.at(2, "Create unicast group for match ", match);
    std::uint32_t const unicast = inputs_.helper->createNatFlowGroup(inputs_.policy, match, true);
    trace.at(2, "Unicast group id: ", unicast);
    trace.at(2, "Create multicast group for match ", match);
    std::uint32_t const multicast =
        inputs_.helper->createNatFlowGroup(inputs_.policy, match, false);
    trace.at(2, "Multicast group id: ", multicast);
    if (unicast == 0 || multicast == 0) {
        // The half that was allocated is neither recorded nor freed: whether a chip can take
        // back half a pair is its helper's business, which sees the same failure.
        trace.at(2, "Failed to allocate group(s)");
        inputs_.mcastSm->addUnprogrammedGroupTask(this);
        return false;
    }
    return recordGroups(unicast, multicast);
}

bool UmoNatFlowMatchSm::recordGroups(std::uint32_t unicast, std::uint32_t multicast) {
    // New groups are empty, while actions may have computed port sets for the time when there
    // would be groups: these are in no group.
    clearHwActions();
    hwMatchStatus_->groupIdUcIs(unicast);
    hwMatchStatus_->groupIdMcIs(multicast);
    return true;
}

void UmoNatFlowMatchSm::deleteNatFlowGroups() {
    auto const &match = inputs_.matchStatus->name();
    trace.at(2, entry("deleteNatFlowGroups"));
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMatchSm::deleteNatFlowGroups policy %s match %s");
    entered.record({inputs_.policy, match});
    if (!initialized_) {
        return;
    }
    std::uint32_t const unicast = hwMatchStatus_->groupIdUc();
    std::uint32_t const multicast = hwMatchStatus_->groupIdMc();
    if (unicast != 0) {
        trace.at(2, "Delete unicast group ", unicast, " for match ", match);
        inputs_.helper->deleteNatFlowGroup(inputs_.policy, match, unicast);
    }
    if (multicast != 0 && multicast != unicast) {
        trace.at(2, "Delete multicast group ", multicast, " for match ", match);
        inputs_.helper->deleteNatFlowGroup(inputs_.policy, match, multicast);
    }
    hwMatchStatus_->groupIdUcIs(0);
    hwMatchStatus_->groupIdMcIs(0);
    if (unicast != 0 || multicast != 0) {
        // The chip released with the groups what was in them, that of incomplete actions too,
        // which do not take it out themselves.
        clearHwActions();
    }
    auto &root = *inputs_.mcastSm;
    auto const &task = root.unprogrammedGroupTask();
    if (!root.unprogrammedGroup().empty() && task && !task->taskScheduled()) {
        trace.at(9, "Scheduled unprogrammed group task");
        task->scheduleTaskDelay(root.unprogrammedGroupTaskDelay());
    }
}

void UmoNatFlowMatchSm::clearHwActions() {
    for (auto const &[name, hwAction] : hwMatchStatus_->action()) {
        clearHwNatFlowAction(*hwAction);
    }
}

bool UmoNatFlowMatchSm::retryNatFlowGroups() {
    if (!createNatFlowGroups(matchSmStatus_->groupNum())) {
        return false;
    }
    for (auto const &[name, actionSm] : actionSm_.machines()) {
        actionSm->resetHwGroups();
        actionSm->handleNatFlowAction(false);
    }
    return true;
}

bool UmoNatFlowMatchSm::waitsForGroups() const {
    return matchSmStatus_->groupNum() != 0 && hwMatchStatus_->groupIdUc() == 0;
}

bool UmoNatFlowMatchSm::handleGroupNumUpdate() {
    trace.at(2, entry("handleGroupNumUpdate"), ", flow: ", inputs_.matchStatus->flow());
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMatchSm::handleGroupNumUpdate policy %s match %s");
    entered.record({inputs_.policy, inputs_.matchStatus->name()});
    if (!initialized_) {
        return true;
    }
    Mox::assertThat(bool(hwMatchStatus_), "hwMatchStatus()");
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
        // It waits no more. A retry would allocate over the groups it holds, or, finding that
        // it wants none, stop before those that wait behind it.
        inputs_.mcastSm->unprogrammedGroupDel(this);
    }
    if (!created) {
        return true;
    }
    for (auto const &[name, actionSm] : actionSm_.machines()) {
        actionSm->handleNatFlowAction(false);
    }
    return true;
}

void UmoNatFlowMatchSm::handleNatFlow() {
    trace.at(2, entry("handleNatFlow"), ", flow: ", inputs_.matchStatus->flow());
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMatchSm::handleNatFlow policy %s match %s");
    entered.record({inputs_.policy, inputs_.matchStatus->name()});
    if (!initialized_ || handleGroupNumUpdate()) {
        return;
    }
    for (auto const &[name, actionSm] : actionSm_.machines()) {
        actionSm->handleNatFlow();
    }
}

void UmoNatFlowMatchSm::handleNatFlowAction(Pelo::String const &name) {
    trace.at(2, entry("handleNatFlowAction"), ", action: ", name);
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMatchSm::handleNatFlowAction policy %s match %s action %s");
    entered.record({inputs_.policy, inputs_.matchStatus->name(), name});
    if (!initialized_) {
        return;
    }
    handleGroupNumUpdate();
    if (auto const actionStatus = inputs_.matchStatus->action(name)) {
        trace.at(2, "Create actionSm");
        actionSmIs(name, {.policy = inputs_.policy,
                          .match = inputs_.matchStatus->name(),
                          .matchStatus = inputs_.matchStatus,
                          .actionStatus = actionStatus,
                          .hwMatchStatus = hwMatchStatus_,
                          .matchSmStatus = matchSmStatus_,
                          .topologySm = inputs_.topologySm,
                          .helper = inputs_.helper,
                          .bridgingConfig = inputs_.bridgingConfig});
    } else {
        trace.at(2, "Delete actionSm");
        actionSmDel(name);
    }
}

void UmoNatFlowMatchSm::doCleanup() {
    trace.at(1, entry("doCleanup"));
    static constinit Skimtrace::Point entered("UmoNatFlowMatchSm::doCleanup policy %s match %s");
    entered.record({inputs_.policy, inputs_.matchStatus->name()});
    if (initialized_) {
        actionSmDelAll();
        deleteNatFlowGroups();
        inputs_.hwPolicyStatus->matchDel(inputs_.matchStatus->name());
    }
}

void UmoNatFlowMatchSm::childrenDelAll() {
    // Only now: the freeing of the groups still counts the match among the waiting.
    inputs_.mcastSm->unprogrammedGroupDel(this);
    actionSmDelAll();
}

Mox::Ptr<UmoNatFlowMatchSm> UmoNatFlowMatchSmIs(UmoNatFlowMatchSm::Inputs const &inputs) {
    return Mox::reactorIs<UmoNatFlowMatchSm>(inputs);
}
