#pragma once

#include "agent/switch/Tables.h"

#include <optional>
#include <variant>
#include <vector>

namespace UmoAgent {

/// A row of a table and its new value; none if the row goes, with all that is in it.
template <class T>
struct Change {
    typename T::Key key;
    std::optional<typename T::Value> value;
};

using AnyChange =
    std::variant<Change<Table::Chip>, Change<Table::BridgeMac>, Change<Table::Interface>,
                 Change<Table::Vlan>, Change<Table::VlanMember>, Change<Table::Topology>,
                 Change<Table::TopologyPort>, Change<Table::VlanTopology>, Change<Table::Fdb>,
                 Change<Table::LearnedMac>, Change<Table::IpInterface>, Change<Table::L3Interface>,
                 Change<Table::Policy>, Change<Table::Match>, Change<Table::Action>>;

/// What happens to a switch at one time: each change on what those before it have made. Everything
/// that alters a switch is told so: a scenario's events, commands, the simulation, the benchmarks.
using Changes = std::vector<AnyChange>;

} // namespace UmoAgent
