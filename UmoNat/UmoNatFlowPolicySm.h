#pragma once

#include "Bridging/Config.h"
#include "Ip/NatHwStatus.h"
#include "Ip/NatStatus.h"
#include "Mox/ReactorCollection.h"
#include "Pelo/String.h"
#include "UmoNat/Export.h"
#include "UmoNat/UmoNatFlowMatchSm.h"
#include "UmoNat/UmoNatFlowMcastHelper.h"

class UmoNatFlowMcastSm;
class UmoNatFlowMcastTopologySm;

/// The state machine of one NAT policy. The root owns it, under the policy's name. It mirrors the
/// policy into the hardware status tree, and owns one match state machine per match.
class UMONAT_API UmoNatFlowPolicySm : public Mox::Reactor {
  public:
    struct Inputs {
        Mox::Ptr<Ip::Nat::NatFlowPolicyStatus const> policyStatus;
        Mox::Ptr<Ip::Nat::HwNatFlowStatus> hwStatus;
        UmoNatFlowMcastTopologySm *topologySm = nullptr; // outlives the machine, as does mcastSm
        Mox::Ptr<UmoHelper::UmoNatFlowMcastHelper> helper;
        Mox::Ptr<Bridging::Config const> bridgingConfig;
        UmoNatFlowMcastSm *mcastSm = nullptr;

        bool operator==(Inputs const &) const = default;
    };

    [[nodiscard]] Inputs const &inputs() const noexcept { return inputs_; }
    [[nodiscard]] Pelo::String const &key() const noexcept { return inputs_.policyStatus->name(); }
    [[nodiscard]] bool initialized() const noexcept { return initialized_; }

    /// This policy's element of the hardware status tree.
    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowPolicyStatus> const &hwPolicyStatus() const noexcept {
        return hwPolicyStatus_;
    }

    void handleInitialized() override;

    /// Stops the retry and clears the retry set, including other policies' matches. Then removes
    /// the matches and the policy's hardware status.
    void doCleanup() override;

    /// Makes the machine of one match if the match exists, else removes it.
    void handleNatFlowMatch(Pelo::String const &name);

    [[nodiscard]] auto const &matchSm() const noexcept { return matchSm_.machines(); }
    Mox::Ptr<UmoNatFlowMatchSm> matchSmIs(Pelo::String const &name,
                                          UmoNatFlowMatchSm::Inputs const &inputs) {
        return matchSm_.is(name, inputs, &UmoNatFlowMatchSmIs);
    }
    void matchSmDel(Pelo::String const &name) { matchSm_.del(name); }
    void matchSmDelAll() { matchSm_.delAll(); }

  protected:
    explicit UmoNatFlowPolicySm(Inputs const &inputs);
    ~UmoNatFlowPolicySm() override;
    void childrenDelAll() override { matchSmDelAll(); }

  private:
    void policyStatusDispatch(Pelo::ChangeOf<Ip::Nat::NatFlowPolicyStatus> const &change);

    Inputs const inputs_;
    Mox::Ptr<Ip::Nat::HwNatFlowPolicyStatus> hwPolicyStatus_;
    Mox::ReactorCollection<Pelo::String, UmoNatFlowMatchSm> matchSm_;
    bool initialized_ = false;

    Mox::Subscription<Ip::Nat::NatFlowPolicyStatus, &UmoNatFlowPolicySm::policyStatusDispatch>
        policyStatusSubscription_{*this};
};

Mox::Ptr<UmoNatFlowPolicySm> UmoNatFlowPolicySmIs(UmoNatFlowPolicySm::Inputs const &inputs);
