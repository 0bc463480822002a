#include "agent/NatStateReader.h"

#include "Nexo/VlanIntfId.h"

#include <cstdint>
#include <limits>

namespace UmoAgent {

using YAML::Node;

namespace {

/// What stands in for an address that could not be read, so that one mistake does not appear a
/// second time as a next hop without MAC. A scenario with errors is never mounted.
constexpr Nexo::EthAddr kUnreadableMac(0x1);
constexpr Nexo::IpAddr kUnreadableDestination(0xe0000001);

} // namespace

void NatStateReader::policies(Node const &node, Named<PolicyState> &policies) {
    auto const name = [&](Node const &key) { return values_.name(key); };
    auto const matches = [&](Node const &value, Pelo::String const &policy, PolicyState &state) {
        nodes_.entries<Pelo::String>(
            value, "a mapping from names to matches", name,
            [&](Pelo::String const &match, Node const &, Node const &settings) {
                this->match(settings, policy, match,
                            state.matches.findOrAdd(match, nodes_.event()));
            });
    };
    nodes_.entries<Pelo::String>(
        node, "a mapping from names to policies", name,
        [&](Pelo::String const &policy, Node const &, Node const &value) {
            PolicyState &state = policies.findOrAdd(policy, nodes_.event());
            nodes_.fields(value, "a mapping with matches", {{"matches", [&](Node const &value2) {
                                                                 matches(value2, policy, state);
                                                             }}});
        });
}

void NatStateReader::match(Node const &node, Pelo::String const &policy, Pelo::String const &name,
                           MatchState &match) {
    auto const actions = [&](Node const &value) {
        nodes_.entries<Pelo::String>(
            value, "a mapping from names to actions",
            [&](Node const &key) { return values_.name(key); },
            [&](Pelo::String const &actionName, Node const &, Node const &settings) {
                ActionName const fullName{policy, name, actionName};
                if (match.actions.contains(actionName)) {
                    versions_.touched(fullName);
                } else {
                    versions_.settled(fullName);
                }
                action(settings, fullName, match.actions.findOrAdd(actionName, nodes_.event()));
            });
    };
    nodes_.fields(node, "a mapping with flow and actions",
                  {{"flow", [&](Node const &value) { flow(value, match); }}, {"actions", actions}});
}

void NatStateReader::flow(Node const &node, MatchState &match) {
    auto const destination = [&](Node const &value) {
        match.flow.destination.addr = kUnreadableDestination;
        prefix(value, match.flow.destination);
        match.destinationSetAt = nodes_.place(value);
    };
    auto const port = [this](Ip::Nat::NatFlowEnd &end) {
        return [this, &end](Node const &value) { keep(values_.transportPort(value), end.port); };
    };
    nodes_.fields(node, "a mapping with source and destination",
                  {{"source", [&](Node const &value) { prefix(value, match.flow.source); }},
                   {"source-port", port(match.flow.source)},
                   {"destination", destination},
                   {"destination-port", port(match.flow.destination)}});
}

void NatStateReader::prefix(Node const &node, Ip::Nat::NatFlowEnd &end) {
    if (auto const value = values_.prefix(node)) {
        end.addr = value->addr();
        end.prefixLength = value->maskLen();
    }
}

void NatStateReader::action(Node const &node, ActionName const &name, ActionState &action) {
    auto const destination = [&](Node const &value) {
        action.destination = Nexo::IpAndPort(kUnreadableDestination, 0);
        keep(values_.translatedEnd(value), action.destination);
        action.destinationSetAt = nodes_.place(value);
    };
    auto const version = [&](Node const &value) {
        keep(values_.number<std::uint32_t>(value, 0, std::numeric_limits<std::uint32_t>::max(),
                                           "a version"),
             action.version);
        versions_.settled(name);
    };
    nodes_.fields(
        node, "a mapping with source, destination and egress",
        {{"source", [&](Node const &value) { keep(values_.translatedEnd(value), action.source); }},
         {"destination", destination},
         {"egress", [&](Node const &value) { egress(value, action); }},
         {"version", version}});
}

/// Egress interfaces that need no settings may be a list.
void NatStateReader::egress(Node const &node, ActionState &action) {
    auto const at = [&](Node const &key, Nexo::IntfId intf) -> EgressState & {
        EgressState &state = action.egress[intf];
        state.setAt = nodes_.place(key);
        return state;
    };
    if (!node.IsMap()) {
        nodes_.list(node, "a mapping from interfaces to next hops, or a list of interfaces",
                    [&](Node const &item) {
                        if (auto const intf = values_.interface(item)) {
                            at(item, *intf);
                        }
                    });
        return;
    }
    nodes_.entries<Nexo::IntfId>(
        node, "a mapping from interfaces to next hops",
        [&](Node const &key) { return values_.interface(key); },
        [&](Nexo::IntfId const &intf, Node const &key, Node const &value) {
            nextHop(value, intf, at(key, intf).nextHop);
        });
}

void NatStateReader::nextHop(Node const &node, Nexo::IntfId intf,
                             Ip::Nat::NatFlowNextHop &nextHop) {
    auto const vlan = [&](Node const &value) {
        if (Nexo::VlanIntfId::isVlanIntfId(intf)) {
            nodes_.unexpected(value, "no VLAN: " + intf.stringValue() + " has its own");
        } else {
            keep(values_.vlan(value), nextHop.vlan);
        }
    };
    auto const mac = [&](Node const &value) {
        nextHop.mac = values_.stationMac(value).value_or(kUnreadableMac);
    };
    nodes_.fields(node, "a mapping with vlan and mac", {{"vlan", vlan}, {"mac", mac}});
}

} // namespace UmoAgent
