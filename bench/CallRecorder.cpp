#include "CallRecorder.h"

namespace Bench {

std::uint32_t CallRecorder::createNatFlowGroup(Pelo::String const &policy,
                                               Pelo::String const &match, bool unicast) {
    return pass([=](auto &chip) { return chip.createNatFlowGroup(policy, match, unicast); });
}

void CallRecorder::deleteNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                      std::uint32_t groupId) {
    pass([=](auto &chip) { chip.deleteNatFlowGroup(policy, match, groupId); });
}

std::uint32_t
CallRecorder::updateNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId,
                                       Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps) {
    return pass([=](auto &chip) { return chip.updateNatFlowVlanPortSet(groupId, portSetId, ps); });
}

void CallRecorder::deleteNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId) {
    pass([=](auto &chip) { chip.deleteNatFlowVlanPortSet(groupId, portSetId); });
}

bool CallRecorder::updateNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                               std::uint16_t vlan, Nexo::IpAndPort const &srcNat,
                                               Nexo::IpAndPort const &srcFlow,
                                               std::uint32_t pfxLen) {
    return pass([=](auto &chip) {
        return chip.updateNatFlowSrcTranslation(groupId, portSetId, vlan, srcNat, srcFlow, pfxLen);
    });
}

void CallRecorder::deleteNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId) {
    pass([=](auto &chip) { chip.deleteNatFlowSrcTranslation(groupId, portSetId); });
}

bool CallRecorder::updateNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                               std::uint16_t vlan, Nexo::IpAndPort const &dstNat,
                                               Nexo::IpAndPort const &dstFlow, std::uint32_t pfxLen,
                                               Nexo::EthAddr const &dmac) {
    return pass([=](auto &chip) {
        return chip.updateNatFlowDstTranslation(groupId, portSetId, vlan, dstNat, dstFlow, pfxLen,
                                                dmac);
    });
}

void CallRecorder::deleteNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId) {
    pass([=](auto &chip) { chip.deleteNatFlowDstTranslation(groupId, portSetId); });
}

} // namespace Bench
