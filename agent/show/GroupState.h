#pragma once

#include "UmoNat/UmoNatFlowMatchSm.h"
#include "UmoNat/UmoNatFlowMcastSm.h"

#include <cstdint>

namespace UmoAgent {

/// How a match stands with its groups.
enum class GroupState : std::uint8_t {
    none,       // it has no actions and wants none
    programmed, // it holds what it wants
    waiting,    // the chip had no group for it, the retry will ask again
    stranded,   // as waiting, but the removal of a policy has emptied the retry's list
};

[[nodiscard]] inline GroupState groupStateOf(UmoNatFlowMcastSm const &root,
                                             UmoNatFlowMatchSm &match) {
    if (match.matchSmStatus()->groupNum() == 0) {
        return GroupState::none;
    }
    if (!match.waitsForGroups()) {
        return GroupState::programmed;
    }
    return root.unprogrammedGroup().contains(&match) ? GroupState::waiting : GroupState::stranded;
}

[[nodiscard]] inline char const *textOf(GroupState state) {
    switch (state) {
    case GroupState::none:
        return "no groups";
    case GroupState::programmed:
        return "programmed";
    case GroupState::waiting:
        return "waiting";
    case GroupState::stranded:
        break;
    }
    return "stranded";
}

} // namespace UmoAgent
