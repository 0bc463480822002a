#pragma once

#include "Ip/NatFlowType.h"
#include "agent/switch/Changes.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

namespace UmoAgent {

class SwitchState;

/// What is wrong with a list of changes: one of them cannot be made, or leaves the switch in an
/// invalid state.
struct Fault {
    /// A next hop that lacks the MAC address it needs.
    struct NextHop {
        Table::Action::Key action;
        Nexo::IntfId intf;
    };

    std::size_t change;   // its index in the list
    std::string found;    // empty: the value of the change
    std::string expected; // what would be right instead
    std::optional<NextHop> nextHop{};
};

/// How many changes or actions a draft checks between two calls of `breathe`.
inline constexpr std::size_t kChangesInABreath = 1000;

/// What is expected if a row is named that does not exist.
inline std::string draftAbsent(std::string_view one) {
    return std::string(one) + " that is there at this time";
}

/// The rows of a table in a draft; no value removes a row.
template <class T>
using DraftRows = std::map<typename T::Key, std::optional<typename T::Value>>;

/// What a draft does to a row that holds other rows.
struct DraftLife {
    bool mounted = false; // a mounted row exists
    bool ended = false;   // the mounted row is removed, even if a new one replaces it
    bool present = false; // a row exists now

    [[nodiscard]] bool stays() const { return mounted && !ended; } // and is present
    [[nodiscard]] bool fresh() const { return present && !stays(); }
};

/// A row that holds rows of table `T`; only the named ones are here.
template <class T>
struct DraftHolder : DraftLife {
    std::map<decltype(T::Key::row), std::optional<typename T::Value>> rows;
};
template <class T>
using DraftHolders = std::map<typename T::In::Key, DraftHolder<T>>;

/// A policy, match or action. `order` is the order in which they were named or made.
struct DraftNode : DraftLife {
    std::size_t order = 0;
};
template <class Node>
using DraftNodes = std::unordered_map<Pelo::String, Node>;

/// The names and nodes, in order.
template <class Node>
std::vector<std::pair<Pelo::String const *, Node const *>> inOrder(DraftNodes<Node> const &nodes) {
    std::vector<std::pair<Pelo::String const *, Node const *>> sorted;
    sorted.reserve(nodes.size());
    for (auto const &[name, node] : nodes) {
        sorted.emplace_back(&name, &node);
    }
    std::sort(sorted.begin(), sorted.end(),
              [](auto const &a, auto const &b) { return a.second->order < b.second->order; });
    return sorted;
}

struct DraftAction : DraftNode {
    Table::Action::Value value;
    bool neededMacs = false; // its flow is not multicast, or once was not
    std::size_t checkedIn = 0;
};
struct DraftMatch : DraftNode {
    Ip::Nat::NatFlow flow;
    std::optional<Ip::Nat::NatFlowType> checked; // the flow's type at the end of the last list
    DraftNodes<DraftAction> actions;
};
struct DraftPolicy : DraftNode {
    DraftNodes<DraftMatch> matches;
};

/// The state of a switch after lists of changes, before any of it is mounted: the rows that the
/// lists name, laid over the mounted ones. Its work is proportional to the lists, with two
/// exceptions: if a flow's type changes, all actions of its match are checked, and if a topology is
/// removed, all VLANs are.
///
/// Only this class decides which changes are compatible with each other and with the mounted state.
/// The caller ensures that each single value is valid. A list is given change by change with
/// `make`, then `endList`; or whole with `makeAll`. A draft with faults must not be mounted;
/// further changes can be made to find further faults.
class Draft {
  public:
    /// `mounted` outlives the draft and does not change meanwhile.
    explicit Draft(SwitchState const &mounted) : mounted_(mounted) {}

    /// The current row; none if there is none.
    template <class T>
    [[nodiscard]] std::optional<typename T::Value> find(typename T::Key const &key) const;

    template <class T>
    [[nodiscard]] bool has(typename T::Key const &key) const {
        return find<T>(key).has_value();
    }

    /// Whether the switch has, or once had, the interface.
    [[nodiscard]] bool everDeclared(Nexo::IntfId intf) const;

    /// Makes the next change of a list. A faulty change has no effect.
    std::optional<Fault> make(AnyChange const &change);

    /// Ends a list whose changes were all given to `make`: finds faults that only the whole list
    /// shows. Calls `breathe`, if given, now and then.
    std::vector<Fault> endList(Changes const &list, std::function<void()> const &breathe = nullptr);

    std::vector<Fault> makeAll(Changes const &list);

