#pragma once

#include "UmoNat/UmoNatFlowMcastHelper.h"

#include <cstdint>

namespace Bench {

/// A chip that returns identifiers and stores nothing, so that only the library is measured.
class ForgetfulChip final : public UmoHelper::UmoNatFlowMcastHelper {
  public:
    ForgetfulChip() : UmoNatFlowMcastHelper("ForgetfulChip") {}

    std::uint32_t createNatFlowGroup(Pelo::String const & /*policy*/,
                                     Pelo::String const & /*match*/, bool /*unicast*/) override {
        return ++last_;
    }
    std::uint32_t
    updateNatFlowVlanPortSet(std::uint32_t /*groupId*/, std::uint32_t portSetId,
                             Mox::Ptr<Ip::Nat::NatFlowPortSet const> const & /*ps*/) override {
        return portSetId != 0 ? portSetId : ++last_;
    }

  private:
    std::uint32_t last_ = 0;
};

} // namespace Bench
