#pragma once

#include "UmoNat/UmoNatFlowObserver.h"
#include "agent/base/EventLoop.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace UmoAgent {

/// How many durations there were, by their length.
class Histogram {
  public:
    /// The upper bounds of the buckets but the last, in ascending order; each counts itself.
    static constexpr std::array<Vyr::Time, 8> kBounds{
        std::chrono::milliseconds(150), std::chrono::milliseconds(250),
        std::chrono::milliseconds(500), std::chrono::seconds(1),
        std::chrono::seconds(2),        std::chrono::seconds(5),
        std::chrono::seconds(10),       std::chrono::seconds(30)};

    void add(Vyr::Time duration);

    /// The number in each bucket, the last of which has no bound.
    [[nodiscard]] std::array<std::uint64_t, kBounds.size() + 1> const &counts() const {
        return counts_;
    }
    [[nodiscard]] Vyr::Time sum() const { return sum_; }

  private:
    std::array<std::uint64_t, kBounds.size() + 1> counts_{};
    Vyr::Time sum_{};
};

/// Measures how long actions are queued before they are evaluated, and counts evaluations.
class Meter final : public UmoNatFlowObserver {
  public:
    /// `loop` tells the time, and outlives the meter.
    explicit Meter(EventLoop const &loop) : loop_(loop) {}

    [[nodiscard]] Histogram const &queueDelays() const { return queueDelays_; }
    /// Of actions at once, because they or their matches changed, since the library was loaded.
    [[nodiscard]] std::uint64_t evaluationsAtOnce() const { return evaluationsAtOnce_; }

    void actionQueued(UmoNatFlowActionSm const &action, UmoNatFlowCause const &cause) override;
    void queuedEvaluationBegins(UmoNatFlowActionSm const &action) override;
    void evaluationBegins(UmoNatFlowActionSm const &action, UmoNatFlowCause::Kind cause) override;
    void evaluationEnds(UmoNatFlowActionSm const & /*action*/) override {}
    void actionGone(UmoNatFlowActionSm const &action) override { queuedAt_.erase(&action); }
    void matchWaits(UmoNatFlowMatchSm const & /*match*/) override {}
    void matchHasGroups(UmoNatFlowMatchSm const & /*match*/) override {}
    void matchGone(UmoNatFlowMatchSm const & /*match*/) override {}

  private:
    EventLoop const &loop_;
    std::unordered_map<UmoNatFlowActionSm const *, Vyr::Time> queuedAt_;
    Histogram queueDelays_;
    std::uint64_t evaluationsAtOnce_ = 0;
};

} // namespace UmoAgent
