#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace UmoAgent {

/// The agent's part of a bridge's OpenFlow tables, in the words in which `ovs-ofctl` prints them,
/// so that what should be in a switch can be compared with what it says is there.
struct OpenFlowTables {
    /// The actions of each bucket of a group of type all, in order.
    using Buckets = std::vector<std::string>;

    std::map<std::uint32_t, Buckets> groups;  // by group id
    std::map<std::string, std::string> flows; // actions by match, see flowMatch

    bool operator==(OpenFlowTables const &) const = default;
};

/// The cookie of the agent's flows, by which it knows them.
inline constexpr char const *kFlowCookie = "0x756d6f";

/// The tables that the agent uses, in the order in which a packet comes through them.
enum class FlowTable : std::uint8_t {
    matches = 0,  // which match selects the packet; shared with all other flows of the bridge
    ports = 200,  // whether it may come in at its port, in its VLAN
    groups = 201, // the groups that make its copies
};

/// What a flow selects, such as `table=0,priority=40010,nw_dst=239.1.1.1,udp`. The fields are
/// sorted, because a switch prints them in an order of its own.
std::string flowMatch(FlowTable table, std::uint32_t priority, std::vector<std::string> fields);

} // namespace UmoAgent
