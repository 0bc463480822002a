#pragma once

#include "HelperKit/Call.h"
#include "UmoNat/UmoNatFlowMcastHelper.h"

namespace UmoHelper {

/// A helper for which all operations are one: it makes a Call of each. For those who look at calls,
/// keep them or pass them on.
class CallingHelper : public UmoNatFlowMcastHelper {
  public:
    using UmoNatFlowMcastHelper::UmoNatFlowMcastHelper;

    std::uint32_t createNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                     bool unicast) final;
    void deleteNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                            std::uint32_t groupId) final;
    std::uint32_t updateNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId,
                                           Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps) final;
    void deleteNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId) final;
    bool updateNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                     std::uint16_t vlan, Nexo::IpAndPort const &srcNat,
                                     Nexo::IpAndPort const &srcFlow, std::uint32_t pfxLen) final;
    void deleteNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId) final;
    bool updateNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                     std::uint16_t vlan, Nexo::IpAndPort const &dstNat,
                                     Nexo::IpAndPort const &dstFlow, std::uint32_t pfxLen,
                                     Nexo::EthAddr const &dmac) final;
    void deleteNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId) final;

  protected:
    ~CallingHelper() override;

  private:
    /// Carries the call out. The result must be the one that the operation has.
    virtual Call::Result called(Call const &call) = 0;
};

} // namespace UmoHelper
