#pragma once

#include "UmoNat/UmoNatFlowMcastHelper.h"

#include <functional>
#include <utility>
#include <vector>

namespace Bench {

/// Passes calls on to a chip and records them, so that the same calls can be repeated without the
/// library.
class CallRecorder final : public UmoHelper::UmoNatFlowMcastHelper {
  public:
    using Chip = Mox::Ptr<UmoHelper::UmoNatFlowMcastHelper>;
    using Call = std::function<void(UmoHelper::UmoNatFlowMcastHelper &chip)>;

    explicit CallRecorder(Chip chip)
        : UmoNatFlowMcastHelper("CallRecorder"), chip_(std::move(chip)) {}

    [[nodiscard]] std::vector<Call> const &calls() const { return calls_; }

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
    template <class MakeCall>
    auto pass(MakeCall const &call) {
        calls_.push_back([call](UmoHelper::UmoNatFlowMcastHelper &chip) { call(chip); });
        return call(*chip_);
    }

    Chip chip_;
    std::vector<Call> calls_;
};

} // namespace Bench
