#include "Skimtrace/Skimtrace.h"
#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"

void UmoNatFlowMcastTopologySm::notifyActionSmIntf(Nexo::IntfId intf) {
    trace_.at(5, "notifyActionSmIntf", ", intf: ", intf);
    queueUsersOf(actionIntf(intf));
}

void UmoNatFlowMcastTopologySm::notifyActionSmVlan(std::uint16_t vlan) {
    trace_.at(5, "notifyActionSmVlan", ", vlan: ", vlan);
    queueUsersOf(actionVlan(vlan));
}

void UmoNatFlowMcastTopologySm::notifyActionSmMac(Nexo::EthAddr const &mac) {
    trace_.at(5, "notifyActionSmMac", ", mac: ", mac);
    queueUsersOf(actionMac(mac));
}

void UmoNatFlowMcastTopologySm::notifyActionSmRecirc() {
    trace_.at(5, "notifyActionSmRecirc");
    queueActionSms(actionRecirc());
}

template <class Entry>
void UmoNatFlowMcastTopologySm::queueUsersOf(Mox::Ptr<Entry> const &entry) {
    if (entry) {
        queueActionSms(entry->actionSm());
    }
}

void UmoNatFlowMcastTopologySm::queueActionSms(Mox::Set<UmoNatFlowActionSm *> const &actionSms) {
    for (UmoNatFlowActionSm *const actionSm : actionSms) {
        actionSmUpdateBacklogIs(actionSm);
        // A pending run is never moved: a stream of changes must not put it off for ever.
        auto const &task = actionSmUpdateBacklogTask_;
        if (task && !task->taskScheduled()) {
            trace_.at(9, "Scheduled task");
            task->scheduleTaskDelay(actionSmUpdateBacklogTaskInterval_);
        }
    }
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogIs(UmoNatFlowActionSm *actionSm) {
    if (actionSmUpdateBacklog_.insert(actionSm) && backlogTaskRunning()) {
        queuedInRun_.insert(actionSm);
    }
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogDel(UmoNatFlowActionSm *actionSm) {
    actionSmUpdateBacklog_.remove(actionSm);
    queuedInRun_.remove(actionSm);
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogDelAll() {
    actionSmUpdateBacklog_.clear();
    queuedInRun_.clear();
}

bool UmoNatFlowMcastTopologySm::backlogTaskRunning() const noexcept {
    return actionSmUpdateBacklogTask_ && actionSmUpdateBacklogTask_->taskCurrentlyRunning();
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTaskIs(Mox::Ptr<Vyr::TimerTask> const &task) {
    if (task == actionSmUpdateBacklogTask_) {
        return;
    }
    actionSmUpdateBacklogTaskSubscription_.follow(task);
    actionSmUpdateBacklogTask_ = task;
    if (task && !markedForDeletion()) {
        processActionSmUpdateBacklog(); // finds the new task idle
    }
}

void UmoNatFlowMcastTopologySm::processActionSmUpdateBacklog() {
    trace_.at(9, "processActionSmUpdateBacklog");
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::processActionSmUpdateBacklog waiting %u");
    entered.record({}, static_cast<std::uint32_t>(actionSmUpdateBacklog_.size()));
    if (!initialized_) {
        trace_.at(9, "UmoNatFlowMcastTopologySm not initialized yet");
        return;
    }
    if (!backlogTaskRunning()) {
        trace_.at(9, "Task not running");
        return;
    }
    Mox::Ptr<Vyr::TimerTask> const task = actionSmUpdateBacklogTask_;
    std::uint32_t const reviewed = reviewBacklog();
    trace_.at(9, "Entries reviewed: ", reviewed, ", left: ", actionSmUpdateBacklog_.size());
    task->taskWorkCountInc(reviewed);
    if (!actionSmUpdateBacklog_.empty()) {
        task->scheduleTaskDelay(actionSmUpdateBacklogTaskInterval_);
    }
}

/// Evaluates the actions that were queued before this run. Those that join it now stand behind
/// them and wait for the next run, so that actions that wake one another cannot hold up the
/// event loop. Returns their number.
std::uint32_t UmoNatFlowMcastTopologySm::reviewBacklog() {
    queuedInRun_.clear();
    std::uint32_t reviewed = 0;
    for (UmoNatFlowActionSm *const actionSm : actionSmUpdateBacklog_) {
        if (queuedInRun_.contains(actionSm)) {
            break;
        }
        actionSm->handleNatFlowAction(true);
        ++reviewed;
        // After its handler: what queued it meanwhile, the handler has just seen.
        actionSmUpdateBacklogDel(actionSm);
        if (reviewed == actionSmUpdateBacklogTaskLimit_) {
            break; // never at 0, which is no limit
        }
    }
    return reviewed;
}