    /// Frees the draft's policies, which may be so many that it takes long: calls `breathe`, if
    /// given, now and then. The draft cannot be used afterwards.
    void letGo(std::function<void()> const &breathe);

    /// How many actions were checked so far because their match's flow type changed.
    [[nodiscard]] std::size_t actionsLookedAt() const { return actionsLookedAt_; }

    // The named rows, for mounting:

    template <class T>
    [[nodiscard]] DraftRows<T> const &rows() const {
        return std::get<DraftRows<T>>(rows_);
    }
    template <class T>
    [[nodiscard]] DraftHolders<T> const &holders() const {
        return std::get<DraftHolders<T>>(holders_);
    }
    [[nodiscard]] DraftNodes<DraftPolicy> const &policies() const { return policies_; }
    [[nodiscard]] std::set<Nexo::IntfId> const &declared() const { return declared_; }

  private:
    // Each returns what it expected instead if the change cannot be made.
    using Refusal = std::optional<std::string>;
    Refusal makeOne(Change<Table::Chip> const &change);
    Refusal makeOne(Change<Table::Tuning> const &change);
    Refusal makeOne(Change<Table::BridgeMac> const &change);
    Refusal makeOne(Change<Table::Interface> const &change);
    Refusal makeOne(Change<Table::Vlan> const &change);
    Refusal makeOne(Change<Table::VlanMember> const &change);
    Refusal makeOne(Change<Table::Topology> const &change);
    Refusal makeOne(Change<Table::TopologyPort> const &change);
    Refusal makeOne(Change<Table::VlanTopology> const &change);
    Refusal makeOne(Change<Table::Fdb> const &change);
    Refusal makeOne(Change<Table::LearnedMac> const &change);
    Refusal makeOne(Change<Table::IpInterface> const &change);
    Refusal makeOne(Change<Table::L3Interface> const &change);
    Refusal makeOne(Change<Table::Policy> const &change);
    Refusal makeOne(Change<Table::Match> const &change);
    Refusal makeOne(Change<Table::Action> const &change);

    template <class T>
    Refusal makeRow(Change<T> const &change);
    template <class T>
    Refusal makeHolder(Change<typename T::In> const &change);
    template <class T>
    Refusal makeHeld(Change<T> const &change);
    template <class Node>
    Refusal makeNode(Node &node, bool present, std::string_view one);

    template <class T>
    [[nodiscard]] std::optional<typename T::Value> findRow(typename T::Key const &key) const;
    template <class T>
    [[nodiscard]] std::optional<Table::Present> findHolder(typename T::In::Key const &key) const;
    template <class T>
    [[nodiscard]] std::optional<typename T::Value> findHeld(typename T::Key const &key) const;

    template <class T>
    DraftHolder<T> &holder(typename T::In::Key const &key);
    DraftPolicy &policy(Pelo::String const &name);
    DraftMatch &match(DraftPolicy &policy, Pelo::String const &policyName,
                      Pelo::String const &name);
    DraftAction &action(DraftMatch &match, Table::Action::Key const &key);
    /// The match, if it and its policy exist.
    DraftMatch *presentMatch(Pelo::String const &policyName, Pelo::String const &name);

    void checkL3Id(std::size_t index, Change<Table::L3Interface> const &change,
                   std::vector<Fault> &faults) const;
    void checkMatch(std::size_t index, Table::Match::Key const &key,
                    std::function<void()> const &breathe, std::vector<Fault> &faults);
    void checkAction(std::size_t index, Table::Action::Key const &key, DraftMatch &match,
                     std::vector<Fault> &faults);

    SwitchState const &mounted_;
    std::size_t changes_ = 0; // in the list so far
    std::size_t lists_ = 1;   // this one included
    std::size_t order_ = 0;
    std::size_t actionsLookedAt_ = 0;
    std::tuple<DraftRows<Table::Chip>, DraftRows<Table::Tuning>, DraftRows<Table::BridgeMac>,
               DraftRows<Table::Interface>, DraftRows<Table::VlanTopology>,
               DraftRows<Table::IpInterface>, DraftRows<Table::L3Interface>>
        rows_;
    std::set<std::pair<Bridging::VlanId, Nexo::IntfId>> l3Owners_; // of the ids in rows_
    std::tuple<DraftHolders<Table::VlanMember>, DraftHolders<Table::TopologyPort>,
               DraftHolders<Table::LearnedMac>>
        holders_;
    DraftNodes<DraftPolicy> policies_;
    std::set<Nexo::IntfId> declared_;
};

} // namespace UmoAgent
