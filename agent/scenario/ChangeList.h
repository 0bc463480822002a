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

/// The changes of each event as they are read. Each is made on a draft at once, so that later ones
/// can build on it. Beside them it stores their places in the file, where faults are reported.
class ChangeList {
  public:
    ChangeList(Draft &draft, ScenarioNodes &nodes) : draft_(draft), nodes_(nodes) {}

    [[nodiscard]] Draft const &draft() const { return draft_; }

    /// Makes the change at `node`. A faulty change has no effect and is reported there.
    template <class T>
    void set(typename T::Key key, typename T::Value value, YamlNode node) {
        make(Change<T>{std::move(key), std::move(value)}, node);
    }
    template <class T>
    void remove(typename T::Key key, YamlNode node) {
        make(Change<T>{std::move(key), std::nullopt}, node);
    }

    /// Records where this event sets what decides whether a next hop needs a MAC address: the hop
    /// itself, or else the destination of its action, or else that of the flow.
    void nextHopAt(Table::Action::Key const &action, Nexo::IntfId intf, YamlNode node) {
        nextHops_.insert_or_assign({action, intf}, node);
    }
    void destinationAt(Table::Action::Key const &action, YamlNode node) {
        destinations_.insert_or_assign(action, node);
    }
    void destinationAt(Table::Match::Key const &match, YamlNode node) {
        flows_.insert_or_assign(match, node);
    }

    /// Counts memory for something other than a change at `node`. Reports an error and throws
    /// ReadingEnds if the total is too large; changes do the same.
    void count(std::size_t bytes, YamlNode node);

    /// Ends an event and returns its changes.
    Changes end();

  private:
    void make(AnyChange change, YamlNode node);
    void report(Fault const &fault);
    [[nodiscard]] std::optional<YamlNode> causeOf(Fault::NextHop const &hop) const;

    Draft &draft_;
    ScenarioNodes &nodes_;
    Changes changes_;
    std::size_t made_ = 0;     // number of changes, over all events
    std::size_t bytes_ = 0;    // memory that they take
    std::vector<YamlNode> at_; // the place of each change
    std::map<std::pair<Table::Action::Key, Nexo::IntfId>, YamlNode> nextHops_;
    std::map<Table::Action::Key, YamlNode> destinations_;
    std::map<Table::Match::Key, YamlNode> flows_;
};

} // namespace UmoAgent
