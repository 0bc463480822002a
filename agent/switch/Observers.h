#pragma once

#include "UmoNat/UmoNatFlowObserver.h"

#include <algorithm>
#include <vector>

namespace UmoAgent {

/// Tells several observers what the library tells one.
class Observers final : public UmoNatFlowObserver {
  public:
    /// The observer outlives this, or is taken back.
    void add(UmoNatFlowObserver &observer) { observers_.push_back(&observer); }
    void remove(UmoNatFlowObserver &observer) { std::erase(observers_, &observer); }

    void actionQueued(UmoNatFlowActionSm const &action, UmoNatFlowCause const &cause) override {
        each([&](UmoNatFlowObserver &observer) { observer.actionQueued(action, cause); });
    }
    void queuedEvaluationBegins(UmoNatFlowActionSm const &action) override {
        each([&](UmoNatFlowObserver &observer) { observer.queuedEvaluationBegins(action); });
    }
    void evaluationBegins(UmoNatFlowActionSm const &action, UmoNatFlowCause::Kind cause) override {
        each([&](UmoNatFlowObserver &observer) { observer.evaluationBegins(action, cause); });
    }
    void evaluationEnds(UmoNatFlowActionSm const &action) override {
        each([&](UmoNatFlowObserver &observer) { observer.evaluationEnds(action); });
    }
    void actionGone(UmoNatFlowActionSm const &action) override {
        each([&](UmoNatFlowObserver &observer) { observer.actionGone(action); });
    }
    void matchWaits(UmoNatFlowMatchSm const &match) override {
        each([&](UmoNatFlowObserver &observer) { observer.matchWaits(match); });
    }
    void matchHasGroups(UmoNatFlowMatchSm const &match) override {
        each([&](UmoNatFlowObserver &observer) { observer.matchHasGroups(match); });
    }
    void matchGone(UmoNatFlowMatchSm const &match) override {
        each([&](UmoNatFlowObserver &observer) { observer.matchGone(match); });
    }

  private:
    template <class Tell>
    void each(Tell const &tell) const {
        for (UmoNatFlowObserver *const observer : observers_) {
            tell(*observer);
        }
    }

    std::vector<UmoNatFlowObserver *> observers_;
};

} // namespace UmoAgent
