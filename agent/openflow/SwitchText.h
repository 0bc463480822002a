#pragma once

#include "agent/openflow/GroupIds.h"
#include "agent/openflow/OpenFlowRenderer.h"
#include "agent/openflow/OpenFlowTables.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The texts that `ovs-ofctl` prints and reads.
namespace UmoAgent {

/// Reads what `dump-groups` and `dump-flows --no-stats` print of a bridge: the groups with an id
/// of the range, and all flows, which are dumped by their cookie. What is not understood becomes
/// a text that equals nothing of the agent's.
OpenFlowTables readTables(std::string_view groups, std::string_view flows, GroupRange range);

/// What differs between two tables.
OpenFlowRenderer::Touched differences(OpenFlowTables const &one, OpenFlowTables const &other);

/// A bundle for a switch, and what it changes.
struct Bundle {
    std::string text; // empty if nothing is to be changed
    std::size_t groups = 0, flows = 0;
};

/// The bundle that makes what `touched` names in a switch with `there` as it is in `wanted`.
/// Flows change over to new groups before the old ones go, with which a switch would remove the
/// flows that lead to them.
Bundle bundleFor(OpenFlowTables const &there, OpenFlowTables const &wanted,
                 OpenFlowRenderer::Touched const &touched);

/// Does what the bundle does to the tables.
void carryOver(OpenFlowTables &there, OpenFlowTables const &wanted,
               OpenFlowRenderer::Touched const &touched);

} // namespace UmoAgent
