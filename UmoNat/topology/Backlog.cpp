#include "UmoNat/topology/Backlog.h"

#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/topology/Trace.h"

#include <memory>

namespace {
Mox::TraceHandle const &trace = topologySmTrace;
} // namespace

bool UmoNatFlowMcastTopologySm::Backlog::actionSmIs(UmoNatFlowActionSm *actionSm) {
    if (actionSm->queued()) {
        return false;
    }
    actionSm->backlogPlace() =
        std::make_unique<UmoNatFlowActionSm::BacklogPlace>(actionSms_, *actionSm);
    return true;
}

void UmoNatFlowMcastTopologySm::Backlog::actionSmDel(UmoNatFlowActionSm *actionSm) {
    actionSm->backlogPlace().reset();
}

void UmoNatFlowMcastTopologySm::Backlog::actionSmDelAll() {
    while (UmoNatFlowActionSm *const actionSm = actionSms_.first()) {
        actionSmDel(actionSm);
    }
}

void UmoNatFlowMcastTopologySm::Backlog::queue(UmoNatFlowActionSm *actionSm,
                                               UmoNatFlowCause const &cause) {
    if (actionSmIs(actionSm) && topologySm_.observer() != nullptr) {
        topologySm_.observer()->actionQueued(*actionSm, cause);
    }
    // A pending run is never moved, so that a stream of changes cannot postpone it forever.
    auto const &task = actionSmUpdateBacklogTask();
    if (task && !task->taskScheduled()) {
        trace.at(9, "Scheduled task");
        task->scheduleTaskDelay(actionSmUpdateBacklogTaskInterval());
    }
}

void UmoNatFlowMcastTopologySm::Backlog::process() {
    if (!running()) {
        trace.at(9, "Task not running");
        return;
    }
    Mox::Ptr<Vyr::TimerTask> const task = actionSmUpdateBacklogTask();
    std::uint32_t const reviewed = review();
    trace.at(9, "Entries reviewed: ", reviewed, ", left: ", actionSms_.size());
    task->taskWorkCountInc(reviewed);
    if (!actionSms_.empty()) {
        task->scheduleTaskDelay(actionSmUpdateBacklogTaskInterval());
    }
}

bool UmoNatFlowMcastTopologySm::Backlog::running() const noexcept {
    auto const task = actionSmUpdateBacklogTask();
    return task && task->taskCurrentlyRunning();
}

/// Evaluates the actions that were queued before this run, up to the limit, and returns their
/// number. Actions queued during the run wait for the next one, so that actions that notify each
/// other cannot block the event loop.
std::uint32_t UmoNatFlowMcastTopologySm::Backlog::review() {
    auto const queuedInRun = actionSms_.joiners();
    std::uint32_t reviewed = 0;
    for (UmoNatFlowActionSm *const actionSm : actionSms_) {
        if (actionSm == queuedInRun.peek()) {
            break;
        }
        auto *const observer = topologySm_.observer();
        if (observer != nullptr) {
            observer->queuedEvaluationBegins(*actionSm);
        }
        actionSm->handleNatFlowAction(true);
        if (observer != nullptr) {
            observer->evaluationEnds(*actionSm);
        }
        ++reviewed;
        // Removed only now: the handler has seen any change that queued the action meanwhile.
        // Whoever is evaluated is the first, or has left: then it may be gone.
        if (actionSms_.first() == actionSm && queuedInRun.peek() != actionSm) {
            actionSmDel(actionSm);
        }
        if (reviewed == actionSmUpdateBacklogTaskLimit()) {
            break; // never at 0, which means no limit
        }
    }
    return reviewed;
}
