#include "sim/Broken.h"
#include "sim/Checker.h"

namespace Sim {

using Ip::Nat::HwNatFlowActionStatus;
using Ip::Nat::HwNatFlowMatchStatus;
using Ip::Nat::NatFlowPortSet;
using UmoAgent::SoftSwitch;

namespace {

using Identity = std::pair<std::uint32_t, std::uint32_t>; // group, port set

struct ActionPlace {
    std::string const &policy;
    std::string const &match;
    std::string const &action;
};

struct PortSetPlace {
    ActionPlace const &action;
    std::uint16_t vlan;
    bool unicast;
    Identity identity;
};

std::ostream &operator<<(std::ostream &out, PortSetPlace const &place) {
    return out << "policy " << place.action.policy << ", match " << place.action.match
               << ", action " << place.action.action << ", VLAN " << place.vlan
               << (place.unicast ? ", unicast" : ", multicast") << " port set "
               << place.identity.second << " in group " << place.identity.first;
}

/// The group in which the port sets of a kind stand under their first or second identifier; 0 if
/// in none. One group has those of the action's own kind. Of two, both have them, or, without a
/// destination, the first the unicast and the second the multicast ones.
std::uint32_t groupOf(HwNatFlowMatchStatus const &match, Ip::Nat::NatFlowType type, bool unicast,
                      bool second) {
    bool const pair = match.groupIdUc() != match.groupIdMc();
    if (type == Ip::Nat::natFlowTypeNone) {
        return second ? 0 : unicast ? match.groupIdUc() : pair ? match.groupIdMc() : 0;
    }
    if (unicast != (type == Ip::Nat::natFlowTypeUnicast)) {
        return 0;
    }
    return !second ? match.groupIdUc() : pair ? match.groupIdMc() : 0;
}

bool same(std::optional<SoftSwitch::Translation> const &programmed, Nexo::IpAndPort const &nat,
          Nexo::IpAndPort const &flow, std::uint32_t length, Nexo::EthAddr dmac) {
    return programmed && programmed->nat == nat && programmed->flow == flow &&
           programmed->prefixLength == length && programmed->dmac == dmac;
}

void checkTranslations(PortSetPlace const &where, HwNatFlowActionStatus const &action,
                       NatFlowPortSet const &portSet, SoftSwitch::PortSet const &programmed) {
    bool const source = !action.srcNat().addr().isZero();
    require(source ? same(programmed.source, action.srcNat(), action.srcFlow(), action.srcLen(), {})
                   : !programmed.source,
            where, ": the chip's source translation is not the tree's");
    bool const recorded = !action.dstNat().addr().isZero();
    // Nothing to match on and nothing to become: the first pass sees no difference.
    bool const optional = where.unicast && !recorded && action.dstFlow() == Nexo::IpAndPort() &&
                          action.dstLen() == 0 && !programmed.destination;
    bool const exact = same(programmed.destination, action.dstNat(), action.dstFlow(),
                            action.dstLen(), portSet.dmac());
    require(optional || (where.unicast || recorded ? exact : !programmed.destination), where,
            ": the chip's destination translation is not the tree's");
}

void checkPortSet(PortSetPlace const &where, NatFlowPortSet const &portSet,
                  SoftSwitch::PortSet const &programmed) {
    bool same =
        programmed.vlan == portSet.vlan() && programmed.interfaces.size() == portSet.intf().size();
    for (Nexo::IntfId const intf : programmed.interfaces) {
        same = same && portSet.intf().contains(intf);
    }
    require(same, where, ": the chip's port set has other interfaces than the tree's");
}

/// Checks the port sets of an action, and adds them to `claimed`.
void checkAction(ActionPlace const &where, SoftSwitch const &chip,
                 HwNatFlowMatchStatus const &match, HwNatFlowActionStatus const &action,
                 std::set<Identity> &claimed) {
    for (int const kind : {0, 1, 2, 3}) {
        bool const unicast = kind < 2;
        bool const second = kind % 2 == 1;
        std::uint32_t const group = groupOf(match, action.flowType(), unicast, second);
        auto const &vps = *action.vlanPortSets();
        for (auto const &[vlan, portSet] : unicast ? vps.ucastPortSet() : vps.mcastPortSet()) {
            std::uint32_t const id = second ? portSet->portSetId2() : portSet->portSetId();
            PortSetPlace const here{where, vlan, unicast, {group, id}};
            require((id == 0) == (group == 0), here, ": one without the other");
            if (id != 0) {
                auto const &portSets = chip.groups().at(group).portSets;
                auto const programmed = portSets.find(id);
                require(programmed != portSets.end(), here, ": not in the chip");
                require(claimed.insert({group, id}).second, here, ": recorded twice");
                checkPortSet(here, *portSet, programmed->second);
                checkTranslations(here, action, *portSet, programmed->second);
            }
        }
    }
}

/// Checks the groups of a match and what is in them, and takes them out of `others`.
void checkGroups(std::string const &policy, HwNatFlowMatchStatus const &match,
                 SoftSwitch const &chip, std::set<std::uint32_t> &others) {
    std::set<std::uint32_t> const ids{match.groupIdUc(), match.groupIdMc()};
    require(ids.size() == 1 || ids.count(0) == 0, policy, ' ', match.name(),
            ": half a pair of groups in the tree");
    std::size_t portSets = 0;
    for (std::uint32_t const id : ids) {
        if (id != 0) {
            require(others.erase(id) == 1, policy, ' ', match.name(), ": group ", id,
                    " is not in the chip or of two");
            auto const &group = chip.groups().at(id);
            bool const unicast = ids.size() == 2 && id == match.groupIdUc();
            require(group.policy == policy && group.match == match.name() &&
                        group.unicast == unicast,
                    policy, ' ', match.name(), ": group ", id, " was made for something else");
            portSets += group.portSets.size();
        }
    }
    std::set<Identity> claimed;
    for (auto const &[name, action] : match.action()) {
        if (action->vlanPortSets()) {
            checkAction({policy, match.name(), name}, chip, match, *action, claimed);
        }
    }
    require(claimed.size() == portSets, policy, ' ', match.name(),
            ": port sets in the chip that no action has");
}

} // namespace

void checkChip(SoftSwitch const &chip, Ip::Nat::HwNatFlowStatus const &tree,
               std::set<std::uint32_t> const &halves) {
    std::set<std::uint32_t> others;
    for (auto const &[id, group] : chip.groups()) {
        others.insert(id);
    }
    for (auto const &[policyName, policy] : tree.natFlow()) {
        for (auto const &[matchName, match] : policy->match()) {
            checkGroups(policyName, *match, chip, others);
        }
    }
    require(others == halves, "the chip has groups that no match holds, or lost half a pair");
}

} // namespace Sim
