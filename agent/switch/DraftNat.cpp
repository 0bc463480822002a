#include "agent/switch/Draft.h"

#include "agent/base/Find.h"
#include "agent/switch/FlowType.h"
#include "agent/switch/SwitchState.h"

namespace UmoAgent {

using Ip::Nat::NatFlowType;

namespace {

char const *whyMacsAreNeeded(NatFlowType type) {
    switch (type) {
    case Ip::Nat::natFlowTypeUnicast:
        return "one, as this is a unicast flow";
    case Ip::Nat::natFlowTypeNone:
        return "one, as this is a flow without destination address";
    case Ip::Nat::natFlowTypeMulticast:
        break;
    }
    return "one, as the flow of this action was not always a multicast one";
}

NatFlowType typeOf(DraftMatch const &match, DraftAction const &action) {
    return flowTypeOf(match.flow, action.value.destination);
}

} // namespace

template <>
std::optional<Table::Present> Draft::find<Table::Policy>(Pelo::String const &key) const {
    auto const *const policy = findIn(policies_, key);
    if (policy == nullptr) {
        return mounted_.find<Table::Policy>(key);
    }
    return policy->present ? std::optional(Table::Present{}) : std::nullopt;
}

template <>
std::optional<Ip::Nat::NatFlow> Draft::find<Table::Match>(Table::Match::Key const &key) const {
    auto const *const policy = findIn(policies_, key.policy);
    if (policy == nullptr) {
        return mounted_.find<Table::Match>(key);
    }
    if (auto const *const match = findIn(policy->matches, key.match)) {
        return match->present ? std::optional(match->flow) : std::nullopt;
    }
    return policy->stays() ? mounted_.find<Table::Match>(key) : std::nullopt;
}

template <>
std::optional<Table::Action::Value>
Draft::find<Table::Action>(Table::Action::Key const &key) const {
    auto const *const policy = findIn(policies_, key.policy);
    if (policy == nullptr) {
        return mounted_.find<Table::Action>(key);
    }
    auto const *const match = findIn(policy->matches, key.match);
    if (match == nullptr) {
        return policy->stays() ? mounted_.find<Table::Action>(key) : std::nullopt;
    }
    if (auto const *const action = findIn(match->actions, key.action)) {
        return action->present ? std::optional(action->value) : std::nullopt;
    }
    return match->stays() ? mounted_.find<Table::Action>(key) : std::nullopt;
}

DraftPolicy &Draft::policy(Pelo::String const &name) {
    auto const [at, fresh] = policies_.try_emplace(name);
    DraftPolicy &policy = at->second;
    if (fresh) {
        policy.mounted = policy.present = mounted_.find<Table::Policy>(name).has_value();
        policy.order = ++order_;
    }
    return policy;
}

DraftMatch &Draft::match(DraftPolicy &policy, Pelo::String const &policyName,
                         Pelo::String const &name) {
    auto const [at, fresh] = policy.matches.try_emplace(name);
    DraftMatch &match = at->second;
    if (fresh) {
        match.order = ++order_;
        if (auto const flow =
                policy.stays() ? mounted_.find<Table::Match>({policyName, name}) : std::nullopt) {
            match.mounted = match.present = true;
            match.flow = *flow;
            match.checked = flowTypeOf(*flow);
        }
    }
    return match;
}

/// An action is first read while its flow is the mounted one, so it records what it needed before
/// the change.
DraftAction &Draft::action(DraftMatch &match, Table::Action::Key const &key) {
    auto const [at, fresh] = match.actions.try_emplace(key.action);
    DraftAction &action = at->second;
    if (fresh) {
        action.order = ++order_;
        if (auto value = match.stays() ? mounted_.find<Table::Action>(key) : std::nullopt) {
            action.mounted = action.present = true;
            action.value = std::move(*value);
            action.neededMacs = mounted_.neededMacs(key);
        }
    }
    return action;
}

DraftMatch *Draft::presentMatch(Pelo::String const &policyName, Pelo::String const &name) {
    DraftPolicy &policy = this->policy(policyName);
    if (!policy.present) {
        return nullptr;
    }
    DraftMatch &match = this->match(policy, policyName, name);
    return match.present ? &match : nullptr;
}

/// A node that is made while there is none is a new one, even under an old name, and comes last.
template <class Node>
Draft::Refusal Draft::makeNode(Node &node, bool present, std::string_view one) {
    if (node.present != present) {
        bool const mounted = node.mounted;
        node = Node{};
        node.mounted = node.ended = mounted;
        node.present = present;
        node.order = ++order_;
    } else if (!present) {
        return draftAbsent(one);
    }
    return std::nullopt;
}

Draft::Refusal Draft::makeOne(Change<Table::Policy> const &change) {
    return makeNode(policy(change.key), change.value.has_value(), Table::Policy::kOne);
}

Draft::Refusal Draft::makeOne(Change<Table::Match> const &change) {
    DraftPolicy &policy = this->policy(change.key.policy);
    if (!policy.present) {
        return draftAbsent(Table::Policy::kOne);
    }
    DraftMatch &match = this->match(policy, change.key.policy, change.key.match);
    Refusal refusal = makeNode(match, change.value.has_value(), Table::Match::kOne);
    if (change.value) {
        match.flow = *change.value;
    }
    return refusal;
}

Draft::Refusal Draft::makeOne(Change<Table::Action> const &change) {
    DraftMatch *const match = presentMatch(change.key.policy, change.key.match);
    if (match == nullptr) {
        return draftAbsent(Table::Match::kOne);
    }
    DraftAction &action = this->action(*match, change.key);
    Refusal refusal = makeNode(action, change.value.has_value(), Table::Action::kOne);
    if (change.value) {
        action.value = *change.value;
    }
    return refusal;
}

/// If the flow's type does not change, neither do the needs of its actions.
void Draft::checkMatch(std::size_t index, Table::Match::Key const &key,
                       std::function<void()> const &breathe, std::vector<Fault> &faults) {
    DraftMatch *const match = presentMatch(key.policy, key.match);
    if (match == nullptr) {
        return;
    }
    NatFlowType const type = flowTypeOf(match->flow);
    bool const same = match->checked.value_or(type) == type;
    match->checked = type;
    if (same) {
        return; // or the match is new, as are its actions
    }
    if (match->stays()) {
        for (Pelo::String const &name : mounted_.actionsOfMatch(key)) {
            action(*match, {key.policy, key.match, name});
        }
    }
    for (auto const &[name, action] : inOrder(match->actions)) {
        checkAction(index, {key.policy, key.match, *name}, *match, faults);
        if (++actionsLookedAt_ % kChangesInABreath == 0 && breathe) {
            breathe();
        }
    }
}

/// While a match waits for other groups, its actions may keep their old flow type. So an action
/// that ever needed MAC addresses needs them as long as it exists.
void Draft::checkAction(std::size_t index, Table::Action::Key const &key, DraftMatch &match,
                        std::vector<Fault> &faults) {
    DraftAction &action = this->action(match, key);
    if (!action.present || action.checkedIn == lists_) {
        return;
    }
    action.checkedIn = lists_;
    NatFlowType const type = typeOf(match, action);
    action.neededMacs = action.neededMacs || type != Ip::Nat::natFlowTypeMulticast;
    if (!action.neededMacs) {
        return;
    }
    for (auto const &[intf, hop] : action.value.egress) {
        if (hop.mac.isZero()) {
            faults.push_back(
                {index,
                 "next hop " + intf.stringValue() + " of action " + key.action + " without mac",
                 whyMacsAreNeeded(type), Fault::NextHop{key, intf}});
        }
    }
}

void Draft::letGo(std::function<void()> const &breathe) {
    std::size_t gone = 0;
    for (auto &[name, policy] : policies_) {
        while (!policy.matches.empty()) {
            policy.matches.erase(policy.matches.begin());
            if (++gone % kChangesInABreath == 0 && breathe) {
                breathe();
            }
        }
    }
}

} // namespace UmoAgent
