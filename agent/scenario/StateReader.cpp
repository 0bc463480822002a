#include "agent/scenario/StateReader.h"

#include "Nexo/VlanIntfId.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace UmoAgent {

std::vector<ScenarioNodes::Field> StateReader::fields(SwitchModel &state) {
    return {
        {"chip", [&](YamlNode const &node) { chip(node, state.chip); }},
        {"bridge-mac",
         [&](YamlNode const &node) { keep(values_.stationMac(node), state.bridgeMac); }},
        {"interfaces", [&](YamlNode const &node) { interfaces(node, state); }},
        {"vlans", [&](YamlNode const &node) { vlans(node, state); }},
        {"topologies", [&](YamlNode const &node) { topologies(node, state); }},
        {"learned-macs", [&](YamlNode const &node) { learnedMacs(node, state); }},
        {"ip-interfaces", [&](YamlNode const &node) { ipInterfaces(node, state); }},
        {"l3-interfaces", [&](YamlNode const &node) { l3Interfaces(node, state); }},
        {"policies", [&](YamlNode const &node) { nat_.policies(node, state.policies); }},
    };
}

void StateReader::chip(YamlNode const &node, ChipCapacity &chip) {
    static constexpr std::uint32_t kMax = 1'000'000;
    nodes_.fields(node, "a mapping of table sizes",
                  {{"groups",
                    [&](YamlNode const &value) {
                        keep(values_.number<std::uint32_t>(value, 0, kMax, "a number of groups"),
                             chip.groups);
                    }},
                   {"port-sets-per-group", [&](YamlNode const &value) {
                        keep(values_.number<std::uint32_t>(value, 0, kMax, "a number of port sets"),
                             chip.portSetsPerGroup);
                    }}});
}

void StateReader::interfaces(YamlNode const &node, SwitchModel &state) {
    static Bridging::VlanIdOrNone const kDefaultVlan(1);
    nodes_.entries<Nexo::IntfId>(
        node, "a mapping from interfaces to their settings",
        [&](YamlNode const &key) { return values_.declaredPort(key); },
        [&](Nexo::IntfId const &intf, YamlNode const &, YamlNode const &settings) {
            state.declared.insert(intf);
            auto const [at, created] = state.interfaces.try_emplace(intf);
            auto &interface = at->second;
            bool nativeVlanNamed = false;
            nodes_.fields(settings, "a mapping with mode and native-vlan",
                          {{"mode",
                            [&](YamlNode const &value) {
                                keep(values_.switchportMode(value), interface.mode);
                            }},
                           {"native-vlan", [&](YamlNode const &value) {
                                nativeVlanNamed = true;
                                keep(values_.nativeVlan(value), interface.nativeVlan);
                            }}});
            bool const bridged = interface.mode != Bridging::SwitchportMode::routed;
            if (created && bridged && !nativeVlanNamed) {
                interface.nativeVlan = kDefaultVlan;
            }
        });
}

void StateReader::vlans(YamlNode const &node, SwitchModel &state) {
    nodes_.entries<std::uint16_t>(
        node, "a mapping from VLANs to their members",
        [&](YamlNode const &key) { return values_.vlan(key); },
        [&](std::uint16_t const &vlan, YamlNode const &, YamlNode const &members) {
            auto &ports = state.vlans[vlan];
            nodes_.list(members, "a list of interfaces", [&](YamlNode const &member) {
                if (auto const port = values_.port(member)) {
                    ports.insert(*port);
                }
            });
        });
}

