#pragma once

#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "UmoNat/Export.h"

#include <cstdint>

class UmoNatFlowActionSm;
class UmoNatFlowMatchSm;

/// Why an action is evaluated.
struct UmoNatFlowCause {
    enum class Kind : std::uint8_t {
        start,     // its machine was made
        version,   // of the action
        flow,      // of its match
        groups,    // of its match
        interface, // these four were notified
        vlan,
        mac,
        recirculation,
    };
    Kind kind = Kind::start;
    Nexo::IntfId intf{};    // that was notified
    std::uint16_t vlan = 0; // that was notified
    Nexo::EthAddr mac{};    // that was notified
};

/// Is told what the state machines do, for an agent's tools. The agent owns it and gives it to the
/// topology machine, which it outlives. Its functions are called in between the machines' work,
/// from the event loop's thread: they read, keep what they need, and change nothing. Arguments are
/// valid during the call.
class UMONAT_API UmoNatFlowObserver {
  public:
    virtual ~UmoNatFlowObserver() = default;

    /// An action joined the backlog. Told once until it has left: later causes are not.
    virtual void actionQueued(UmoNatFlowActionSm const &action, UmoNatFlowCause const &cause) = 0;

    /// The backlog evaluates an action that was queued; the calls of the helper until
    /// evaluationEnds() are its. An action that is destroyed while it is queued is not evaluated.
    virtual void queuedEvaluationBegins(UmoNatFlowActionSm const &action) = 0;

    /// An action is evaluated at once; as above. One evaluation may contain others.
    virtual void evaluationBegins(UmoNatFlowActionSm const &action,
                                  UmoNatFlowCause::Kind cause) = 0;
    virtual void evaluationEnds(UmoNatFlowActionSm const &action) = 0;

    /// An action machine is destroyed.
    virtual void actionGone(UmoNatFlowActionSm const &action) = 0;

    /// The chip had no group for a match; it waits. Told again when a retry fails.
    virtual void matchWaits(UmoNatFlowMatchSm const &match) = 0;

    /// A match has got the groups that it wanted.
    virtual void matchHasGroups(UmoNatFlowMatchSm const &match) = 0;

    /// A match machine is destroyed.
    virtual void matchGone(UmoNatFlowMatchSm const &match) = 0;
};
