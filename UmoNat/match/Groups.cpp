#include "Base/Assert.h"
#include "UmoNat/UmoNatFlowMcastSm.h"
#include "UmoNat/action/GroupCount.h"
#include "UmoNat/action/HwRecord.h"
#include "UmoNat/match/Trace.h"

namespace {
Mox::TraceHandle const &trace = matchSmTrace;
} // namespace

std::uint32_t UmoNatFlowMatchSm::getGroupNum() const {
    auto const &matchStatus = *inputs_.matchStatus;
    if (matchStatus.action().empty()) {
        return 0;
    }
    return needsTwoGroups(matchStatus.flow(), matchStatus, matchSmStatus_->missingDestinations_)
               ? 2
               : 1;
}

bool UmoNatFlowMatchSm::createNatFlowGroups(std::uint32_t groups) {
    enterMatchSm<"createNatFlowGroups", " groups %u">(*this, 2, ", groups: ", groups);
    if (!initialized_ || groups == 0) {
        return false;
    }
    if (groups == 1) {
        return createSingleGroup();
    }
    Base::assertThat(groups == 2, "groups == 2");
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
        // An allocated half is neither recorded nor freed: the helper sees the same failure, and
        // knows whether its chip can reclaim half a pair.
        trace.at(2, "Failed to allocate group(s)");
        inputs_.mcastSm->addUnprogrammedGroupTask(this);
        return false;
    }
    return recordGroups(unicast, multicast);
}

bool UmoNatFlowMatchSm::recordGroups(std::uint32_t unicast, std::uint32_t multicast) {
    // New groups are empty. Port sets that actions computed while the match waited are in no
    // group.
    clearHwActions();
    hwMatchStatus_->groupIdUcIs(unicast);
    hwMatchStatus_->groupIdMcIs(multicast);
    if (auto *const observer =
            inputs_.topologySm != nullptr ? inputs_.topologySm->observer() : nullptr) {
        observer->matchHasGroups(*this);
    }
    return true;
}

void UmoNatFlowMatchSm::deleteNatFlowGroups() {
    auto const &match = inputs_.matchStatus->name();
    enterMatchSm<"deleteNatFlowGroups">(*this, 2);
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
        // The helper freed the port sets with the groups, and incomplete actions do not clear their
        // own records.
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
        actionSm->evaluate(UmoNatFlowCause::Kind::groups);
    }
    return true;
}

bool UmoNatFlowMatchSm::waitsForGroups() const {
    return matchSmStatus_->groupNum() != 0 && hwMatchStatus_->groupIdUc() == 0;
}
