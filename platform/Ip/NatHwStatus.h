#pragma once

#include "Base/Export.h"
#include "Ip/NatFlow.h"
#include "Ip/NatFlowType.h"
#include "Ip/NatPortSets.h"
#include "Mox/Attributes.h"
#include "Nexo/IpAndPort.h"
#include "Pelo/String.h"

#include <cstdint>

/// The hardware status tree: what is programmed in the chip for each policy, match and action. Only
/// the state machines write it; anyone may read it.
///
/// The machines' library makes the elements. Their destructors are the platform's, and so is all
/// code that an element needs: whoever holds one may do so after that library was unloaded.
namespace Ip::Nat {

class PLATFORM_API HwNatFlowActionStatus final : public Mox::Entity {
    MOX_KEY(HwNatFlowActionStatus, Pelo::String, name)
    MOX_ATTRIBUTE(Nexo::IpAndPort, srcNat)  // address 0: no translation programmed
    MOX_ATTRIBUTE(Nexo::IpAndPort, srcFlow) // the flow's source that the translation matches on
    MOX_ATTRIBUTE(std::uint32_t, srcLen)    // prefix length of srcFlow, 0 to 32
    MOX_ATTRIBUTE(Nexo::IpAndPort, dstNat)
    MOX_ATTRIBUTE(Nexo::IpAndPort, dstFlow)
    MOX_ATTRIBUTE(std::uint32_t, dstLen)
    MOX_ATTRIBUTE(NatFlowType, flowType)             // as programmed in the groups
    MOX_REFERENCE(NatFlowVlanPortSets, vlanPortSets) // null: nothing programmed

  public:
    ~HwNatFlowActionStatus() override;
};

class PLATFORM_API HwNatFlowMatchStatus final : public Mox::Entity {
    MOX_KEY(HwNatFlowMatchStatus, Pelo::String, name)
    MOX_ATTRIBUTE(std::uint32_t, groupIdUc) // 0: none
    MOX_ATTRIBUTE(std::uint32_t, groupIdMc) // 0: none; equal to groupIdUc for a single group
    MOX_ATTRIBUTE(NatFlow, flow)            // the match's flow when it was last evaluated
    MOX_CHILDREN(Pelo::String, HwNatFlowActionStatus, action)

  public:
    ~HwNatFlowMatchStatus() override;
};

class PLATFORM_API HwNatFlowPolicyStatus final : public Mox::Entity {
    MOX_KEY(HwNatFlowPolicyStatus, Pelo::String, name)
    MOX_CHILDREN(Pelo::String, HwNatFlowMatchStatus, match)

  public:
    ~HwNatFlowPolicyStatus() override;
};

class PLATFORM_API HwNatFlowStatus final : public Mox::Entity {
    MOX_CHILDREN(Pelo::String, HwNatFlowPolicyStatus, natFlow)
};

} // namespace Ip::Nat
