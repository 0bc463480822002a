#include "agent/scenario/StateReader.h"

#include <cstdint>

namespace UmoAgent {

namespace {
template <class Name>
Name const &itself(Name const &name) {
    return name;
}
} // namespace

std::vector<ScenarioNodes::Field> StateReader::fields(Verb verb) {
    auto const of = [this, verb](void (StateReader::*read)(Verb, YamlNode)) {
        return [this, verb, read](YamlNode node) { (this->*read)(verb, node); };
    };
    std::vector<ScenarioNodes::Field> fields{
        {"interfaces", of(&StateReader::interfaces)},
        {"vlans", of(&StateReader::vlans)},
        {"topologies", of(&StateReader::topologies)},
        {"learned-macs", of(&StateReader::learnedMacs)},
        {"ip-interfaces", of(&StateReader::ipInterfaces)},
        {"l3-interfaces", of(&StateReader::l3Interfaces)},
        {"policies", of(&StateReader::policies)},
    };
    if (verb == Verb::set) {
        fields.insert(fields.begin(), {{"chip", [this](YamlNode node) { chip(node); }},
                                       {"tuning", [this](YamlNode node) { tuning(node); }},
                                       {"bridge-mac", [this](YamlNode node) { bridgeMac(node); }}});
    }
    return fields;
}

Changes StateReader::end() {
    topologyOfVlan_.clear();
    named_.clear();
    return changes_.end();
}

void StateReader::parts(Verb verb, YamlNode node, std::string_view expected,
                        std::vector<Part> const &parts) {
    if (verb == Verb::set) {
        std::vector<ScenarioNodes::Field> fields;
        fields.reserve(parts.size());
        for (Part const &part : parts) {
            fields.push_back({part.name, part.set});
        }
        nodes_.fields(node, expected, fields);
        return;
    }
    std::string names;
    for (Part const &part : parts) {
        if (part.clear) {
            names.append(names.empty() ? "" : ", ").append(part.name);
        }
    }
    nodes_.list(node, "a list of " + names, [&](YamlNode item) {
        for (Part const &part : parts) {
            if (part.clear && part.isSet && item.isScalar(part.name)) {
                part.clear(item);
                return;
            }
        }
        nodes_.unexpected(item, "one of " + names + " that is set at this time");
    });
}

void StateReader::chip(YamlNode node) {
    static constexpr std::uint32_t kMax = 1'000'000;
    ChipCapacity chip = *changes_.draft().find<Table::Chip>({});
    nodes_.fields(node, "a mapping of table sizes",
                  {{"groups",
                    [&](YamlNode value) {
                        keep(values_.number<std::uint32_t>(value, 0, kMax, "a number of groups"),
                             chip.groups);
                    }},
                   {"port-sets-per-group", [&](YamlNode value) {
                        keep(values_.number<std::uint32_t>(value, 0, kMax, "a number of port sets"),
                             chip.portSetsPerGroup);
                    }}});
    changes_.set<Table::Chip>({}, chip, node);
}

void StateReader::tuning(YamlNode node) {
    auto tuning = *changes_.draft().find<Table::Tuning>({});
    nodes_.fields(
        node, "a mapping with backlog-limit, backlog-interval and retry-delay",
        {{"backlog-limit",
          [&](YamlNode value) {
              keep(values_.number<std::uint32_t>(value, 0, Table::Tuning::kLargestLimit,
                                                 "a number of actions"),
                   tuning.backlogLimit);
          }},
         {"backlog-interval",
          [&](YamlNode value) { keep(values_.time(value), tuning.backlogInterval); }},
         {"retry-delay", [&](YamlNode value) { keep(values_.time(value), tuning.retryDelay); }}});
    changes_.set<Table::Tuning>({}, tuning, node);
}

void StateReader::bridgeMac(YamlNode node) {
    if (auto const mac = values_.stationMac(node)) {
        changes_.set<Table::BridgeMac>({}, *mac, node);
    }
}

/// When setting, the switch must have the interfaces; when removing, any name is allowed.
std::function<std::optional<Nexo::IntfId>(YamlNode)> StateReader::interfaceNames(Verb verb) {
    return [this, verb](YamlNode name) {
        return verb == Verb::set ? values_.interface(name) : values_.interfaceName(name);
    };
}

std::function<std::optional<Nexo::IntfId>(YamlNode)> StateReader::portNames(Verb verb) {
    return [this, verb](YamlNode name) {
        return verb == Verb::set ? values_.port(name) : values_.interfaceName(name);
    };
}

void StateReader::interfaces(Verb verb, YamlNode node) {
    rows<Table::Interface, Nexo::IntfId>(
        verb, node,
        {"a mapping from interfaces to their settings",
         [this, verb](YamlNode name) {
             return verb == Verb::set ? values_.declaredPort(name) : values_.interfaceName(name);
         },
         itself<Nexo::IntfId>,
         [this](Nexo::IntfId intf, YamlNode name, YamlNode settings) {
             interface(intf, name, settings);
         }});
}

void StateReader::interface(Nexo::IntfId intf, YamlNode name, YamlNode settings) {
    static Bridging::VlanIdOrNone const kDefaultVlan(1);
    auto const before = changes_.draft().find<Table::Interface>(intf);
    auto interface = before.value_or(Table::Interface::Value{});
    bool nativeVlanNamed = false;
    nodes_.fields(
        settings, "a mapping with mode and native-vlan",
        {{"mode", [&](YamlNode value) { keep(values_.switchportMode(value), interface.mode); }},
         {"native-vlan", [&](YamlNode value) {
              nativeVlanNamed = true;
              keep(values_.nativeVlan(value), interface.nativeVlan);
          }}});
    bool const bridged = interface.mode != Bridging::SwitchportMode::routed;
    if (!before && bridged && !nativeVlanNamed) {
        interface.nativeVlan = kDefaultVlan;
    }
    changes_.set<Table::Interface>(intf, interface, name);
}

void StateReader::vlans(Verb verb, YamlNode node) {
    auto const members = [this, verb](Bridging::VlanId vlan, YamlNode value) {
        if (verb == Verb::remove) {
            rows<Table::VlanMember, Nexo::IntfId>(verb, value,
                                                  {"", portNames(verb),
                                                   [vlan](Nexo::IntfId intf) {
                                                       return Table::VlanMember::Key{vlan, intf};
                                                   },
                                                   nullptr});
            return;
        }
        nodes_.list(value, "a list of interfaces", [&](YamlNode member) {
            if (auto const port = values_.port(member)) {
                setIfMissing<Table::VlanMember>({vlan, *port}, member);
            }
        });
    };
    rows<Table::Vlan, Bridging::VlanId>(
        verb, node,
        {"a mapping from VLANs to their members",
         [this](YamlNode name) { return values_.vlan(name); }, itself<Bridging::VlanId>,
         [&](Bridging::VlanId vlan, YamlNode name, YamlNode value) {
             setIfMissing<Table::Vlan>(vlan, name);
             members(vlan, value);
         },
         [&](Bridging::VlanId vlan, YamlNode, YamlNode value) { members(vlan, value); }});
}

void StateReader::topologies(Verb verb, YamlNode node) {
    rows<Table::Topology, Pelo::String>(
        verb, node,
        {"a mapping from topologies to their VLANs and ports",
         [this](YamlNode name) { return values_.name(name); }, itself<Pelo::String>,
         [&](Pelo::String const &topology, YamlNode name, YamlNode value) {
             setIfMissing<Table::Topology>(topology, name);
             this->topology(verb, topology, value);
         },
         [&](Pelo::String const &topology, YamlNode, YamlNode value) {
             this->topology(verb, topology, value);
         }});
}

void StateReader::topology(Verb verb, Pelo::String const &name, YamlNode node) {
    auto const ports = [&](YamlNode value) {
        auto const key = [&](Nexo::IntfId port) { return Table::TopologyPort::Key{name, port}; };
        rows<Table::TopologyPort, Nexo::IntfId>(
            verb, value,
            {"a mapping from interfaces to their states", portNames(verb), key,
             [&](Nexo::IntfId port, YamlNode, YamlNode state) {
                 if (auto const read = values_.portState(state)) {
                     changes_.set<Table::TopologyPort>(key(port), *read, state);
                 }
             }});
    };
    auto const vlans = [&](YamlNode value) {
        nodes_.list(value, "a list of VLANs",
                    [&](YamlNode vlan) { topologyVlan(verb, name, vlan); });
    };
    nodes_.fields(node, "a mapping with vlans and ports", {{"vlans", vlans}, {"ports", ports}});
}

/// A VLAN can move to another topology, but not to two in one event.
void StateReader::topologyVlan(Verb verb, Pelo::String const &topology, YamlNode node) {
    auto const vlan = values_.vlan(node);
    if (!vlan) {
        return;
    }
    if (verb == Verb::remove) {
        if (changes_.draft().find<Table::VlanTopology>(*vlan) == topology) {
            changes_.remove<Table::VlanTopology>(*vlan, node);
        } else {
            nodes_.unexpected(node, draftAbsent(Table::VlanTopology::kOne));
        }
        return;
    }
    auto const [at, added] = topologyOfVlan_.try_emplace(*vlan, topology);
    if (!added && at->second != topology) {
        nodes_.errors().add(node.place(),
                            "VLAN " + std::string(node.text()) + " also in topology " + at->second,
                            "each VLAN in one topology");
    }
    changes_.set<Table::VlanTopology>(*vlan, topology, node);
}

void StateReader::learnedMacs(Verb verb, YamlNode node) {
    auto const hosts = [&](Bridging::VlanId vlan, YamlNode value) {
        auto const key = [vlan](Nexo::EthAddr mac) { return Table::LearnedMac::Key{vlan, mac}; };
        rows<Table::LearnedMac, Nexo::EthAddr>(
            verb, value,
            {"a mapping from MAC addresses to interfaces",
             [this](YamlNode name) { return values_.stationMac(name); }, key,
             [&](Nexo::EthAddr mac, YamlNode, YamlNode where) {
                 if (auto const port = values_.port(where)) {
                     changes_.set<Table::LearnedMac>(key(mac), *port, where);
                 }
             }});
    };
    rows<Table::Fdb, Bridging::VlanId>(
        verb, node,
        {"a mapping from VLANs to learned MAC addresses",
         [this](YamlNode name) { return values_.vlan(name); }, itself<Bridging::VlanId>,
         [&](Bridging::VlanId vlan, YamlNode name, YamlNode value) {
             setIfMissing<Table::Fdb>(vlan, name);
             hosts(vlan, value);
         },
         [&](Bridging::VlanId vlan, YamlNode, YamlNode value) { hosts(vlan, value); }});
}

void StateReader::ipInterfaces(Verb verb, YamlNode node) {
    auto const set = [this](Nexo::IntfId intf, YamlNode name, YamlNode settings) {
        auto interface =
            changes_.draft().find<Table::IpInterface>(intf).value_or(Table::IpInterface::Value{});
        nodes_.fields(
            settings, "a mapping with address and routing",
            {{"address",
              [&](YamlNode value) { keep(values_.interfaceAddress(value), interface.address); }},
             {"routing",
              [&](YamlNode value) { keep(values_.boolean(value), interface.routing); }}});
        changes_.set<Table::IpInterface>(intf, interface, name);
    };
    rows<Table::IpInterface, Nexo::IntfId>(verb, node,
                                           {"a mapping from interfaces to their IP settings",
                                            interfaceNames(verb), itself<Nexo::IntfId>, set});
}

void StateReader::l3Interfaces(Verb verb, YamlNode node) {
    auto const set = [this](Nexo::IntfId intf, YamlNode, YamlNode value) {
        if (auto const id = values_.l3Id(value)) {
            changes_.set<Table::L3Interface>(intf, *id, value);
        }
    };
    rows<Table::L3Interface, Nexo::IntfId>(
        verb, node,
        {"a mapping from interfaces to L3 ids", interfaceNames(verb), itself<Nexo::IntfId>, set});
}

} // namespace UmoAgent
