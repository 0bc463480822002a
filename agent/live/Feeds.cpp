#include "agent/live/Feeds.h"

#include "Nexo/VlanIntfId.h"

#include <algorithm>
#include <limits>
#include <set>
#include <utility>
#include <variant>

namespace UmoAgent {

namespace {

using Action = Table::Action;

std::uint32_t next(std::uint32_t version) {
    return version == std::numeric_limits<std::uint32_t>::max() ? 1 : version + 1;
}

/// Apart from the version and the order of the interfaces.
bool sameCopies(Action::Value const &one, Action::Value const &other) {
    return one.source == other.source && one.destination == other.destination &&
           std::is_permutation(one.egress.begin(), one.egress.end(), other.egress.begin(),
                               other.egress.end());
}

/// The mounted policies, matches and actions.
template <class Policies, class Matches, class Actions>
void walk(SwitchState const &mounted, Policies const &policy, Matches const &match,
          Actions const &action) {
    for (auto const &[policyName, policyStatus] : mounted.natStatus()->natFlow()) {
        policy(policyName);
        for (auto const &[matchName, matchStatus] : policyStatus->match()) {
            match(Table::Match::Key{policyName, matchName});
            for (auto const &[actionName, actionStatus] : matchStatus->action()) {
                action(Action::Key{policyName, matchName, actionName});
            }
        }
    }
}

/// What changes affect without notifying the actions concerned.
struct Silent {
    std::set<Nexo::IntfId> interfaces; // VLAN interfaces and others
    bool everyPort = false;            // that is no VLAN interface
    bool recirculation = false;

    void vlan(Bridging::VlanId id) {
        interfaces.insert(Nexo::IntfId("Vlan" + std::to_string(id.value())));
        everyPort = true; // one without a VLAN of its own may be in it
    }

    [[nodiscard]] bool concerns(Action::Value const &action) const {
        if (action.egress.empty()) {
            return recirculation;
        }
        return std::any_of(action.egress.begin(), action.egress.end(), [this](auto const &egress) {
            return interfaces.count(egress.first) != 0 ||
                   (everyPort && !Nexo::VlanIntfId::isVlanIntfId(egress.first));
        });
    }
};

struct SilentOf {
    Silent &silent;

    void operator()(Change<Table::BridgeMac> const & /*change*/) const {
        silent.recirculation = true;
    }
    void operator()(Change<Table::Interface> const & /*change*/) const { silent.everyPort = true; }
    void operator()(Change<Table::Vlan> const &change) const { silent.vlan(change.key); }
    void operator()(Change<Table::VlanMember> const &change) const { silent.vlan(change.key.in); }
    void operator()(Change<Table::VlanTopology> const &change) const { silent.vlan(change.key); }
    void operator()(Change<Table::IpInterface> const &change) const { interface(change); }
    void operator()(Change<Table::L3Interface> const &change) const { interface(change); }
    template <class Other>
    void operator()(Change<Other> const & /*change*/) const {}

    template <class OfInterface>
    void interface(OfInterface const &change) const {
        if (!change.value) {
            silent.interfaces.insert(change.key);
        }
    }
};

} // namespace

Feeds Feeds::of(Changes const &changes) {
    Feeds feeds;
    for (AnyChange const &change : changes) {
        if (auto const *const address = std::get_if<Change<Table::IpInterface>>(&change)) {
            feeds.ipInterfaces.insert_or_assign(address->key, *address->value);
        } else if (auto const *const tuning = std::get_if<Change<Table::Tuning>>(&change)) {
            feeds.tuning = *tuning->value;
        } else {
            feeds.policies.push_back(change);
        }
    }
    return feeds;
}

Changes differenceToPolicies(SwitchState const &mounted, Changes const &policies) {
    std::set<Pelo::String> wantedPolicies;
    std::map<Table::Match::Key, Ip::Nat::NatFlow> wantedMatches;
    std::map<Action::Key, Action::Value> wantedActions;
    for (AnyChange const &change : policies) {
        if (auto const *const policy = std::get_if<Change<Table::Policy>>(&change)) {
            wantedPolicies.insert(policy->key);
        } else if (auto const *const match = std::get_if<Change<Table::Match>>(&change)) {
            wantedMatches.insert_or_assign(match->key, *match->value);
        } else if (auto const *const action = std::get_if<Change<Action>>(&change)) {
            wantedActions.insert_or_assign(action->key, *action->value);
        }
    }
    // A policy or match goes with all that it holds.
    Changes changes;
    walk(
        mounted,
        [&](Pelo::String const &policy) {
            if (wantedPolicies.count(policy) == 0) {
                changes.emplace_back(Change<Table::Policy>{policy, std::nullopt});
            }
        },
        [&](Table::Match::Key const &match) {
            if (wantedMatches.count(match) == 0 && wantedPolicies.count(match.policy) != 0) {
                changes.emplace_back(Change<Table::Match>{match, std::nullopt});
            }
        },
        [&](Action::Key const &action) {
            if (wantedActions.count(action) == 0 &&
                wantedMatches.count({action.policy, action.match}) != 0) {
                changes.emplace_back(Change<Action>{action, std::nullopt});
            }
        });
    for (Pelo::String const &policy : wantedPolicies) {
        if (!mounted.find<Table::Policy>(policy)) {
            changes.emplace_back(Change<Table::Policy>{policy, Table::Present{}});
        }
    }
    for (auto const &[key, flow] : wantedMatches) {
        if (auto const there = mounted.find<Table::Match>(key); !there || !(*there == flow)) {
            changes.emplace_back(Change<Table::Match>{key, flow});
        }
    }
    for (auto &[key, value] : wantedActions) {
        auto const there = mounted.find<Action>(key);
        if (there && sameCopies(*there, value)) {
            continue;
        }
        if (there) {
            value.version = next(there->version);
        }
        changes.emplace_back(Change<Action>{key, std::move(value)});
    }
    return changes;
}

Changes nudges(SwitchState const &mounted, Changes const &changes) {
    Silent silent;
    for (AnyChange const &change : changes) {
        std::visit(SilentOf{silent}, change);
    }
    std::set<Pelo::String> policies; // removed, as the matches
    std::set<Table::Match::Key> matches;
    std::set<Action::Key> actions; // changed or removed
    for (AnyChange const &change : changes) {
        if (auto const *const policy = std::get_if<Change<Table::Policy>>(&change);
            policy != nullptr && !policy->value) {
            policies.insert(policy->key);
        } else if (auto const *const match = std::get_if<Change<Table::Match>>(&change);
                   match != nullptr && !match->value) {
            matches.insert(match->key);
        } else if (auto const *const action = std::get_if<Change<Action>>(&change)) {
            actions.insert(action->key);
        }
    }
    Changes raised;
    if (silent.interfaces.empty() && !silent.everyPort && !silent.recirculation) {
        return raised;
    }
    walk(
        mounted, [](auto const &) {}, [](auto const &) {},
        [&](Action::Key const &key) {
            if (policies.count(key.policy) != 0 || matches.count({key.policy, key.match}) != 0 ||
                actions.count(key) != 0) {
                return;
            }
            auto value = mounted.find<Action>(key);
            if (value && value->version != 0 && silent.concerns(*value)) {
                value->version = next(value->version);
                raised.emplace_back(Change<Action>{key, std::move(*value)});
            }
        });
    return raised;
}

} // namespace UmoAgent
