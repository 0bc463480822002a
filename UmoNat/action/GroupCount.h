#pragma once

#include "Ip/NatStatus.h"
#include "UmoNat/UmoNatFlowMissingDestinations.h"

/// Whether the match needs a unicast and a multicast group instead of a single one. It does if the
/// flow names no destination and some action names none either: copies of both kinds are then
/// possible.
[[nodiscard]] inline bool needsTwoGroups(Ip::Nat::NatFlow const &flow,
                                         Ip::Nat::NatFlowMatchStatus const &match,
                                         UmoNatFlowMissingDestinations &missing) {
    return flow.destination.addr.isZero() && missing.any(match);
}
