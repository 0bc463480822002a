#include "sim/Broken.h"
#include "sim/Checker.h"

namespace Sim {

using Ip::Nat::HwNatFlowActionStatus;
using Ip::Nat::HwNatFlowMatchStatus;
using Ip::Nat::NatFlowPortSet;
using UmoAgent::SoftSwitch;

namespace {

using Identity = std::pair<std::uint32_t, std::uint32_t>; // group, port set

/// The group that holds the port sets of a kind under their first or second identifier; 0 if none
/// does. A single group holds those of the action's own kind. Of two groups both hold them, or,
/// without a destination, the first holds the unicast and the second the multicast ones.
std::uint32_t groupOf(HwNatFlowMatchStatus const &match, Ip::Nat::NatFlowType type, bool unicast,
                      bool second) {
    std::uint32_t const group = match.groupIdUc();
    std::uint32_t const other = match.groupIdMc() == group ? 0 : match.groupIdMc();
    if (type == Ip::Nat::natFlowTypeNone) {
        return second ? 0 : unicast ? group : other;
    }
    return unicast != (type == Ip::Nat::natFlowTypeUnicast) ? 0 : second ? other : group;
}

/// Checks that the chip's port set is what the tree records; `check` says where a fault is.
template <class Check>
void checkPortSet(Check const &check, HwNatFlowActionStatus const &action, bool unicast,
                  NatFlowPortSet const &portSet, UmoHelper::PortSet const &programmed) {
    std::set<Nexo::IntfId> const interfaces(programmed.interfaces.begin(),
                                            programmed.interfaces.end());
    check(programmed.vlan == portSet.vlan() && interfaces == interfacesOf(portSet) &&
              interfaces.size() == programmed.interfaces.size(),
          "the chip has other interfaces than the tree");
    std::optional<UmoHelper::Translation> source;
    if (!action.srcNat().addr().isZero()) {
        source = {action.srcNat(), action.srcFlow(), action.srcLen(), {}};
    }
    check(programmed.source == source, "the chip's source translation is not the tree's");
    bool const recorded = !action.dstNat().addr().isZero();
    std::optional<UmoHelper::Translation> destination;
    if (unicast || recorded) {
        destination = {action.dstNat(), action.dstFlow(), action.dstLen(), portSet.dmac()};
    }
    // No destination to match and none to translate to: the first pass sees no difference.
    bool const optional = !recorded && action.dstFlow() == Nexo::IpAndPort() &&
                          action.dstLen() == 0 && !programmed.destination;
    check(optional || programmed.destination == destination,
          "the chip's destination translation is not the tree's");
}

/// Checks the port sets of an action, and adds them to `claimed`.
void checkAction(std::string const &where, SoftSwitch const &chip,
                 HwNatFlowMatchStatus const &match, HwNatFlowActionStatus const &action,
                 std::set<Identity> &claimed) {
    for (int const kind : {0, 1, 2, 3}) {
        bool const unicast = kind < 2;
        bool const second = kind % 2 == 1;
        std::uint32_t const group = groupOf(match, action.flowType(), unicast, second);
        auto const &vps = *action.vlanPortSets();
        for (auto const &[vlan, portSet] : unicast ? vps.ucastPortSet() : vps.mcastPortSet()) {
            std::uint32_t const id = second ? portSet->portSetId2() : portSet->portSetId();
            auto const check = [&, vlan = vlan](bool holds, char const *what) {
                require(holds, where, ", action ", action.name(), ", VLAN ", vlan,
                        unicast ? ", unicast" : ", multicast", " port set ", id, " in group ",
                        group, ": ", what);
            };
            check((id == 0) == (group == 0), "one without the other");
            if (id != 0) {
                auto const &portSets = chip.groups().at(group).portSets;
                auto const programmed = portSets.find(id);
                check(programmed != portSets.end(), "not in the chip");
                check(claimed.insert({group, id}).second, "recorded twice");
                checkPortSet(check, action, unicast, *portSet, programmed->second);
            }
        }
    }
}

/// Checks the groups of a match and their contents, and removes them from `others`.
void checkGroups(std::string const &policy, HwNatFlowMatchStatus const &match,
                 SoftSwitch const &chip, std::set<std::uint32_t> &others) {
    std::string const where = nameOf(policy, match.name());
    std::set<std::uint32_t> const ids{match.groupIdUc(), match.groupIdMc()};
    require(ids.size() == 1 || ids.count(0) == 0, where, ": half a pair of groups in the tree");
    std::size_t portSets = 0;
    for (std::uint32_t const id : ids) {
        if (id != 0) {
            require(others.erase(id) == 1, where, ": group ", id,
                    " is not in the chip, or belongs to two matches");
            auto const &group = chip.groups().at(id);
            bool const unicast = ids.size() == 2 && id == match.groupIdUc();
            require(group.policy == policy && group.match == match.name() &&
                        group.unicast == unicast,
                    where, ": group ", id, " was made for something else");
            portSets += group.portSets.size();
        }
    }
    std::set<Identity> claimed;
    for (auto const &[name, action] : match.action()) {
        if (action->vlanPortSets()) {
            checkAction(where, chip, match, *action, claimed);
        }
    }
    require(claimed.size() == portSets, where, ": port sets in the chip that no action has");
}

} // namespace

std::set<Nexo::IntfId> interfacesOf(NatFlowPortSet const &portSet) {
    std::set<Nexo::IntfId> interfaces;
    for (Nexo::IntfId const intf : portSet.intf()) {
        interfaces.insert(intf);
    }
    return interfaces;
}

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
