#pragma once

#include "Mox/Attributes.h"
#include "UmoNat/Export.h"

#include <cstdint>

/// What a match state machine and its action state machines tell each other.
class UMONAT_API UmoNatFlowMatchSmStatus final : public Mox::Entity {
    /// The number of hardware groups that the match wants, 0 to 2, whether or not it has got
    /// them. Written by the match, read by its actions.
    MOX_ATTRIBUTE(std::uint32_t, groupNum)

    /// A counter that an action raises by one when it finds that the match needs another number
    /// of groups; every change has the match evaluate the number again.
    MOX_ATTRIBUTE(std::uint32_t, groupNumUpdate)
};

Mox::Ptr<UmoNatFlowMatchSmStatus> UmoNatFlowMatchSmStatusIs();

UMONAT_API Mox::Ptr<UmoNatFlowMatchSmStatus> umoNatFlowMatchSmStatusFactory();
