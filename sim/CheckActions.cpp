#include "agent/base/Find.h"
#include "agent/explain/Explanation.h"
#include "sim/Broken.h"
#include "sim/Checker.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <tuple>

namespace Sim {

namespace {

using Ip::Nat::HwNatFlowActionStatus;

PortSets portSetsOf(Ip::Nat::NatFlowVlanPortSets const &recorded) {
    PortSets sets;
    for (bool const unicast : {false, true}) {
        for (auto const &[vlan, set] :
             unicast ? recorded.ucastPortSet() : recorded.mcastPortSet()) {
            sets[{unicast, vlan}] = {interfacesOf(*set), set->dmac()};
        }
    }
    return sets;
}

std::string shown(PortSets const &sets) {
    std::ostringstream out;
    for (auto const &[key, ports] : sets) {
        out << (key.first ? " unicast" : " multicast") << " VLAN " << key.second << " dmac "
            << ports.dmac << " on";
        for (Nexo::IntfId const intf : ports.interfaces) {
            out << ' ' << (intf.empty() ? "recirculation" : intf.stringValue());
        }
        out << ';';
    }
    return out.str();
}

void requirePorts(std::string const &where, HwNatFlowActionStatus const &hw,
                  PortSets const &expected) {
    bool const same = hw.vlanPortSets() && portSetsOf(*hw.vlanPortSets()) == expected;
    require(same, where, ": the tree's port sets are not:", same ? "" : shown(expected));
}

/// A port of a port set, as the console explains it.
using Explained = std::tuple<bool, std::uint16_t, std::string>; // unicast, VLAN, name or ""

std::set<Explained> flat(PortSets const &sets) {
    std::set<Explained> ports;
    for (auto const &[key, set] : sets) {
        for (Nexo::IntfId const intf : set.interfaces) {
            ports.emplace(key.first, key.second, intf.stringValue());
        }
    }
    return ports;
}

/// The console must say of each port in the tree's port sets that it is in one, of no other, and
/// give a reason exactly for the ports that should not be in one.
void requireExplained(UmoAgent::ForwardingAgent const &agent, std::string const &where,
                      UmoNatFlowActionSm const &machine, HwNatFlowActionStatus const &hw,
                      PortSets expected) {
    UmoAgent::Json const explanation =
        UmoAgent::explanationOf(agent, {machine.policy(), machine.match(), machine.action()});
    UmoAgent::Json const &action = explanation.at("matches").front().at("actions").front();
    PortSets tree = hw.vlanPortSets() ? portSetsOf(*hw.vlanPortSets()) : PortSets();
    bool const same = tree == expected;
    require(action.at("state") == (same ? "up to date" : "out of date"), where,
            ": is explained as ", action.at("state").dump());
    if (hw.flowType() == Ip::Nat::natFlowTypeMulticast) { // its recirculation is not programmed
        std::erase_if(tree, [](auto const &entry) { return entry.first.first; });
        std::erase_if(expected, [](auto const &entry) { return entry.first.first; });
    }
    std::set<Explained> in, wanted;
    for (UmoAgent::Json const &intf : action.at("egress")) {
        for (UmoAgent::Json const &port : intf.at("ports")) {
            Explained const place{port.at("copies") == "unicast", port.at("vlan"),
                                  port.at("port").is_null() ? "" : port.at("port")};
            if (port.at("in-port-set").get<bool>()) {
                in.insert(place);
            }
            if (port.at("wanted").get<bool>()) {
                wanted.insert(place);
            }
            require(port.at("wanted").get<bool>() || !port.at("reason").is_null(), where,
                    ": no reason is given for a port");
        }
    }
    require(in == flat(tree), where, ": other ports are explained as in its port sets than are");
    require(wanted == flat(expected), where, ": the reasons are not those for its port sets");
}

/// A change of a translation's port alone makes no difference.
void requireTranslation(std::string const &where, Nexo::IpAndPort const &nat,
                        Nexo::IpAndPort const &end, std::uint32_t length,
                        Nexo::IpAndPort const &wanted, Ip::Nat::NatFlowEnd const &match) {
    require(nat.addr() == wanted.addr() && end == Nexo::IpAndPort(match.addr, match.port) &&
                length == match.prefixLength,
            where, " translation is not the configured one");
}

} // namespace

/// An action that was evaluated in this event must be up to date. A queued action will be
/// evaluated. For any other, nothing may have changed, or only silently.
void Checker::checkActions(PlainSwitch const &before) {
    std::map<std::string, Watch> watches;
    for (Action const &action : actions_) {
        noteTranslations(action);
        auto const at = watches_.find(action.name);
        Watch const *const was = at == watches_.end() ? nullptr : &at->second;
        auto const type = expectedFlowType(action.match, action.state);
        Watch now{action.state.born,
                  action.state.version,
                  type,
                  expectedPorts(inputs_, type, action.state, recirc_.vlan()),
                  action.holding,
                  false,
                  action.machine->queued()};
        if (was == nullptr || was->born != now.born || was->version != now.version ||
            was->type != type) {
            if (action.holding || action.hw.vlanPortSets()) {
                requirePorts(action.name, action.hw, now.ports);
            }
        } else if (action.holding && !now.queued) {
            bool const differs = !(was->ports == now.ports);
            bool const silent = differs && changesSilently(before, inputs_, action.state);
            require(!differs || silent || !was->holding, action.name,
                    ": was not told of a change, and should be:", differs ? shown(now.ports) : "");
            now.inDoubt = was->inDoubt || silent;
        }
        watches.emplace(action.name, std::move(now));
    }
    watches_ = std::move(watches);
}

void Checker::noteTranslations(Action const &action) {
    Translations const now{action.state.born, action.state.source, action.state.destination, false};
    auto const [at, fresh] = translations_.try_emplace(action.name, now);
    Translations &was = at->second;
    if (fresh || was.born != now.born) {
        was = now;
        return;
    }
    auto const portDiffers = [](Nexo::IpAndPort const &before, Nexo::IpAndPort const &after) {
        return before.addr() == after.addr() && before.port() != after.port();
    };
    bool const differs =
        portDiffers(was.source, now.source) || portDiffers(was.destination, now.destination);
    was = {now.born, now.source, now.destination, was.portDiffers || differs};
}

bool Checker::upToDate(std::vector<MatchName> const &matches) const {
    auto const isUpToDate = [&](MatchName const &name) {
        std::string const where = nameOf(name.first, name.second);
        auto const *const leftOver = UmoAgent::findIn(leftOver_, where);
        auto const &actions = inputs_.policies.find(name.first)->matches.find(name.second)->actions;
        return (leftOver == nullptr || leftOver->empty()) &&
               std::all_of(actions.begin(), actions.end(), [&](auto const &action) {
                   auto const key = where + ", action " + action.first;
                   auto const *const watch = UmoAgent::findIn(watches_, key);
                   return watch != nullptr && watch->holding && !watch->inDoubt && !watch->queued &&
                          !translations_.at(key).portDiffers;
               });
    };
    return std::all_of(matches.begin(), matches.end(), isUpToDate);
}

void Checker::checkSettled() {
    constexpr std::uint64_t kExplained = 16; // one of so many: it takes long
    for (auto const &[name, state, match, machine, hw, holding] : actions_) {
        Watch &watch = watches_.at(name);
        watch.holding = holding;
        watch.queued = false;
        if (!holding) {
            continue;
        }
        require(hw.flowType() == watch.type, name, ": the tree has another flow type");
        requireTranslation(name + ": the tree's source", hw.srcNat(), hw.srcFlow(), hw.srcLen(),
                           state.source, match.flow.source);
        requireTranslation(name + ": the tree's destination", hw.dstNat(), hw.dstFlow(),
                           hw.dstLen(), state.destination, match.flow.destination);
        if (!watch.inDoubt) {
            requirePorts(name, hw, watch.ports);
        }
        if (++explainable_ % kExplained == 0) {
            requireExplained(agent_, name, *machine, hw, watch.ports);
        }
    }
}

} // namespace Sim
