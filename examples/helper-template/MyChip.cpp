#include "MyChip.h"

#include <cstddef>

MyChip::PortSetRegister *MyChip::portSet(std::uint32_t groupId, std::uint32_t portSetId) {
    auto &portSets = groups_.at(groupId - 1).portSets;
    auto const at = portSets.find(portSetId);
    return at == portSets.end() ? nullptr : &at->second;
}

std::uint32_t MyChip::createNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                         bool unicast) {
    for (std::size_t i = 0; i < groups_.size(); ++i) {
        if (!groups_[i].used) {
            groups_[i] = {true, unicast, policy, match, {}};
            return static_cast<std::uint32_t>(i + 1);
        }
    }
    return 0; // the match waits until groups are freed
}

void MyChip::deleteNatFlowGroup(Pelo::String const & /*policy*/, Pelo::String const & /*match*/,
                                std::uint32_t groupId) {
    groups_.at(groupId - 1) = {}; // with the port sets that are still in it
}

std::uint32_t MyChip::updateNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId,
                                               Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps) {
    std::uint32_t const id = portSetId == 0 ? ++lastPortSet_ : portSetId;
    PortSetRegister &entry = groups_.at(groupId - 1).portSets[id]; // translations stay
    entry.vlan = ps->vlan();
    entry.mac = ps->dmac();
    entry.ports.clear();
    for (Nexo::IntfId const intf : ps->intf()) {
        entry.ports.push_back(intf); // one without a name: recirculate the copy
    }
    return id;
}

void MyChip::deleteNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId) {
    groups_.at(groupId - 1).portSets.erase(portSetId);
}

bool MyChip::updateNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                         std::uint16_t /*vlan*/, Nexo::IpAndPort const &srcNat,
                                         Nexo::IpAndPort const &srcFlow, std::uint32_t pfxLen) {
    if (PortSetRegister *const entry = portSet(groupId, portSetId)) {
        entry->source = {srcNat, srcFlow, pfxLen, {}};
    }
    return true;
}

void MyChip::deleteNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId) {
    if (PortSetRegister *const entry = portSet(groupId, portSetId)) {
        entry->source.reset();
    }
}

bool MyChip::updateNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                         std::uint16_t /*vlan*/, Nexo::IpAndPort const &dstNat,
                                         Nexo::IpAndPort const &dstFlow, std::uint32_t pfxLen,
                                         Nexo::EthAddr const &dmac) {
    if (PortSetRegister *const entry = portSet(groupId, portSetId)) {
        entry->destination = {dstNat, dstFlow, pfxLen, dmac};
    }
    return true;
}

void MyChip::deleteNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId) {
    if (PortSetRegister *const entry = portSet(groupId, portSetId)) {
        entry->destination.reset();
    }
}
