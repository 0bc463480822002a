#include "agent/scenario/StateRemover.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace UmoAgent {

namespace {

/// A part that can be cleared: its name, whether it is set, and what clears it.
struct Part {
    std::string_view name;
    bool set;
    std::function<void(YamlNode const &)> clear;
};

void clearParts(ScenarioNodes &nodes, YamlNode const &node, std::vector<Part> const &parts) {
    std::string names;
    for (Part const &part : parts) {
        names.append(names.empty() ? "" : ", ").append(part.name);
    }
    nodes.list(node, "a list of " + names, [&](YamlNode const &item) {
        for (Part const &part : parts) {
            if (item.isScalar(part.name) && part.set) {
                part.clear(item);
                return;
            }
        }
        nodes.unexpected(item, "one of " + names + " that is set at this time");
    });
}

} // namespace

template <class Key>
void StateRemover::elements(YamlNode const &node, Elements<Key> const &elements) {
    auto const present = [&](Key const &key, YamlNode const &at) {
        bool const there = elements.present(key);
        if (!there) {
            nodes_.unexpected(at, std::string(elements.one) + " that is there at this time");
        }
        return there;
    };
    if (node.isMap() && elements.deeper != nullptr) {
        nodes_.entries<Key>(node, "a mapping", elements.readKey,
                            [&](Key const &key, YamlNode const &at, YamlNode const &value) {
                                if (present(key, at)) {
                                    elements.deeper(key, value);
                                }
                            });
        return;
    }
    nodes_.list(node, "a list, each item " + std::string(elements.one), [&](YamlNode const &item) {
        auto const key = elements.readKey(item);
        if (key && present(*key, item)) {
            elements.erase(*key, item);
        }
    });
}

template <class Map>
void StateRemover::wholeInterfaces(YamlNode const &node, Map &map) {
    elements<Nexo::IntfId>(
        node, {"an interface", [&](YamlNode const &key) { return values_.interfaceName(key); },
               [&](Nexo::IntfId const &intf) { return map.count(intf) != 0; },
               [&](Nexo::IntfId const &intf, YamlNode const &) { map.erase(intf); }, nullptr});
}

void StateRemover::remove(YamlNode const &node, SwitchModel &state) {
    nodes_.fields(
        node, "a mapping that mirrors a state",
        {{"policies", [&](YamlNode const &value) { policies(value, state.policies); }},
         {"l3-interfaces",
          [&](YamlNode const &value) { wholeInterfaces(value, state.l3Interfaces); }},
         {"ip-interfaces",
          [&](YamlNode const &value) { wholeInterfaces(value, state.ipInterfaces); }},
         {"learned-macs", [&](YamlNode const &value) { learnedMacs(value, state); }},
         {"topologies", [&](YamlNode const &value) { topologies(value, state); }},
         {"vlans", [&](YamlNode const &value) { vlans(value, state); }},
         {"interfaces", [&](YamlNode const &value) { wholeInterfaces(value, state.interfaces); }}});
}

void StateRemover::vlans(YamlNode const &node, SwitchModel &state) {
    elements<std::uint16_t>(
        node, {"a VLAN", [&](YamlNode const &key) { return values_.vlan(key); },
               [&](std::uint16_t const &vlan) { return state.vlans.count(vlan) != 0; },
               [&](std::uint16_t const &vlan, YamlNode const &) { state.vlans.erase(vlan); },
               [&](std::uint16_t const &vlan, YamlNode const &value) {
                   wholeInterfaces(value, state.vlans[vlan]);
               }});
}

void StateRemover::topologies(YamlNode const &node, SwitchModel &state) {
    elements<Pelo::String>(
        node,
        {"a topology", [&](YamlNode const &key) { return values_.name(key); },
         [&](Pelo::String const &name) { return state.topologies.count(name) != 0; },
         [&](Pelo::String const &name, YamlNode const &) {
             state.topologies.erase(name);
             std::erase_if(state.topologyOfVlan,
                           [&](auto const &vlan) { return vlan.second == name; });
         },
         [&](Pelo::String const &name, YamlNode const &value) { topology(value, name, state); }});
}

void StateRemover::topology(YamlNode const &node, Pelo::String const &name, SwitchModel &state) {
    Elements<std::uint16_t> const vlans{
        "a VLAN of the topology", [&](YamlNode const &key) { return values_.vlan(key); },
        [&](std::uint16_t const &vlan) {
            auto const at = state.topologyOfVlan.find(vlan);
            return at != state.topologyOfVlan.end() && at->second == name;
        },
        [&](std::uint16_t const &vlan, YamlNode const &) { state.topologyOfVlan.erase(vlan); },
        nullptr};
    auto &ports = state.topologies[name].ports;
    nodes_.fields(node, "a mapping with vlans and ports",
                  {{"vlans", [&](YamlNode const &value) { elements(value, vlans); }},
                   {"ports", [&](YamlNode const &value) { wholeInterfaces(value, ports); }}});
}

