#pragma once

#include "Mox/Attributes.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"

/// The actions queued for re-evaluation, and the task that evaluates a limited number per run. Does
/// not own the action machines.
class UmoNatFlowMcastTopologySm::Backlog final : public Mox::Entity {
    /// The delay from the first queued action to the run, and between runs.
    MOX_ATTRIBUTE_FROM(Mox::Seconds, actionSmUpdateBacklogTaskInterval, Mox::Seconds(0.1))
    /// Actions evaluated per run; 0 means no limit.
    MOX_ATTRIBUTE_FROM(std::uint32_t, actionSmUpdateBacklogTaskLimit, 100U)
    MOX_REFERENCE(Vyr::TimerTask, actionSmUpdateBacklogTask)

  public:
    /// The owner, which knows the observer.
    explicit Backlog(UmoNatFlowMcastTopologySm &topologySm)
        : topologySm_(topologySm), actionSms_(topologySm) {}

    [[nodiscard]] BacklogList const &actionSms() const noexcept { return actionSms_; }
    /// Returns whether it was not queued before. This and the next REQUIRE: a live machine.
    bool actionSmIs(UmoNatFlowActionSm *actionSm);
    static void actionSmDel(UmoNatFlowActionSm *actionSm);
    void actionSmDelAll();

    /// Queues the actions, and schedules the task unless a run is pending.
    template <class ActionSms>
    void queue(ActionSms const &actionSms, UmoNatFlowCause const &cause) {
        for (UmoNatFlowActionSm *const actionSm : actionSms) {
            queue(actionSm, cause);
        }
    }

    /// The task's work, see processActionSmUpdateBacklog.
    void process();

  private:
    void queue(UmoNatFlowActionSm *actionSm, UmoNatFlowCause const &cause);
    [[nodiscard]] bool running() const noexcept;
    std::uint32_t review();

    UmoNatFlowMcastTopologySm &topologySm_;
    BacklogList actionSms_;
};
