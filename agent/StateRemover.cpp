#include "agent/StateRemover.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace UmoAgent {

using YAML::Node;

namespace {

/// A part that can be cleared: its name, whether it is set, and what clears it.
struct Part {
    std::string_view name;
    bool set;
    std::function<void(Node const &)> clear;
};

void clearParts(ScenarioNodes &nodes, Node const &node, std::vector<Part> const &parts) {
    std::string names;
    for (Part const &part : parts) {
        names.append(names.empty() ? "" : ", ").append(part.name);
    }
    nodes.list(node, "a list of " + names, [&](Node const &item) {
        for (Part const &part : parts) {
            if (item.IsScalar() && item.Scalar() == part.name && part.set) {
                part.clear(item);
                return;
            }
        }
        nodes.unexpected(item, "one of " + names + " that is set at this time");
    });
}

} // namespace

template <class Key>
void StateRemover::elements(Node const &node, Elements<Key> const &elements) {
    auto const present = [&](Key const &key, Node const &at) {
        bool const there = elements.present(key);
        if (!there) {
            nodes_.unexpected(at, std::string(elements.one) + " that is there at this time");
        }
        return there;
    };
    if (node.IsMap() && elements.deeper != nullptr) {
        nodes_.entries<Key>(node, "a mapping", elements.readKey,
                            [&](Key const &key, Node const &at, Node const &value) {
                                if (present(key, at)) {
                                    elements.deeper(key, value);
                                }
                            });
        return;
    }
    nodes_.list(node, "a list, each item " + std::string(elements.one), [&](Node const &item) {
        auto const key = elements.readKey(item);
        if (key && present(*key, item)) {
            elements.erase(*key, item);
        }
    });
}

template <class Map>
void StateRemover::wholeInterfaces(Node const &node, Map &map) {
    elements<Nexo::IntfId>(
        node, {"an interface", [&](Node const &key) { return values_.interfaceName(key); },
               [&](Nexo::IntfId const &intf) { return map.count(intf) != 0; },
               [&](Nexo::IntfId const &intf, Node const &) { map.erase(intf); }, nullptr});
}

void StateRemover::remove(Node const &node, SwitchModel &state) {
    nodes_.fields(
        node, "a mapping that mirrors a state",
        {{"policies", [&](Node const &value) { policies(value, state.policies); }},
         {"l3-interfaces", [&](Node const &value) { wholeInterfaces(value, state.l3Interfaces); }},
         {"ip-interfaces", [&](Node const &value) { wholeInterfaces(value, state.ipInterfaces); }},
         {"learned-macs", [&](Node const &value) { learnedMacs(value, state); }},
         {"topologies", [&](Node const &value) { topologies(value, state); }},
         {"vlans", [&](Node const &value) { vlans(value, state); }},
         {"interfaces", [&](Node const &value) { wholeInterfaces(value, state.interfaces); }}});
}

void StateRemover::vlans(Node const &node, SwitchModel &state) {
    elements<std::uint16_t>(
        node, {"a VLAN", [&](Node const &key) { return values_.vlan(key); },
               [&](std::uint16_t const &vlan) { return state.vlans.count(vlan) != 0; },
               [&](std::uint16_t const &vlan, Node const &) { state.vlans.erase(vlan); },
               [&](std::uint16_t const &vlan, Node const &value) {
                   wholeInterfaces(value, state.vlans[vlan]);
               }});
}

void StateRemover::topologies(Node const &node, SwitchModel &state) {
    elements<Pelo::String>(
        node, {"a topology", [&](Node const &key) { return values_.name(key); },
               [&](Pelo::String const &name) { return state.topologies.count(name) != 0; },
               [&](Pelo::String const &name, Node const &) {
                   state.topologies.erase(name);
                   std::erase_if(state.topologyOfVlan,
                                 [&](auto const &vlan) { return vlan.second == name; });
               },
               [&](Pelo::String const &name, Node const &value) { topology(value, name, state); }});
}

void StateRemover::topology(Node const &node, Pelo::String const &name, SwitchModel &state) {
    Elements<std::uint16_t> const vlans{
        "a VLAN of the topology", [&](Node const &key) { return values_.vlan(key); },
        [&](std::uint16_t const &vlan) {
            auto const at = state.topologyOfVlan.find(vlan);
            return at != state.topologyOfVlan.end() && at->second == name;
        },
        [&](std::uint16_t const &vlan, Node const &) { state.topologyOfVlan.erase(vlan); },
        nullptr};
    auto &ports = state.topologies[name].ports;
    nodes_.fields(node, "a mapping with vlans and ports",
                  {{"vlans", [&](Node const &value) { elements(value, vlans); }},
                   {"ports", [&](Node const &value) { wholeInterfaces(value, ports); }}});
}

