#include "agent/scenario/NatStateReader.h"

#include "Nexo/VlanIntfId.h"

#include <cstdint>
#include <limits>

namespace UmoAgent {

namespace {

/// What stands in for an address that could not be read, so that one mistake does not appear a
/// second time as a next hop without MAC. A scenario with errors is never mounted.
constexpr Nexo::EthAddr kUnreadableMac(0x1);
constexpr Nexo::IpAddr kUnreadableDestination(0xe0000001);

} // namespace

void NatStateReader::policies(YamlNode const &node, Named<PolicyState> &policies) {
    auto const name = [&](YamlNode const &key) { return values_.name(key); };
    auto const matches = [&](YamlNode const &value, Pelo::String const &policy,
                             PolicyState &state) {
        nodes_.entries<Pelo::String>(
            value, "a mapping from names to matches", name,
            [&](Pelo::String const &match, YamlNode const &, YamlNode const &settings) {
                this->match(settings, policy, match,
                            state.matches.findOrAdd(match, nodes_.event()));
            });
    };
    nodes_.entries<Pelo::String>(
        node, "a mapping from names to policies", name,
        [&](Pelo::String const &policy, YamlNode const &, YamlNode const &value) {
            PolicyState &state = policies.findOrAdd(policy, nodes_.event());
            nodes_.fields(
                value, "a mapping with matches",
                {{"matches", [&](YamlNode const &value2) { matches(value2, policy, state); }}});
        });
}

void NatStateReader::match(YamlNode const &node, Pelo::String const &policy,
                           Pelo::String const &name, MatchState &match) {
    auto const actions = [&](YamlNode const &value) {
        nodes_.entries<Pelo::String>(
            value, "a mapping from names to actions",
            [&](YamlNode const &key) { return values_.name(key); },
            [&](Pelo::String const &actionName, YamlNode const &, YamlNode const &settings) {
                ActionName const fullName{policy, name, actionName};
                if (match.actions.contains(actionName)) {
                    versions_.touched(fullName);
                } else {
                    versions_.settled(fullName);
                }
                action(settings, fullName, match.actions.findOrAdd(actionName, nodes_.event()));
            });
    };
    nodes_.fields(
        node, "a mapping with flow and actions",
        {{"flow", [&](YamlNode const &value) { flow(value, match); }}, {"actions", actions}});
}

void NatStateReader::flow(YamlNode const &node, MatchState &match) {
    auto const destination = [&](YamlNode const &value) {
        match.flow.destination.addr = kUnreadableDestination;
        prefix(value, match.flow.destination);
        match.destinationSetAt = nodes_.place(value);
    };
    auto const port = [this](Ip::Nat::NatFlowEnd &end) {
        return
            [this, &end](YamlNode const &value) { keep(values_.transportPort(value), end.port); };
    };
    nodes_.fields(node, "a mapping with source and destination",
                  {{"source", [&](YamlNode const &value) { prefix(value, match.flow.source); }},
                   {"source-port", port(match.flow.source)},
                   {"destination", destination},
                   {"destination-port", port(match.flow.destination)}});
}

void NatStateReader::prefix(YamlNode const &node, Ip::Nat::NatFlowEnd &end) {
    if (auto const value = values_.prefix(node)) {
        end.addr = value->addr();
        end.prefixLength = value->maskLen();
    }
}

void NatStateReader::action(YamlNode const &node, ActionName const &name, ActionState &action) {
    auto const destination = [&](YamlNode const &value) {
        action.destination = Nexo::IpAndPort(kUnreadableDestination, 0);
        keep(values_.translatedEnd(value), action.destination);
        action.destinationSetAt = nodes_.place(value);
    };
    auto const version = [&](YamlNode const &value) {
        keep(values_.number<std::uint32_t>(value, 0, std::numeric_limits<std::uint32_t>::max(),
                                           "a version"),
             action.version);
        versions_.settled(name);
    };
    nodes_.fields(
        node, "a mapping with source, destination and egress",
        {{"source",
          [&](YamlNode const &value) { keep(values_.translatedEnd(value), action.source); }},
         {"destination", destination},
         {"egress", [&](YamlNode const &value) { egress(value, action); }},
         {"version", version}});
}

/// Egress interfaces that need no settings may be a list.
void NatStateReader::egress(YamlNode const &node, ActionState &action) {
    auto const at = [&](YamlNode const &key, Nexo::IntfId intf) -> EgressState & {
        EgressState &state = action.egress[intf];
        state.setAt = nodes_.place(key);
        return state;
    };
    if (!node.isMap()) {
        nodes_.list(node, "a mapping from interfaces to next hops, or a list of interfaces",
                    [&](YamlNode const &item) {
                        if (auto const intf = values_.interface(item)) {
                            at(item, *intf);
                        }
                    });
        return;
    }
    nodes_.entries<Nexo::IntfId>(
        node, "a mapping from interfaces to next hops",
        [&](YamlNode const &key) { return values_.interface(key); },
        [&](Nexo::IntfId const &intf, YamlNode const &key, YamlNode const &value) {
            nextHop(value, intf, at(key, intf).nextHop);
        });
}

void NatStateReader::nextHop(YamlNode const &node, Nexo::IntfId intf,
                             Ip::Nat::NatFlowNextHop &nextHop) {
    auto const vlan = [&](YamlNode const &value) {
        if (Nexo::VlanIntfId::isVlanIntfId(intf)) {
            nodes_.unexpected(value, "no VLAN: " + intf.stringValue() + " has its own");
        } else {
            keep(values_.vlan(value), nextHop.vlan);
        }
    };
    auto const mac = [&](YamlNode const &value) {
        nextHop.mac = values_.stationMac(value).value_or(kUnreadableMac);
    };
    nodes_.fields(node, "a mapping with vlan and mac", {{"vlan", vlan}, {"mac", mac}});
}

} // namespace UmoAgent
