#include "agent/ScenarioChecks.h"

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

void checkAction(MatchState const &match, Pelo::String const &name, ActionState const &action,
                 std::size_t event, ScenarioErrors &errors) {
    Ip::Nat::NatFlowType const type = flowTypeOf(match, action);
    if (type == Ip::Nat::natFlowTypeMulticast) {
        return;
    }
    for (auto const &[intf, egress] : action.egress) {
        Place const cause = latestCause(match, action, egress);
        if (egress.nextHop.mac.isZero() && cause.event == event) {
            std::string const flow = type == Ip::Nat::natFlowTypeUnicast
                                         ? "a unicast flow"
                                         : "a flow without destination address";
            errors.add(cause,
                       "next hop " + intf.stringValue() + " of action " + name + " without mac",
                       "one, as this is " + flow);
        }
    }
}

} // namespace

void checkNextHops(SwitchModel const &state, std::size_t event, ScenarioErrors &errors) {
    for (auto const &[policyName, policy] : state.policies) {
        for (auto const &[matchName, match] : policy.matches) {
            for (auto const &[actionName, action] : match.actions) {
                checkAction(match, actionName, action, event, errors);
            }
        }
    }
}

} // namespace UmoAgent