void StateRemover::learnedMacs(Node const &node, SwitchModel &state) {
    auto const hosts = [&](std::uint16_t const &vlan, Node const &value) {
        auto &fdb = state.learnedMacs[vlan];
        elements<Nexo::EthAddr>(
            value,
            {"a learned MAC address", [&](Node const &key) { return values_.stationMac(key); },
             [&](Nexo::EthAddr const &mac) { return fdb.count(mac) != 0; },
             [&](Nexo::EthAddr const &mac, Node const &) { fdb.erase(mac); }, nullptr});
    };
    elements<std::uint16_t>(
        node,
        {"a VLAN with learned MAC addresses", [&](Node const &key) { return values_.vlan(key); },
         [&](std::uint16_t const &vlan) { return state.learnedMacs.count(vlan) != 0; },
         [&](std::uint16_t const &vlan, Node const &) { state.learnedMacs.erase(vlan); }, hosts});
}

void StateRemover::policies(Node const &node, Named<PolicyState> &policies) {
    elements<Pelo::String>(
        node,
        {"a policy", [&](Node const &key) { return values_.name(key); },
         [&](Pelo::String const &name) { return policies.contains(name); },
         [&](Pelo::String const &name, Node const &) { policies.erase(name); },
         [&](Pelo::String const &name, Node const &value) {
             auto &state = policies.at(name).matches;
             nodes_.fields(value, "a mapping with matches",
                           {{"matches", [&](Node const &inner) { matches(inner, name, state); }}});
         }});
}

void StateRemover::matches(Node const &node, Pelo::String const &policy,
                           Named<MatchState> &matches) {
    elements<Pelo::String>(
        node, {"a match", [&](Node const &key) { return values_.name(key); },
               [&](Pelo::String const &name) { return matches.contains(name); },
               [&](Pelo::String const &name, Node const &) { matches.erase(name); },
               [&](Pelo::String const &name, Node const &value) {
                   MatchState &match = matches.at(name);
                   nodes_.fields(value, "a mapping with flow and actions",
                                 {{"flow", [&](Node const &inner) { flow(inner, match); }},
                                  {"actions", [&](Node const &inner) {
                                       actions(inner, ActionName{policy, name, {}}, match.actions);
                                   }}});
               }});
}

void StateRemover::flow(Node const &node, MatchState &match) {
    Ip::Nat::NatFlowEnd &source = match.flow.source;
    Ip::Nat::NatFlowEnd &destination = match.flow.destination;
    auto const clearAddress = [](Ip::Nat::NatFlowEnd &end) {
        end.addr = Nexo::IpAddr();
        end.prefixLength = 0;
    };
    auto const clearDestination = [&](Node const &at) {
        clearAddress(destination);
        match.destinationSetAt = nodes_.place(at);
    };
    auto const clearSource = [&](Node const &) { clearAddress(source); };
    clearParts(
        nodes_, node,
        {{"source", !source.addr.isZero(), clearSource},
         {"source-port", source.port != 0, [&](Node const &) { source.port = 0; }},
         {"destination", !destination.addr.isZero(), clearDestination},
         {"destination-port", destination.port != 0, [&](Node const &) { destination.port = 0; }}});
}

void StateRemover::actions(Node const &node, ActionName const &match, Named<ActionState> &actions) {
    elements<Pelo::String>(node,
                           {"an action", [&](Node const &key) { return values_.name(key); },
                            [&](Pelo::String const &name) { return actions.contains(name); },
                            [&](Pelo::String const &name, Node const &) { actions.erase(name); },
                            [&](Pelo::String const &name, Node const &value) {
                                versions_.touched(ActionName{match.policy, match.match, name});
                                action(value, actions.at(name));
                            }});
}

void StateRemover::action(Node const &node, ActionState &action) {
    if (node.IsMap()) {
        nodes_.fields(node, "a mapping with egress",
                      {{"egress", [&](Node const &value) { egress(value, action); }}});
        return;
    }
    auto const clearDestination = [&](Node const &at) {
        action.destination = Nexo::IpAndPort();
        action.destinationSetAt = nodes_.place(at);
    };
    clearParts(nodes_, node,
               {{"source", !action.source.addr().isZero(),
                 [&](Node const &) { action.source = Nexo::IpAndPort(); }},
                {"destination", !action.destination.addr().isZero(), clearDestination},
                {"egress", !action.egress.empty(), [&](Node const &) { action.egress.clear(); }}});
}

void StateRemover::egress(Node const &node, ActionState &action) {
    elements<Nexo::IntfId>(
        node, {"an egress interface of the action",
               [&](Node const &key) { return values_.interfaceName(key); },
               [&](Nexo::IntfId const &intf) { return action.egress.contains(intf); },
               [&](Nexo::IntfId const &intf, Node const &) { action.egress.erase(intf); },
               [&](Nexo::IntfId const &intf, Node const &value) {
                   nextHop(value, action.egress[intf]);
               }});
}

void StateRemover::nextHop(Node const &node, EgressState &egress) {
    Ip::Nat::NatFlowNextHop &hop = egress.nextHop;
    auto const clearMac = [&](Node const &at) {
        hop.mac = Nexo::EthAddr();
        egress.setAt = nodes_.place(at);
    };
    clearParts(nodes_, node,
               {{"vlan", hop.vlan != 0, [&](Node const &) { hop.vlan = 0; }},
                {"mac", !hop.mac.isZero(), clearMac}});
}

} // namespace UmoAgent
