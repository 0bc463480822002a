#include "HelperKit/CallingHelper.h"

#include <variant>

namespace UmoHelper {

CallingHelper::~CallingHelper() = default;

std::uint32_t CallingHelper::createNatFlowGroup(Pelo::String const &policy,
                                                Pelo::String const &match, bool unicast) {
    return std::get<std::uint32_t>(called({.operation = Operation::createGroup,
                                           .policy = policy,
                                           .match = match,
                                           .unicast = unicast}));
}

void CallingHelper::deleteNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                       std::uint32_t groupId) {
    called(
        {.operation = Operation::deleteGroup, .policy = policy, .match = match, .group = groupId});
}

std::uint32_t
CallingHelper::updateNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId,
                                        Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps) {
    return std::get<std::uint32_t>(called(
        {.operation = Operation::updatePortSet, .group = groupId, .portSet = portSetId, .ps = ps}));
}

void CallingHelper::deleteNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId) {
    called({.operation = Operation::deletePortSet, .group = groupId, .portSet = portSetId});
}

bool CallingHelper::updateNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                                std::uint16_t vlan, Nexo::IpAndPort const &srcNat,
                                                Nexo::IpAndPort const &srcFlow,
                                                std::uint32_t pfxLen) {
    return std::get<bool>(called({.operation = Operation::updateSource,
                                  .group = groupId,
                                  .portSet = portSetId,
                                  .vlan = vlan,
                                  .nat = srcNat,
                                  .flow = srcFlow,
                                  .prefixLength = pfxLen}));
}

void CallingHelper::deleteNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId) {
    called({.operation = Operation::deleteSource, .group = groupId, .portSet = portSetId});
}

bool CallingHelper::updateNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                                std::uint16_t vlan, Nexo::IpAndPort const &dstNat,
                                                Nexo::IpAndPort const &dstFlow,
                                                std::uint32_t pfxLen, Nexo::EthAddr const &dmac) {
    return std::get<bool>(called({.operation = Operation::updateDestination,
                                  .group = groupId,
                                  .portSet = portSetId,
                                  .vlan = vlan,
                                  .nat = dstNat,
                                  .flow = dstFlow,
                                  .prefixLength = pfxLen,
                                  .dmac = dmac}));
}

void CallingHelper::deleteNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId) {
    called({.operation = Operation::deleteDestination, .group = groupId, .portSet = portSetId});
}

} // namespace UmoHelper
