#include "UmoNat/UmoNatFlowMcastHelper.h"

#include <utility>

namespace UmoHelper {

UmoNatFlowMcastHelper::UmoNatFlowMcastHelper(Pelo::String name) : name_(std::move(name)) {}

UmoNatFlowMcastHelper::~UmoNatFlowMcastHelper() = default;

Pelo::String UmoNatFlowMcastHelper::nameString() const {
    return name_;
}

std::uint32_t UmoNatFlowMcastHelper::createNatFlowGroup(Pelo::String const & /*policy*/,
                                                        Pelo::String const & /*match*/,
                                                        bool /*unicast*/) {
    return 0;
}

void UmoNatFlowMcastHelper::deleteNatFlowGroup(Pelo::String const & /*policy*/,
                                               Pelo::String const & /*match*/,
                                               std::uint32_t /*groupId*/) {}

std::uint32_t UmoNatFlowMcastHelper::updateNatFlowVlanPortSet(
    std::uint32_t /*groupId*/, std::uint32_t /*portSetId*/,
    Mox::Ptr<Ip::Nat::NatFlowPortSet const> const & /*ps*/) {
    return 0;
}

void UmoNatFlowMcastHelper::deleteNatFlowVlanPortSet(std::uint32_t /*groupId*/,
                                                     std::uint32_t /*portSetId*/) {}

bool UmoNatFlowMcastHelper::updateNatFlowSrcTranslation(std::uint32_t /*groupId*/,
                                                        std::uint32_t /*portSetId*/,
                                                        std::uint16_t /*vlan*/,
                                                        Nexo::IpAndPort const & /*srcNat*/,
                                                        Nexo::IpAndPort const & /*srcFlow*/,
                                                        std::uint32_t /*pfxLen*/) {
    return false;
}

void UmoNatFlowMcastHelper::deleteNatFlowSrcTranslation(std::uint32_t /*groupId*/,
                                                        std::uint32_t /*portSetId*/) {}

bool UmoNatFlowMcastHelper::updateNatFlowDstTranslation(
    std::uint32_t /*groupId*/, std::uint32_t /*portSetId*/, std::uint16_t /*vlan*/,
    Nexo::IpAndPort const & /*dstNat*/, Nexo::IpAndPort const & /*dstFlow*/,
    std::uint32_t /*pfxLen*/, Nexo::EthAddr const & /*dmac*/) {
    return false;
}

void UmoNatFlowMcastHelper::deleteNatFlowDstTranslation(std::uint32_t /*groupId*/,
                                                        std::uint32_t /*portSetId*/) {}

} // namespace UmoHelper
