#pragma once

#include "agent/scenario/Document.h"
#include "agent/scenario/ScenarioNodes.h"
#include "agent/switch/Draft.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace UmoAgent {

/// The changes of one event after the other as they are read, made on a draft at once so that what
/// is read next can build on them; and beside them the places of the file that they come from, so
/// that a fault is reported where it stands.
class ChangeList {
  public:
    ChangeList(Draft &draft, ScenarioNodes &nodes) : draft_(draft), nodes_(nodes) {}

    [[nodiscard]] Draft const &draft() const { return draft_; }

    /// Makes the change that `node` asks for; without effect, and reported there, if it is faulty.
    template <class T>
    void set(typename T::Key key, typename T::Value value, YamlNode node) {
        make(Change<T>{std::move(key), std::move(value)}, node);
    }
    template <class T>
    void remove(typename T::Key key, YamlNode node) {
        make(Change<T>{std::move(key), std::nullopt}, node);
    }

    /// Where this event says what decides whether a next hop needs a MAC address: the hop itself,
    /// or else the destination of its action, or else that of the flow.
    void nextHopAt(Table::Action::Key const &action, Nexo::IntfId intf, YamlNode node) {
        nextHops_.insert_or_assign({action, intf}, node);
    }
    void destinationAt(Table::Action::Key const &action, YamlNode node) {
        destinations_.insert_or_assign(action, node);
    }
    void destinationAt(Table::Match::Key const &match, YamlNode node) {
        flows_.insert_or_assign(match, node);
    }

    /// Counts what something else that `node` asks for takes in memory. Throws ReadingEnds, having
    /// reported it, if that becomes too much; so do the changes.
    void count(std::size_t bytes, YamlNode node);

    /// Ends the changes of an event and hands them over.
    Changes end();

  private:
    void make(AnyChange change, YamlNode node);
    void report(Fault const &fault);
    [[nodiscard]] std::optional<YamlNode> causeOf(Fault::NextHop const &hop) const;

    Draft &draft_;
    ScenarioNodes &nodes_;
    Changes changes_;
    std::size_t made_ = 0;     // changes of all events
    std::size_t bytes_ = 0;    // that they take
    std::vector<YamlNode> at_; // of each change
    std::map<std::pair<Table::Action::Key, Nexo::IntfId>, YamlNode> nextHops_;
    std::map<Table::Action::Key, YamlNode> destinations_;
    std::map<Table::Match::Key, YamlNode> flows_;
};

} // namespace UmoAgent
