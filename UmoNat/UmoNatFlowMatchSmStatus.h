#pragma once

#include "Mox/Attributes.h"
#include "UmoNat/Export.h"
#include "UmoNat/UmoNatFlowMissingDestinations.h"

#include <cstdint>

/// What a match state machine shares with its action state machines.
class UMONAT_API UmoNatFlowMatchSmStatus final : public Mox::Entity {
    /// The number of hardware groups that the match wants, 0 to 2, whether or not it holds them.
    /// The match writes it, its actions read it.
    MOX_ATTRIBUTE(std::uint32_t, groupNum)

    /// An action increments this counter when it finds that the match needs a different number of
    /// groups. On each change the match re-evaluates the number.
    MOX_ATTRIBUTE(std::uint32_t, groupNumUpdate)

  private:
    friend class UmoNatFlowMatchSm;
    friend class UmoNatFlowActionSm;

    UmoNatFlowMissingDestinations missingDestinations_;
};

Mox::Ptr<UmoNatFlowMatchSmStatus> UmoNatFlowMatchSmStatusIs();

UMONAT_API Mox::Ptr<UmoNatFlowMatchSmStatus> umoNatFlowMatchSmStatusFactory();
