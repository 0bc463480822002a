#pragma once

#include "Ip/NatStatus.h"

/// Whether the match needs a unicast and a multicast group instead of a single one. It does if
/// neither the flow nor some action names a destination: copies of both kinds are then possible.
[[nodiscard]] bool needsTwoGroups(Ip::Nat::NatFlow const &flow,
                                  Ip::Nat::NatFlowMatchStatus const &matchStatus);
