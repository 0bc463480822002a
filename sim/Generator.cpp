#include "sim/Generator.h"

#include <algorithm>
#include <array>
#include <vector>

namespace Sim {

using UmoAgent::ActionState;
using UmoAgent::MatchState;

namespace {

using Text = std::string;

constexpr std::array kPorts{"Ethernet1", "Ethernet2", "Ethernet3",     "Ethernet4",
                            "Ethernet5", "Ethernet6", "Port-Channel1", "Ethernet7"};
constexpr std::array kVlans{"10", "20", "30", "40", "50", "60"};
constexpr std::array kTopologies{"t0", "t1", "t2"};
constexpr std::array kPolicies{"p0", "p1", "p2"};
constexpr std::array kMatches{"m0", "m1", "m2"};
constexpr std::array kActions{"a0", "a1", "a2", "a3"};
constexpr std::size_t kEvaluateAllEvery = 50; // events

Text quoted(Text const &text) {
    return '"' + text + '"';
}

Text list(std::vector<Text> const &items) {
    Text text;
    for (Text const &item : items) {
        text += (text.empty() ? "" : ", ") + item;
    }
    return '[' + text + ']';
}

/// A mapping of those entries whose value is not empty.
Text mapping(std::vector<std::pair<Text, Text>> const &entries) {
    Text text;
    for (auto const &[key, value] : entries) {
        if (!value.empty()) {
            text.append(text.empty() ? "" : ", ").append(key).append(": ").append(value);
        }
    }
    return '{' + text + '}';
}

Text in(Text const &key, Text const &value) {
    return mapping({{key, value}});
}

Text mappingOf(std::map<Text, Text> const &texts) {
    return mapping({texts.begin(), texts.end()});
}

Text inMatch(Text const &policy, Text const &match, Text const &value) {
    return in(policy, in("matches", in(match, value)));
}

template <class Map, class Key>
auto const *found(Map const &map, Key const &key) {
    auto const at = map.find(key);
    return at == map.end() ? nullptr : &at->second;
}

/// The names of what a model holds, by any of its keys.
template <class Elements>
std::vector<Text> names(Elements const &elements) {
    std::vector<Text> names;
    for (auto const &element : elements) {
        if constexpr (requires { element.stringValue(); }) {
            names.push_back(element.stringValue());
        } else if constexpr (requires { element.first.stringValue(); }) {
            names.push_back(element.first.stringValue());
        } else {
            names.push_back(element.first);
        }
    }
    return names;
}

std::uint16_t numberOf(Text const &vlan) {
    return static_cast<std::uint16_t>(std::stoi(vlan));
}

/// Whether the action has a next hop without MAC address, and so must stay multicast.
bool lacksMac(ActionState const &action) {
    for (auto const &[intf, egress] : action.egress) {
        if (egress.nextHop.mac.isZero()) {
            return true;
        }
    }
    return false;
}

} // namespace

Text Generator::vlan() {
    return random_.pick(kVlans);
}

Text Generator::port() {
    return random_.pick(kPorts);
}

Text Generator::mac() {
    return quoted(word({"02:00:00:00:00:0a", "02:00:00:00:00:0b", "02:00:00:00:00:0c"}));
}

Text Generator::ports() {
    std::vector<Text> some;
    for (char const *const port : kPorts) {
        if (random_.chance(65)) {
            some.emplace_back(port);
        }
    }
    return list(some);
}

Text Generator::portStates() {
    std::vector<std::pair<Text, Text>> states;
    for (char const *const port : kPorts) {
        if (random_.chance(65)) {
            states.emplace_back(port, random_.chance(85)
                                          ? "forwarding"
                                          : word({"disabled", "blocking", "learning"}));
        }
    }
    return mapping(states);
}

Text Generator::interfaceSettings() {
    return mapping({{"mode", word({"access", "trunk", "trunk", "dot1q-tunnel", "trunk", "routed"})},
                    {"native-vlan", random_.chance(95) ? vlan() : "none"}});
}

Text Generator::ipSettings() {
    return mapping({{"address", random_.chance(92) ? word({"10.0.1.1/24", "10.0.2.1/24"}) : "none"},
                    {"routing", random_.chance(92) ? "true" : "false"}});
}

Text Generator::flow() {
    return mapping({{"source", word({"", "10.1.0.0/16", "10.1.0.0/24", "10.2.0.1"})},
                    {"source-port", word({"", "", "5000", "5001"})},
                    {"destination", word({"", "", "239.1.1.1", "239.1.1.1/24", "10.5.0.1"})},
                    {"destination-port", word({"", "", "6000"})}});
}

Text Generator::egress(bool withMacs) {
    std::map<Text, Text> hops;
    for (std::size_t left = 1 + random_.below(3); left > 0; --left) {
        Text const hopMac = withMacs ? mac() : "";
        if (random_.chance(50)) {
            hops["Vlan" + vlan()] = in("mac", hopMac);
        } else {
            hops[port()] = mapping({{"vlan", random_.chance(60) ? vlan() : ""}, {"mac", hopMac}});
        }
    }
    return mappingOf(hops);
}

Text Generator::newAction() {
    bool const withMacs = random_.chance(85);
    return mapping({{"source", word({"", "10.9.9.1:5000", "10.9.9.1:5001", "10.9.9.2"})},
                    {"destination", withMacs ? word({"", "", "239.2.2.2:6000", "10.8.0.1:7000"})
                                             : word({"239.2.2.2:6000", "239.2.2.3"})},
                    {"egress", random_.chance(85) ? egress(withMacs) : ""},
                    {"version", random_.chance(8) ? "0" : ""}});
}

Text Generator::match() {
    std::map<Text, Text> actions;
    for (std::size_t left = random_.below(4); left > 0; --left) {
        actions[random_.pick(kActions)] = newAction();
    }
    return mapping({{"flow", flow()}, {"actions", mappingOf(actions)}});
}

Text Generator::policy() {
    std::map<Text, Text> matches;
    for (std::size_t left = random_.below(4); left > 0; --left) {
        matches[random_.pick(kMatches)] = match();
    }
    return in("matches", mappingOf(matches));
}

Text Generator::initial() {
    Text text = "interfaces:\n"; // in one order for all seeds
    for (char const *const port : kPorts) {
        text += "  " + Text(port) + ": " + interfaceSettings() + '\n';
    }
    std::vector<std::pair<Text, Text>> memberships;
    std::vector<std::pair<Text, Text>> ips;
    std::vector<std::pair<Text, Text>> ids;
    std::vector<Text> half[2];
    for (char const *const id : kVlans) {
        memberships.emplace_back(id, ports());
        ips.emplace_back("Vlan" + Text(id), ipSettings());
        ids.emplace_back("Vlan" + Text(id), random_.chance(95) ? id : "");
        half[random_.below(2)].emplace_back(id);
    }
    auto const topology = [&](std::vector<Text> const &vlans) {
        return mapping({{"vlans", list(vlans)}, {"ports", portStates()}});
    };
    std::vector<std::pair<Text, Text>> const rest{
        {"bridge-mac", mac()},
        {"ip-interfaces", mapping(ips)},
        {"l3-interfaces", mapping(ids)},
        {"vlans", mapping(memberships)},
        {"topologies", mapping({{"t0", topology(half[0])}, {"t1", topology(half[1])}})},
        {"policies", mapping({{"p0", policy()}, {"p1", policy()}})}};
    for (auto const &[key, value] : rest) {
        text.append(key).append(": ").append(value).append("\n");
    }
    return text;
}

Text Generator::event(Model const &now, std::size_t groupsInUse) {
    ++events_;
    groupsInUse_ = groupsInUse;
    Text const at = time();
    Change const change = events_ % kEvaluateAllEvery == 0 ? evaluateAll(now)
                          : flaps_ > 0                     ? flap(now)
                                                           : this->change(now);
    bool const refuses = faults_ && random_.chance(4);
    return mapping({{"at", at},
                    {"refuse-groups", refuses ? word({"1", "1", "2", "3"}) : ""},
                    {"remove", change.remove.empty() ? "" : mappingOf(change.remove)},
                    {"set", change.set.empty() ? "" : mappingOf(change.set)}});
}

/// Times around those at which the switch has something to do: a burst has none between its
/// events; else it is less, or more, than it takes for the backlog or the retry to come.
Text Generator::time() {
    if (burst_ > 0) {
        --burst_;
    } else if (flaps_ > 0) {
        now_ += 30;
    } else {
        static constexpr std::array<unsigned, 14> kSteps{
            1, 37, 99, 100, 101, 250, 1000, 1000, 3333, 6667, 9999, 10'000, 10'001, 60'000};
        now_ += random_.chance(1) ? 3'600'000 : random_.pick(kSteps);
        burst_ = random_.chance(10) ? 1 + random_.below(8) : 0;
    }
    return std::to_string(now_) + "ms";
}

Generator::Change Generator::change(Model const &now) {
    using Section = void (Generator::*)(Model const &, Change &);
    static constexpr std::array<Section, 12> kSections{
        &Generator::bridgeMac,    &Generator::interfaces,   &Generator::vlans,
        &Generator::vlans,        &Generator::topologies,   &Generator::topologies,
        &Generator::topologies,   &Generator::learnedMacs,  &Generator::learnedMacs,
        &Generator::ipInterfaces, &Generator::l3Interfaces, &Generator::chip};
    Change change;
    if (!now.topologies.empty() && random_.chance(3)) {
        flaps_ = 2 + random_.below(6);
        flappingTopology_ = random_.pick(names(now.topologies));
        flappingPort_ = port();
    }
    bool const several = random_.chance(15);
    do {
        std::size_t const section = random_.below(20);
        (this->*(section < kSections.size() ? kSections.at(section) : &Generator::policies))(
            now, change);
    } while (several && random_.chance(70));
    return change;
}

/// Has the event remove something of a key, and set something of it: always when nothing is
/// removed, else with a chance of `again` percent.
template <class SetText>
void Generator::offer(Change &change, char const *key, Text const &remove, unsigned again,
                      SetText const &set) {
    if (!remove.empty()) {
        change.remove[key] = remove;
    }
    if (change.remove.count(key) == 0 || random_.chance(again)) {
        change.set[key] = set();
    }
}

Generator::Change Generator::flap(Model const &now) {
    --flaps_;
    Text const state = flaps_ % 2 == 0 ? "forwarding" : "blocking";
    Change change;
    if (now.topologies.count(flappingTopology_) != 0) {
        change.set["topologies"] = in(flappingTopology_, in("ports", in(flappingPort_, state)));
    }
    return change;
}

/// Naming an action raises its version. Incomplete ones are left alone: it would complete them.
Generator::Change Generator::evaluateAll(Model const &now) const {
    std::vector<std::pair<Text, Text>> policies;
    for (auto const &[policyName, policy] : now.policies) {
        std::vector<std::pair<Text, Text>> matches;
        for (auto const &[matchName, match] : policy.matches) {
            std::vector<std::pair<Text, Text>> actions;
            for (auto const &[name, action] : match.actions) {
                actions.emplace_back(name, action.version == 0 ? "" : "{}");
            }
            matches.emplace_back(matchName, in("actions", mapping(actions)));
        }
        policies.emplace_back(policyName, in("matches", mapping(matches)));
    }
    return {{}, {{"policies", mapping(policies)}}};
}

void Generator::bridgeMac(Model const &, Change &change) {
    change.set["bridge-mac"] = mac();
}

void Generator::chip(Model const &, Change &change) {
    if (faults_) {
        std::size_t const groups = random_.chance(60)   ? 100'000
                                   : random_.chance(70) ? groupsInUse_ + random_.below(4)
                                                        : random_.below(groupsInUse_ + 1);
        change.set["chip"] = in("groups", std::to_string(groups));
    }
}

void Generator::interfaces(Model const &now, Change &change) {
    Text const name = port();
    bool const removed = now.interfaces.count(Nexo::IntfId(name)) != 0 && random_.chance(15);
    offer(change, "interfaces", removed ? list({name}) : "", 30,
          [&] { return in(name, interfaceSettings()); });
}

void Generator::vlans(Model const &now, Change &change) {
    Text const id = vlan();
    auto const *const members = found(now.vlans, numberOf(id));
    Text remove;
    if (members != nullptr && random_.chance(8)) {
        remove = list({id});
    } else if (members != nullptr && !members->empty() && random_.chance(40)) {
        remove = in(id, list({random_.pick(names(*members))}));
    }
    offer(change, "vlans", remove, 20,
          [&] { return in(id, random_.chance(70) ? list({port()}) : ports()); });
}

void Generator::topologies(Model const &now, Change &change) {
    Text const name = random_.pick(kTopologies);
    auto const *const topology = found(now.topologies, name);
    auto const *const mapped = found(now.topologyOfVlan, numberOf(vlan()));
    Text remove;
    if (topology != nullptr && random_.chance(4)) {
        remove = list({name});
    } else if (topology != nullptr && !topology->ports.empty() && random_.chance(10)) {
        remove = in(name, in("ports", list({random_.pick(names(topology->ports))})));
    } else if (mapped != nullptr && random_.chance(8)) {
        for (auto const &[number, owner] : now.topologyOfVlan) {
            if (owner == *mapped) {
                remove = in(owner, in("vlans", list({std::to_string(number)})));
            }
        }
    }
    offer(change, "topologies", remove, 40, [&] {
        Text const vlans = random_.chance(40) ? list({vlan()}) : "";
        return in(name, mapping({{"vlans", vlans}, {"ports", portStates()}}));
    });
}

void Generator::learnedMacs(Model const &now, Change &change) {
    Text const id = vlan();
    auto const *const hosts = found(now.learnedMacs, numberOf(id));
    Text remove;
    if (hosts != nullptr && random_.chance(10)) {
        remove = list({id});
    } else if (hosts != nullptr && !hosts->empty() && random_.chance(30)) {
        remove = in(id, list({quoted(random_.pick(names(*hosts)))}));
    }
    offer(change, "learned-macs", remove, 20, [&] {
        Text const host = mac();
        return in(id, in(host, port()));
    });
}

void Generator::ipInterfaces(Model const &now, Change &change) {
    Text const name = random_.chance(85) ? "Vlan" + vlan() : "Ethernet7";
    bool const removed = now.ipInterfaces.count(Nexo::IntfId(name)) != 0 && random_.chance(10);
    offer(change, "ip-interfaces", removed ? list({name}) : "", 30,
          [&] { return in(name, ipSettings()); });
}

void Generator::l3Interfaces(Model const &now, Change &change) {
    Text const id = vlan();
    Text const name = random_.chance(85) ? "Vlan" + id : "Ethernet7";
    bool const removed = now.l3Interfaces.count(Nexo::IntfId(name)) != 0 && random_.chance(15);
    bool const taken =
        std::any_of(now.l3Interfaces.begin(), now.l3Interfaces.end(), [&](auto const &l3) {
            return l3.first != Nexo::IntfId(name) && l3.second == numberOf(id);
        });
    if (!taken) {
        offer(change, "l3-interfaces", removed ? list({name}) : "", 30,
              [&] { return in(name, id); });
    } else if (removed) {
        change.remove["l3-interfaces"] = list({name});
    }
}

void Generator::policies(Model const &now, Change &change) {
    change.remove.erase("policies");
    change.set.erase("policies");
    Text const p = random_.pick(kPolicies);
    Text const m = random_.pick(kMatches);
    Text const a = random_.pick(kActions);
    auto const *const policyState = now.policies.find(p);
    MatchState const *const matchState = policyState ? policyState->matches.find(m) : nullptr;
    ActionState const *const actionState = matchState ? matchState->actions.find(a) : nullptr;
    bool const again = random_.chance(40); // what is removed comes back at once, as another one
    std::size_t const kind = random_.below(100);
    Text &remove = change.remove["policies"];
    Text &set = change.set["policies"];
    if (kind < 5 && policyState != nullptr) {
        remove = list({p});
        set = again ? in(p, policy()) : "";
    } else if (kind < 12 && matchState != nullptr) {
        remove = in(p, in("matches", list({m})));
        set = again ? inMatch(p, m, match()) : "";
    } else if (kind < 25 && actionState != nullptr) {
        remove = inMatch(p, m, in("actions", list({a})));
        set = again ? inMatch(p, m, in("actions", in(a, newAction()))) : "";
    } else if (kind < 40 && matchState != nullptr) {
        removePart(p, m, *matchState, change);
    } else if (kind < 52) {
        set = inMatch(p, m, in("flow", flow()));
    } else if (kind < 60 && actionState != nullptr) {
        set = inMatch(p, m, in("actions", in(a, in("version", word({"0", "0", "7"})))));
    } else if (kind < 66) {
        set = policyState != nullptr ? "" : in(p, policy());
    } else {
        Text const action = actionState != nullptr ? changedAction(*actionState) : newAction();
        set = inMatch(p, m, in("actions", in(a, action)));
    }
    std::erase_if(change.remove, [](auto const &part) { return part.second.empty(); });
    std::erase_if(change.set, [](auto const &part) { return part.second.empty(); });
}

void Generator::removePart(Text const &policy, Text const &match, MatchState const &state,
                           Change &change) {
    std::vector<Text> parts;
    auto const flowPart = [&](char const *part, bool set) {
        if (set) {
            parts.push_back(in("flow", part));
        }
    };
    flowPart("source", !state.flow.source.addr.isZero());
    flowPart("source-port", state.flow.source.port != 0);
    flowPart("destination", !state.flow.destination.addr.isZero());
    flowPart("destination-port", state.flow.destination.port != 0);
    for (auto const &[name, action] : state.actions) {
        auto const actionPart = [&, &action = name](Text const &part, bool set) {
            if (set) {
                parts.push_back(in("actions", in(action, part)));
            }
        };
        actionPart("source", !action.source.addr().isZero());
        actionPart("destination", !action.destination.addr().isZero() && !lacksMac(action));
        actionPart("egress", !action.egress.empty());
        for (auto const &[intf, egress] : action.egress) {
            actionPart(in("egress", list({intf.stringValue()})), true);
            actionPart(in("egress", in(intf.stringValue(), "vlan")), egress.nextHop.vlan != 0);
        }
    }
    if (!parts.empty()) {
        change.remove["policies"] = inMatch(policy, match, random_.pick(parts));
    }
}

Text Generator::changedAction(ActionState const &state) {
    Text const multicast = word({"", "239.2.2.2:6000", "239.2.2.3"});
    Text const any = word({"", "239.2.2.2:6000", "10.8.0.1:7000", "10.8.0.1:7001"});
    return mapping({{"source", word({"", "", "10.9.9.1:5000", "10.9.9.1:5001", "10.9.9.2"})},
                    {"destination", lacksMac(state) ? multicast : any},
                    {"egress", random_.chance(60) ? egress(true) : ""},
                    {"version", random_.chance(8) ? "0" : ""}});
}

} // namespace Sim
