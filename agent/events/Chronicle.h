#pragma once

#include "UmoNat/UmoNatFlowObserver.h"
#include "agent/events/EventFeed.h"
#include "agent/show/Reply.h"
#include "agent/switch/ForwardingAgent.h"

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace UmoAgent {

/// Tells what the NAT library does as it happens: actions that it programmed or changed and why,
/// matches that wait for groups and get them, and when the chip has no groups left. Each event is a
/// line: a JSON object with at, event, the names that it concerns, and because; or the same as
/// text.
class Chronicle final : public UmoNatFlowObserver {
  public:
    /// Observes the agent. Both outlive it.
    Chronicle(ForwardingAgent &agent, EventLoop &loop);
    ~Chronicle() override;
    Chronicle(Chronicle const &) = delete;
    Chronicle &operator=(Chronicle const &) = delete;

    /// Tells what happens to the client at this connection from now on; see EventFeed::add.
    bool follow(Descriptor &socket, bool json);

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
        std::optional<UmoNatFlowCause> cause;
        std::uint64_t callsBefore = 0;
    };

    void tell(char const *event, Json const &more);
    [[nodiscard]] EventFeed::Line lineOf(char const *event, Json const &more) const;
    void noLongerWaits(UmoNatFlowMatchSm const &match);
    [[nodiscard]] std::uint64_t calls() const;

    ForwardingAgent &agent_;
    EventFeed feed_;
    std::unordered_map<UmoNatFlowActionSm const *, UmoNatFlowCause> queued_;
    std::vector<Evaluation> evaluations_; // one in another
    std::unordered_set<UmoNatFlowMatchSm const *> waiting_;
};

} // namespace UmoAgent
