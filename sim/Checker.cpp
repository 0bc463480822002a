#include "sim/Checker.h"

#include "UmoNat/UmoNatFlowMatchSm.h"
#include "UmoNat/UmoNatFlowPolicySm.h"
#include "sim/Broken.h"

#include <algorithm>

namespace Sim {

namespace {

template <class Named, class Value>
auto const *staying(Named const &named, std::string const &name, Value const &before) {
    auto const *const now = named.find(name);
    return now != nullptr && now->born == before.born ? now : nullptr;
}

template <class Wanted, class Elements>
bool haveNames(Elements const &elements, Wanted const &wanted,
               std::set<std::string> const &leftOver = {}) {
    std::size_t names = 0;
    bool all = true;
    auto const need = [&](std::string const &name) {
        ++names;
        all = all && elements.find(name) != nullptr;
    };
    for (auto const &[name, element] : wanted) {
        need(name);
    }
    for (std::string const &name : leftOver) {
        wanted.find(name) == nullptr ? need(name) : void();
    }
    return all && elements.size() == names;
}

/// Machines exist exactly for what is wanted; the tree may also have what is left over.
template <class Where, class Wanted, class Machines, class Tree>
void requireNames(Where const &where, char const *what, Wanted const &wanted,
                  Machines const &machines, Tree const &tree,
                  std::set<std::string> const &leftOver = {}) {
    require(haveNames(machines, wanted), where, ": the machines have other ", what);
    require(haveNames(tree, wanted, leftOver), where, ": the tree has other ", what);
}

} // namespace

std::string nameOf(std::string const &policy, std::string const &match) {
    return "policy " + policy + ", match " + match;
}

void Checker::called(std::string const &call) {
    asked_ = asked_ || call.starts_with("createNatFlowGroup");
    freed_ = freed_ || call.starts_with("deleteNatFlowGroup");
}

void Checker::started(UmoAgent::Changes const &initial) {
    inputs_.make(initial);
    recirc_.starts(inputs_);
    checkState(false);
    checkActions(inputs_);
}

void Checker::changed(UmoAgent::Changes const &changes) {
    PlainSwitch const before = inputs_;
    inputs_.make(changes);
    recirc_.changes(before, inputs_);
    checkState(noteEnds(before));
    checkActions(before);
}

void Checker::timePassed() {
    freed_ = asked_ = false; // what the retry did does not count
    checkState(false);
    if (topology().actionSmUpdateBacklog().empty()) {
        checkSettled();
    }
}

/// Notes what incomplete actions leave in the tree when they are removed. Returns whether a policy
/// was removed.
bool Checker::noteEnds(PlainSwitch const &before) {
    bool policyEnded = false;
    for (auto const &[policyName, policy] : before.policies) {
        auto const *const policyNow = staying(inputs_.policies, policyName, policy);
        policyEnded = policyEnded || policyNow == nullptr;
        for (auto const &[matchName, match] : policy.matches) {
            auto &leftOver = leftOver_[nameOf(policyName, matchName)];
            auto const *const matchNow =
                policyNow == nullptr ? nullptr : staying(policyNow->matches, matchName, match);
            if (matchNow == nullptr) {
                leftOver.clear();
                continue;
            }
            for (auto const &[name, action] : match.actions) {
                if (staying(matchNow->actions, name, action) == nullptr) {
                    action.version == 0 ? (void)leftOver.insert(name) : (void)leftOver.erase(name);
                }
            }
        }
    }
    return policyEnded;
}

void Checker::checkState(bool policyEnded) {
    require(agent_.contractErrors() == 0, "a call broke the chip's contract");
    auto const difference = agent_.helper().differenceFrom(agent_.chip().groups());
    require(difference.empty(), "the chip does not hold what it should: ", difference);
    require(topology().natFlowRecircVlan() == recirc_.vlan(), "the recirculation VLAN is ",
            topology().natFlowRecircVlan(), ", not ", recirc_.vlan());
    machines_.clear();
    actions_.clear();
    waiting_.clear();
    auto const &machines = agent_.root().policySm();
    auto const &tree = *agent_.state().hwStatus();
    auto const &policies = inputs_.policies;
    requireNames("the root", "policies", policies, machines, tree.natFlow());
    for (auto const &[policyName, policy] : policies) {
        auto const &matchSms = (*machines.find(policyName))->matchSm();
        auto const hwPolicy = tree.natFlow(policyName);
        requireNames(policyName, "matches", policy.matches, matchSms, hwPolicy->match());
        for (auto const &[matchName, match] : policy.matches) {
            checkMatch(nameOf(policyName, matchName), match, **matchSms.find(matchName),
                       *hwPolicy->match(matchName));
        }
    }
    checkWaiting(policyEnded);
    checkMachines();
    checkChip(agent_.chip(), tree, agent_.helper().mayHold());
}

void Checker::checkMatch(std::string const &where, PlainMatch const &state,
                         UmoNatFlowMatchSm &machine, Ip::Nat::HwNatFlowMatchStatus const &hw) {
    require(hw.flow() == state.flow, where, ": the tree has another flow");
    requireNames(where, "actions", state.actions, machine.actionSm(), hw.action(),
                 leftOver_[where]);
    std::uint32_t const wanted = machine.matchSmStatus()->groupNum();
    std::string const place = where + ", action ";
    bool unheard = false; // incomplete actions may have changed without a notification
    for (auto const &[name, action] : state.actions) {
        auto const &actionSm = *machine.actionSm().find(name);
        machines_.insert(actionSm.ptr());
        unheard = unheard || (action.version == 0 && state.flow.destination.addr.isZero());
        if (action.version != 0) {
            actions_.push_back({place + name, action, state, actionSm.ptr(), *hw.action(name),
                                hw.groupIdUc() != 0});
        }
    }
    require(wanted == expectedGroups(state) || (unheard && (wanted == 1 || wanted == 2)), where,
            ": wants ", wanted, " groups, not ", expectedGroups(state));
    require(hw.groupIdUc() == 0 || (wanted == 2) == (hw.groupIdUc() != hw.groupIdMc()), where,
            ": wants ", wanted, " groups and holds another number");
    if (wanted != 0 && hw.groupIdUc() == 0) {
        waiting_.insert(&machine);
    }
}

void Checker::checkWaiting(bool policyEnded) {
    auto const &retry = agent_.root().unprogrammedGroup();
    std::set<UmoNatFlowMatchSm const *> inRetry;
    std::set<UmoNatFlowMatchSm const *> stranded;
    bool stillWaits = false;
    for (UmoNatFlowMatchSm *const match : retry) {
        require(waiting_.erase(match) != 0, "the retry has a match that does not wait for groups");
        inRetry.insert(match);
        stillWaits = stillWaits || inRetry_.count(match) != 0;
    }
    for (UmoNatFlowMatchSm const *const match : waiting_) {
        require(policyEnded || stranded_.count(match) != 0,
                "a match waits for groups, but not in the retry");
        stranded.insert(match);
    }
    bool const scheduled = agent_.root().unprogrammedGroupTask()->taskScheduled();
    require(policyEnded || !freed_ || !stillWaits || scheduled,
            "groups were freed while a match waits, but the retry has no run");
    require(!policyEnded || asked_ || (retry.empty() && !scheduled),
            "the end of a policy did not end the retry");
    freed_ = asked_ = false;
    inRetry_ = std::move(inRetry);
    stranded_ = std::move(stranded);
}

void Checker::checkMachines() const {
    auto const &sm = topology();
    auto const checkLiving = [&](auto const &actionSms, char const *where) {
        for (UmoNatFlowActionSm *const actionSm : actionSms) {
            require(machines_.count(actionSm) != 0, where, " has an action that no longer exists");
        }
    };
    auto const checkIndex = [&](auto const &index) {
        for (auto const &[key, entry] : index) {
            require(!entry->actionSm().empty(), "the index has a key without actions");
            checkLiving(entry->actionSm(), "the index");
        }
    };
    checkIndex(sm.actionIntf());
    checkIndex(sm.actionVlan());
    checkIndex(sm.actionMac());
    checkLiving(sm.actionRecirc(), "the index");
    checkLiving(sm.actionSmUpdateBacklog(), "the backlog");
    require(sm.actionSmUpdateBacklog().empty() || sm.actionSmUpdateBacklogTask()->taskScheduled(),
            "the backlog has actions and no run");
}

} // namespace Sim