void StateReader::topologies(YamlNode const &node, SwitchModel &state) {
    std::map<std::uint16_t, Pelo::String> named; // a VLAN can move, but not to two places at once
    auto const vlanOf = [&](Pelo::String const &name, YamlNode const &value) {
        auto const vlan = values_.vlan(value);
        if (!vlan) {
            return;
        }
        auto const [at, added] = named.try_emplace(*vlan, name);
        if (!added && at->second != name) {
            nodes_.errors().add(nodes_.place(value),
                                "VLAN " + value.text + " also in topology " + at->second,
                                "each VLAN in one topology");
        }
        state.topologyOfVlan[*vlan] = name;
    };
    auto const ports = [&](YamlNode const &value, TopologyState &topology) {
        nodes_.entries<Nexo::IntfId>(
            value, "a mapping from interfaces to their states",
            [&](YamlNode const &key) { return values_.port(key); },
            [&](Nexo::IntfId const &port, YamlNode const &, YamlNode const &portState) {
                keep(values_.portState(portState), topology.ports[port]);
            });
    };
    nodes_.entries<Pelo::String>(
        node, "a mapping from topologies to their VLANs and ports",
        [&](YamlNode const &key) { return values_.name(key); },
        [&](Pelo::String const &name, YamlNode const &, YamlNode const &value) {
            TopologyState &topology = state.topologies[name];
            nodes_.fields(value, "a mapping with vlans and ports",
                          {{"vlans",
                            [&](YamlNode const &vlans) {
                                nodes_.list(vlans, "a list of VLANs",
                                            [&](YamlNode const &vlan) { vlanOf(name, vlan); });
                            }},
                           {"ports", [&](YamlNode const &states) { ports(states, topology); }}});
        });
}

void StateReader::learnedMacs(YamlNode const &node, SwitchModel &state) {
    auto const hosts = [&](YamlNode const &value, std::map<Nexo::EthAddr, Nexo::IntfId> &fdb) {
        nodes_.entries<Nexo::EthAddr>(
            value, "a mapping from MAC addresses to interfaces",
            [&](YamlNode const &key) { return values_.stationMac(key); },
            [&](Nexo::EthAddr const &mac, YamlNode const &, YamlNode const &where) {
                keep(values_.port(where), fdb[mac]);
            });
    };
    nodes_.entries<std::uint16_t>(
        node, "a mapping from VLANs to learned MAC addresses",
        [&](YamlNode const &key) { return values_.vlan(key); },
        [&](std::uint16_t const &vlan, YamlNode const &, YamlNode const &value) {
            hosts(value, state.learnedMacs[vlan]);
        });
}

void StateReader::ipInterfaces(YamlNode const &node, SwitchModel &state) {
    nodes_.entries<Nexo::IntfId>(
        node, "a mapping from interfaces to their IP settings",
        [&](YamlNode const &key) { return values_.interface(key); },
        [&](Nexo::IntfId const &intf, YamlNode const &, YamlNode const &settings) {
            IpInterfaceState &interface = state.ipInterfaces[intf];
            nodes_.fields(settings, "a mapping with address and routing",
                          {{"address",
                            [&](YamlNode const &value) {
                                keep(values_.interfaceAddress(value), interface.address);
                            }},
                           {"routing", [&](YamlNode const &value) {
                                keep(values_.boolean(value), interface.routing);
                            }}});
        });
}

void StateReader::l3Interfaces(YamlNode const &node, SwitchModel &state) {
    std::map<Nexo::IntfId, YamlNode const *> named;
    nodes_.entries<Nexo::IntfId>(
        node, "a mapping from interfaces to L3 ids",
        [&](YamlNode const &key) { return values_.interface(key); },
        [&](Nexo::IntfId const &intf, YamlNode const &, YamlNode const &value) {
            l3Id(value, intf, state);
            named.emplace(intf, &value);
        });
    // Looked at when all are read, so that interfaces can exchange their ids.
    for (auto const &[intf, value] : named) {
        for (auto const &[other, id] : state.l3Interfaces) {
            auto const mine = state.l3Interfaces.find(intf);
            if (other != intf && mine != state.l3Interfaces.end() && mine->second == id) {
                nodes_.unexpected(*value, "an id that " + other.stringValue() + " does not have");
            }
        }
    }
}

void StateReader::l3Id(YamlNode const &node, Nexo::IntfId intf, SwitchModel &state) {
    auto const id = values_.l3Id(node);
    if (!id) {
        return;
    }
    std::uint16_t const vlan = Nexo::VlanIntfId::vlanId(intf);
    if (vlan != 0 && vlan != *id) {
        nodes_.unexpected(node, std::to_string(vlan) + ", the number of the interface's VLAN");
        return;
    }
    state.l3Interfaces[intf] = *id;
}

} // namespace UmoAgent