void StateRemover::learnedMacs(YamlNode const &node, SwitchModel &state) {
    auto const hosts = [&](std::uint16_t const &vlan, YamlNode const &value) {
        auto &fdb = state.learnedMacs[vlan];
        elements<Nexo::EthAddr>(
            value,
            {"a learned MAC address", [&](YamlNode const &key) { return values_.stationMac(key); },
             [&](Nexo::EthAddr const &mac) { return fdb.count(mac) != 0; },
             [&](Nexo::EthAddr const &mac, YamlNode const &) { fdb.erase(mac); }, nullptr});
    };
    elements<std::uint16_t>(
        node, {"a VLAN with learned MAC addresses",
               [&](YamlNode const &key) { return values_.vlan(key); },
               [&](std::uint16_t const &vlan) { return state.learnedMacs.count(vlan) != 0; },
               [&](std::uint16_t const &vlan, YamlNode const &) { state.learnedMacs.erase(vlan); },
               hosts});
}

void StateRemover::policies(YamlNode const &node, Named<PolicyState> &policies) {
    elements<Pelo::String>(
        node, {"a policy", [&](YamlNode const &key) { return values_.name(key); },
               [&](Pelo::String const &name) { return policies.contains(name); },
               [&](Pelo::String const &name, YamlNode const &) { policies.erase(name); },
               [&](Pelo::String const &name, YamlNode const &value) {
                   auto &state = policies.at(name).matches;
                   nodes_.fields(
                       value, "a mapping with matches",
                       {{"matches", [&](YamlNode const &inner) { matches(inner, name, state); }}});
               }});
}

void StateRemover::matches(YamlNode const &node, Pelo::String const &policy,
                           Named<MatchState> &matches) {
    elements<Pelo::String>(
        node, {"a match", [&](YamlNode const &key) { return values_.name(key); },
               [&](Pelo::String const &name) { return matches.contains(name); },
               [&](Pelo::String const &name, YamlNode const &) { matches.erase(name); },
               [&](Pelo::String const &name, YamlNode const &value) {
                   MatchState &match = matches.at(name);
                   nodes_.fields(value, "a mapping with flow and actions",
                                 {{"flow", [&](YamlNode const &inner) { flow(inner, match); }},
                                  {"actions", [&](YamlNode const &inner) {
                                       actions(inner, ActionName{policy, name, {}}, match.actions);
                                   }}});
               }});
}

void StateRemover::flow(YamlNode const &node, MatchState &match) {
    Ip::Nat::NatFlowEnd &source = match.flow.source;
    Ip::Nat::NatFlowEnd &destination = match.flow.destination;
    auto const clearAddress = [](Ip::Nat::NatFlowEnd &end) {
        end.addr = Nexo::IpAddr();
        end.prefixLength = 0;
    };
    auto const clearDestination = [&](YamlNode const &at) {
        clearAddress(destination);
        match.destinationSetAt = nodes_.place(at);
    };
    auto const clearSource = [&](YamlNode const &) { clearAddress(source); };
    clearParts(nodes_, node,
               {{"source", !source.addr.isZero(), clearSource},
                {"source-port", source.port != 0, [&](YamlNode const &) { source.port = 0; }},
                {"destination", !destination.addr.isZero(), clearDestination},
                {"destination-port", destination.port != 0,
                 [&](YamlNode const &) { destination.port = 0; }}});
}

void StateRemover::actions(YamlNode const &node, ActionName const &match,
                           Named<ActionState> &actions) {
    elements<Pelo::String>(
        node, {"an action", [&](YamlNode const &key) { return values_.name(key); },
               [&](Pelo::String const &name) { return actions.contains(name); },
               [&](Pelo::String const &name, YamlNode const &) { actions.erase(name); },
               [&](Pelo::String const &name, YamlNode const &value) {
                   versions_.touched(ActionName{match.policy, match.match, name});
                   action(value, actions.at(name));
               }});
}

void StateRemover::action(YamlNode const &node, ActionState &action) {
    if (node.isMap()) {
        nodes_.fields(node, "a mapping with egress",
                      {{"egress", [&](YamlNode const &value) { egress(value, action); }}});
        return;
    }
    auto const clearDestination = [&](YamlNode const &at) {
        action.destination = Nexo::IpAndPort();
        action.destinationSetAt = nodes_.place(at);
    };
    clearParts(
        nodes_, node,
        {{"source", !action.source.addr().isZero(),
          [&](YamlNode const &) { action.source = Nexo::IpAndPort(); }},
         {"destination", !action.destination.addr().isZero(), clearDestination},
         {"egress", !action.egress.empty(), [&](YamlNode const &) { action.egress.clear(); }}});
}

void StateRemover::egress(YamlNode const &node, ActionState &action) {
    elements<Nexo::IntfId>(
        node, {"an egress interface of the action",
               [&](YamlNode const &key) { return values_.interfaceName(key); },
               [&](Nexo::IntfId const &intf) { return action.egress.contains(intf); },
               [&](Nexo::IntfId const &intf, YamlNode const &) { action.egress.erase(intf); },
               [&](Nexo::IntfId const &intf, YamlNode const &value) {
                   nextHop(value, action.egress[intf]);
               }});
}

void StateRemover::nextHop(YamlNode const &node, EgressState &egress) {
    Ip::Nat::NatFlowNextHop &hop = egress.nextHop;
    auto const clearMac = [&](YamlNode const &at) {
        hop.mac = Nexo::EthAddr();
        egress.setAt = nodes_.place(at);
    };
    clearParts(nodes_, node,
               {{"vlan", hop.vlan != 0, [&](YamlNode const &) { hop.vlan = 0; }},
                {"mac", !hop.mac.isZero(), clearMac}});
}

} // namespace UmoAgent
