#include "sim/Checker.h"

#include "UmoNat/UmoNatFlowMatchSm.h"
#include "UmoNat/UmoNatFlowPolicySm.h"
#include "sim/Broken.h"

#include <algorithm>

namespace Sim {

using UmoAgent::ActionState;
using UmoAgent::MatchState;
using UmoAgent::SwitchModel;

namespace {

template <class Named, class Value>
auto const *staying(Named const &named, std::string const &name, Value const &before) {
    auto const *const now = named.find(name);
    return now != nullptr && now->born == before.born ? now : nullptr;
}

struct MatchPlace {
    std::pair<std::string, std::string> const &name;
};

std::ostream &operator<<(std::ostream &out, MatchPlace const &place) {
    return out << "policy " << place.name.first << ", match " << place.name.second;
}

} // namespace

void Checker::called(std::string const &call) {
    if (call.rfind("createNatFlowGroup", 0) != 0) {
        freed_ = freed_ || call.rfind("deleteNatFlowGroup", 0) == 0;
        return;
    }
    asked_ = true;
    auto const id = static_cast<std::uint32_t>(std::stoul(call.substr(call.rfind(' ') + 1)));
    if (call.find("unicast true") != std::string::npos) {
        unicastHalf_ = id;
        return;
    }
    if (unicastHalf_ && (*unicastHalf_ == 0) != (id == 0)) {
        halves_.insert(std::max(*unicastHalf_, id));
    }
    unicastHalf_.reset();
}

void Checker::started() {
    recirc_.starts(model());
    checkState(false);
    checkActions(model());
}

void Checker::changed(SwitchModel const &before) {
    recirc_.changes(before, model());
    noteEnds(before);
    bool const policyEnded =
        std::any_of(before.policies.begin(), before.policies.end(), [&](auto const &policy) {
            return staying(model().policies, policy.first, policy.second) == nullptr;
        });
    checkState(policyEnded);
    checkActions(before);
}

void Checker::timePassed() {
    freed_ = asked_ = false; // by the retry itself
    checkState(false);
    if (topology().actionSmUpdateBacklog().empty()) {
        checkSettled();
    }
}

void Checker::emptied() const {
    auto const &sm = topology();
    require(agent_.root().policySm().empty() && agent_.state().hwStatus()->natFlow().empty() &&
                agent_.root().unprogrammedGroup().empty(),
            "policies are gone, but not all of what was made for them");
    require(sm.actionIntf().empty() && sm.actionVlan().empty() && sm.actionMac().empty() &&
                sm.actionRecirc().empty() && sm.actionSmUpdateBacklog().empty(),
            "actions are gone, but not from the index");
    require(!Vyr::TaskSchedulerRoot::findOrCreateScheduler()->nextDue(),
            "nothing is left to do, but a task is scheduled");
}

/// An incomplete action that ends leaves its entry in the tree.
void Checker::noteEnds(SwitchModel const &before) {
    for (auto const &[policyName, policy] : before.policies) {
        auto const *const policyNow = staying(model().policies, policyName, policy);
        for (auto const &[matchName, match] : policy.matches) {
            std::pair const key{policyName, matchName};
            auto const *const matchNow =
                policyNow == nullptr ? nullptr : staying(policyNow->matches, matchName, match);
            if (matchNow == nullptr) {
                leftOver_.erase(key);
                continue;
            }
            for (auto const &[name, action] : match.actions) {
                if (staying(matchNow->actions, name, action) == nullptr) {
                    auto &names = leftOver_[key];
                    action.version == 0 ? (void)names.insert(name) : (void)names.erase(name);
                }
            }
        }
    }
}

void Checker::checkState(bool policyEnded) {
    require(agent_.chip().contractErrors() == 0, "a call broke the chip's contract");
    require(topology().natFlowRecircVlan() == recirc_.vlan(), "the recirculation VLAN is ",
            topology().natFlowRecircVlan(), ", not ", recirc_.vlan());
    machines_.clear();
    actions_.clear();
    waiting_.clear();
    auto const &machines = agent_.root().policySm();
    auto &tree = *agent_.state().hwStatus();
    auto const &policies = model().policies;
    require(machines.size() == policies.size() && tree.natFlow().size() == policies.size(),
            "there are policies that nobody wants");
    for (auto const &[policyName, policy] : policies) {
        auto const *const policySm = machines.find(policyName);
        auto const hwPolicy = tree.natFlow(policyName);
        require(policySm != nullptr && hwPolicy, "policy ", policyName, " is missing");
        auto const &matchSms = (*policySm)->matchSm();
        require(matchSms.size() == policy.matches.size() &&
                    hwPolicy->match().size() == policy.matches.size(),
                "policy ", policyName, " has matches that nobody wants");
        for (auto const &[matchName, match] : policy.matches) {
            auto const *const matchSm = matchSms.find(matchName);
            auto const hwMatch = hwPolicy->match(matchName);
            require(matchSm != nullptr && hwMatch, "match ", matchName, " is missing");
            checkMatch({policyName, matchName}, policy.born, match, **matchSm, *hwMatch);
        }
    }
    checkWaiting(policyEnded);
    checkMachines();
    checkChip(agent_.chip(), tree, halves_);
}

void Checker::checkMatch(MatchName const &name, UmoAgent::Birth policyBirth,
                         MatchState const &state, UmoNatFlowMatchSm &machine,
                         Ip::Nat::HwNatFlowMatchStatus &hw) {
    MatchPlace const where{name};
    require(hw.flow() == state.flow, where, ": the tree has another flow");
    std::uint32_t const wanted = machine.matchSmStatus()->groupNum();
    bool unheard = false; // what incomplete actions say of a destination may be news
    std::size_t entries = state.actions.size();
    for (auto const &leftOver : leftOver_[name]) {
        entries += state.actions.contains(leftOver) ? 0 : 1;
        require(bool(hw.action(leftOver)), where, ": incomplete action ", leftOver,
                " left nothing");
    }
    require(hw.action().size() == entries && machine.actionSm().size() == state.actions.size(),
            where, ": there are actions that nobody wants");
    for (auto const &[actionName, action] : state.actions) {
        auto const *const actionSm = machine.actionSm().find(actionName);
        auto const hwAction = hw.action(actionName);
        require(actionSm != nullptr && hwAction, where, ": action ", actionName, " is missing");
        machines_.insert(actionSm->ptr());
        unheard = unheard || (action.version == 0 && state.flow.destination.addr.isZero());
        if (action.version != 0) {
            actions_.push_back({{name, actionName},
                                {policyBirth, state.born, action.born},
                                action,
                                state,
                                actionSm->ptr(),
                                *hwAction,
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
            require(machines_.count(actionSm) != 0, where, " has an action that is no more");
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
