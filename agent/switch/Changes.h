#pragma once

#include "agent/switch/Tables.h"

#include <optional>
#include <variant>
#include <vector>

namespace UmoAgent {

/// A row of a table and its new value; no value removes the row with everything in it.
template <class T>
struct Change {
    typename T::Key key;
    std::optional<typename T::Value> value;
};

using AnyChange =
    std::variant<Change<Table::Chip>, Change<Table::Tuning>, Change<Table::BridgeMac>,
                 Change<Table::Interface>, Change<Table::Vlan>, Change<Table::VlanMember>,
                 Change<Table::Topology>, Change<Table::TopologyPort>, Change<Table::VlanTopology>,
                 Change<Table::Fdb>, Change<Table::LearnedMac>, Change<Table::IpInterface>,
                 Change<Table::L3Interface>, Change<Table::Policy>, Change<Table::Match>,
                 Change<Table::Action>>;

/// Changes of a switch at one time, each based on the result of those before it. Scenario events,
/// commands, the simulation and the benchmarks all alter a switch in this way.
using Changes = std::vector<AnyChange>;

} // namespace UmoAgent
