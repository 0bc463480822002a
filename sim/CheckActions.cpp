#include "agent/base/Find.h"
#include "sim/Broken.h"
#include "sim/Checker.h"

#include <algorithm>
#include <sstream>

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
                  topology().actionSmUpdateBacklog().contains(action.machine)};
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
    }
}

} // namespace Sim
