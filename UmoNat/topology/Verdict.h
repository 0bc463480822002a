#pragma once

#include "UmoNat/UmoNatFlowHindrance.h"

/// Appends a verdict to `verdicts`, unless nobody asks: null. Whoever knows the egress interface
/// adds it.
inline void report(UmoNatFlowVerdicts *verdicts, std::uint16_t vlan, Nexo::IntfId port,
                   bool unicast, UmoNatFlowHindrance hindrance) {
    if (verdicts != nullptr) {
        verdicts->push_back(
            {.port = port, .vlan = vlan, .unicast = unicast, .hindrance = hindrance});
    }
}
