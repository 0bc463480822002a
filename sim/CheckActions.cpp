#include "sim/Broken.h"
#include "sim/Checker.h"

namespace Sim {

namespace {

using Ip::Nat::HwNatFlowActionStatus;
using PortSets = Mox::Collection<std::uint16_t, Mox::Ptr<Ip::Nat::NatFlowPortSet>>;

bool same(PortSets const &recorded, std::map<std::uint16_t, Ports> const &expected) {
    if (recorded.size() != expected.size()) {
        return false;
    }
    for (auto const &[vlan, portSet] : recorded) {
        auto const at = expected.find(vlan);
        if (at == expected.end() || portSet->dmac() != at->second.dmac ||
            portSet->intf().size() != at->second.interfaces.size()) {
            return false;
        }
        for (Nexo::IntfId const intf : portSet->intf()) {
            if (at->second.interfaces.count(intf) == 0) {
                return false;
            }
        }
    }
    return true;
}

struct ActionPlace {
    std::pair<std::pair<std::string, std::string>, std::string> const &name;
};

std::ostream &operator<<(std::ostream &out, ActionPlace const &place) {
    return out << "policy " << place.name.first.first << ", match " << place.name.first.second
               << ", action " << place.name.second;
}

void print(std::ostream &out, std::map<std::uint16_t, Ports> const &sets) {
    for (auto const &[vlan, ports] : sets) {
        out << " VLAN " << vlan << " dmac " << ports.dmac << " on";
        for (Nexo::IntfId const intf : ports.interfaces) {
            out << ' ' << (intf.empty() ? "recirculation" : intf.stringValue());
        }
        out << ';';
    }
}

void requirePorts(ActionPlace const &where, HwNatFlowActionStatus const &hw,
                  ExpectedPorts const &expected) {
    require(hw.vlanPortSets() && same(hw.vlanPortSets()->ucastPortSet(), expected.unicast) &&
                same(hw.vlanPortSets()->mcastPortSet(), expected.multicast),
            where, ": the tree's port sets are not: ", expected);
}

/// Of a translation, the port alone makes no difference.
void requireTranslations(ActionPlace const &where, HwNatFlowActionStatus const &hw,
                         UmoAgent::ActionState const &action, Ip::Nat::NatFlow const &flow) {
    auto const same = [](Nexo::IpAndPort const &nat, Nexo::IpAndPort const &end,
                         std::uint32_t length, Nexo::IpAndPort const &wanted,
                         Ip::Nat::NatFlowEnd const &match) {
        return nat.addr() == wanted.addr() && end == Nexo::IpAndPort(match.addr, match.port) &&
               length == match.prefixLength;
    };
    require(same(hw.srcNat(), hw.srcFlow(), hw.srcLen(), action.source, flow.source), where,
            ": the tree's source translation is not the configured one");
    require(same(hw.dstNat(), hw.dstFlow(), hw.dstLen(), action.destination, flow.destination),
            where, ": the tree's destination translation is not the configured one");
}

} // namespace

std::ostream &operator<<(std::ostream &out, ExpectedPorts const &ports) {
    print(out << "unicast", ports.unicast);
    print(out << " multicast", ports.multicast);
    return out;
}

/// An action that had a pass at the end of the event is as it should be. One that is queued will
/// have one. Any other must not have needed one, or is one of those that nobody tells.
void Checker::checkActions(UmoAgent::SwitchModel const &before) {
    std::map<Name, Watch> watches;
    for (Action const &action : actions_) {
        auto const at = watches_.find(action.name);
        bool const known = at != watches_.end() && at->second.births == action.births;
        auto const type = expectedFlowType(action.match, action.state);
        Watch now{action.births,  action.state.version,
                  type,           expectedPorts(model(), type, action.state, recirc_.vlan()),
                  action.holding, false};
        if (!known || at->second.version != now.version || at->second.type != type) {
            if (action.holding || action.hw.vlanPortSets()) {
                requirePorts(ActionPlace{action.name}, action.hw, now.ports);
            }
        } else if (action.holding && !topology().actionSmUpdateBacklog().contains(action.machine)) {
            Watch const &was = at->second;
            bool const differs = !(was.ports == now.ports);
            bool const silent = differs && changesSilently(before, model(), action.state);
            require(!differs || silent || !was.holding, ActionPlace{action.name},
                    ": was not told of a change, and should be: ", now.ports);
            now.inDoubt = was.inDoubt || silent;
        }
        watches.emplace(action.name, std::move(now));
    }
    watches_ = std::move(watches);
}

void Checker::checkSettled() {
    for (Action const &action : actions_) {
        Watch &watch = watches_.at(action.name);
        watch.holding = action.holding;
        if (!action.holding) {
            continue;
        }
        ActionPlace const where{action.name};
        require(action.hw.flowType() == watch.type, where, ": the tree has another flow type");
        requireTranslations(where, action.hw, action.state, action.match.flow);
        if (!watch.inDoubt) {
            requirePorts(where, action.hw, watch.ports);
        }
    }
}

} // namespace Sim
