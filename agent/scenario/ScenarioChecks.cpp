#include "agent/scenario/ScenarioChecks.h"

#include <string>

namespace UmoAgent {

Ip::Nat::NatFlowType flowTypeOf(MatchState const &match, ActionState const &action) {
    Nexo::IpAddr const translated = action.destination.addr();
    Nexo::IpAddr const destination = translated.isZero() ? match.flow.destination.addr : translated;
    if (destination.isZero()) {
        return Ip::Nat::natFlowTypeNone;
    }
    return destination.isMulticast() ? Ip::Nat::natFlowTypeMulticast : Ip::Nat::natFlowTypeUnicast;
}

namespace {

/// The latest of what decides whether an egress interface needs a MAC address. Of several in the
/// same event, the one nearest to the interface.
Place latestCause(MatchState const &match, ActionState const &action, EgressState const &egress) {
    Place latest = egress.setAt;
    for (Place const &other : {action.destinationSetAt, match.destinationSetAt}) {
        if (other.event > latest.event) {
            latest = other;
        }
    }
    return latest;
}

char const *whyMacsAreNeeded(Ip::Nat::NatFlowType type) {
    switch (type) {
    case Ip::Nat::natFlowTypeUnicast:
        return "one, as this is a unicast flow";
    case Ip::Nat::natFlowTypeNone:
        return "one, as this is a flow without destination address";
    case Ip::Nat::natFlowTypeMulticast:
        break;
    }
    return "one, as the flow of this action was not always a multicast one";
}

/// While a match waits for other groups, its actions may go by the flow type that they had. So an
/// action that ever needed MAC addresses needs them as long as it is there.
void checkAction(MatchState const &match, Pelo::String const &name, ActionState &action,
                 std::size_t event, ScenarioErrors &errors) {
    Ip::Nat::NatFlowType const type = flowTypeOf(match, action);
    action.neededMacs = action.neededMacs || type != Ip::Nat::natFlowTypeMulticast;
    if (!action.neededMacs) {
        return;
    }
    for (auto const &[intf, egress] : action.egress) {
        Place const cause = latestCause(match, action, egress);
        if (egress.nextHop.mac.isZero() && cause.event == event) {
            errors.add(cause,
                       "next hop " + intf.stringValue() + " of action " + name + " without mac",
                       whyMacsAreNeeded(type));
        }
    }
}

} // namespace

void checkNextHops(SwitchModel &state, std::size_t event, ScenarioErrors &errors) {
    for (auto &[policyName, policy] : state.policies) {
        for (auto &[matchName, match] : policy.matches) {
            for (auto &[actionName, action] : match.actions) {
                checkAction(match, actionName, action, event, errors);
            }
        }
    }
}

} // namespace UmoAgent
