#pragma once

#include "UmoNat/UmoNatFlowObserver.h"
#include "agent/show/Reply.h"
#include "agent/switch/ForwardingAgent.h"

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace UmoAgent {

/// Tells what the NAT library does as it happens: actions that it programmed or changed and why,
/// matches that wait for groups and get them, and when the chip has no groups left.
class Chronicle final : public UmoNatFlowObserver {
  public:
    /// Receives an event: an object with at, event, the names that it concerns, and because.
    using Sink = std::function<void(Json event)>;

    /// Observes the agent as long as both exist; the agent outlives it. Without a sink it only
    /// keeps what it needs for later events.
    explicit Chronicle(ForwardingAgent &agent);
    ~Chronicle() override;
    Chronicle(Chronicle const &) = delete;
    Chronicle &operator=(Chronicle const &) = delete;

    void sinkIs(Sink sink) { sink_ = std::move(sink); }

    void actionQueued(UmoNatFlowActionSm const &action, UmoNatFlowCause const &cause) override;
    void queuedEvaluationBegins(UmoNatFlowActionSm const &action) override;
    void evaluationBegins(UmoNatFlowActionSm const &action, UmoNatFlowCause::Kind cause) override;
    void evaluationEnds(UmoNatFlowActionSm const &action) override;
    void actionGone(UmoNatFlowActionSm const &action) override;
    void matchWaits(UmoNatFlowMatchSm const &match) override;
    void matchHasGroups(UmoNatFlowMatchSm const &match) override;
    void matchGone(UmoNatFlowMatchSm const &match) override;

  private:
    /// An evaluation that has begun and not ended.
    struct Evaluation {
        std::string because;
        std::uint64_t callsBefore;
    };

    void begin(std::string because);
    void tell(char const *event, Json more);
    void noLongerWaits(UmoNatFlowMatchSm const &match);
    [[nodiscard]] std::uint64_t calls() const;

    ForwardingAgent &agent_;
    Sink sink_;
    std::unordered_map<UmoNatFlowActionSm const *, std::string> because_; // of queued actions
    std::vector<Evaluation> evaluations_;                                 // one in another
    std::unordered_set<UmoNatFlowMatchSm const *> waiting_;
};

/// An event as a line of text, without its end.
std::string textOfEvent(Json const &event);

} // namespace UmoAgent
