#pragma once

#include "UmoNat/UmoNatFlowMcastHelper.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// A helper for a chip of four groups. Replace the registers by your chip's.
class MyChip final : public UmoHelper::UmoNatFlowMcastHelper {
  public:
    /// Addresses that the chip writes into the copies of a port set.
    struct Rewrite {
        Nexo::IpAndPort to;
        Nexo::IpAndPort from;
        std::uint32_t prefixLength = 0;
        Nexo::EthAddr mac{};
    };
    struct PortSetRegister {
        std::uint16_t vlan = 0;
        std::vector<Nexo::IntfId> ports{};
        Nexo::EthAddr mac{};
        std::optional<Rewrite> source{}, destination{};
    };
    struct GroupRegister {
        bool used = false;
        bool unicast = false;
        Pelo::String policy{}, match{};
        std::map<std::uint32_t, PortSetRegister> portSets{};
    };

    MyChip() : UmoNatFlowMcastHelper("MyChip") {}

    /// Group 1 is the first.
    [[nodiscard]] std::array<GroupRegister, 4> const &registers() const { return groups_; }

    std::uint32_t createNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                     bool unicast) override;
    void deleteNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                            std::uint32_t groupId) override;
    std::uint32_t
    updateNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId,
                             Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps) override;
    void deleteNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId) override;
    bool updateNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                     std::uint16_t vlan, Nexo::IpAndPort const &srcNat,
                                     Nexo::IpAndPort const &srcFlow, std::uint32_t pfxLen) override;
    void deleteNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId) override;
    bool updateNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                     std::uint16_t vlan, Nexo::IpAndPort const &dstNat,
                                     Nexo::IpAndPort const &dstFlow, std::uint32_t pfxLen,
                                     Nexo::EthAddr const &dmac) override;
    void deleteNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId) override;

  private:
    /// Null if the port set was just deleted: its translations are deleted after it.
    PortSetRegister *portSet(std::uint32_t groupId, std::uint32_t portSetId);

    std::array<GroupRegister, 4> groups_; // of ids 1 to 4
    std::uint32_t lastPortSet_ = 0;
};
