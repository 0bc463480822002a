#pragma once

#include "Ip/NatStatus.h"

/// Whether a match with this flow and these actions needs a unicast and a multicast group rather
/// than a single one: when the flow names no destination and some action names none either,
/// copies of both kinds may have to be made.
[[nodiscard]] bool needsTwoGroups(Ip::Nat::NatFlow const &flow,
                                  Ip::Nat::NatFlowMatchStatus const &matchStatus);
