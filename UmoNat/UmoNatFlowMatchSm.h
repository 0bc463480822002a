#pragma once

#include "Bridging/Config.h"
#include "Ip/NatHwStatus.h"
#include "Ip/NatStatus.h"
#include "Mox/ReactorCollection.h"
#include "Pelo/String.h"
#include "UmoNat/Export.h"
#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatFlowMatchSmStatus.h"
#include "UmoNat/UmoNatFlowMcastHelper.h"

#include <cstdint>

class UmoNatFlowMcastSm;
class UmoNatFlowMcastTopologySm;

/// The state machine of one match of a NAT policy, owned by the policy's machine under the
/// match's name. It decides how many hardware groups the match needs, allocates and frees them
/// through the helper, waits in the root's retry set while the chip has none, and has one action
/// state machine for each action.
///
/// | state       | groupNum | group ids | left by                                              |
/// |-------------|----------|-----------|------------------------------------------------------|
/// | no groups   | 0        | 0         | an action is added                                   |
/// | programmed  | 1 or 2   | set       | a change of the number                               |
/// | waiting     | 1 or 2   | 0         | a retry that allocates, or a change of the number    |
class UMONAT_API UmoNatFlowMatchSm : public Mox::Reactor {
  public:
    struct Inputs {
        Pelo::String policy;
        Mox::Ptr<Ip::Nat::NatFlowMatchStatus const> matchStatus;
        Mox::Ptr<Ip::Nat::HwNatFlowPolicyStatus> hwPolicyStatus;
        UmoNatFlowMcastTopologySm *topologySm = nullptr; // outlives the machine, as does mcastSm
        Mox::Ptr<UmoHelper::UmoNatFlowMcastHelper> helper;
        Mox::Ptr<Bridging::Config const> bridgingConfig;
        UmoNatFlowMcastSm *mcastSm = nullptr;

        bool operator==(Inputs const &) const = default;
    };

    [[nodiscard]] Inputs const &inputs() const noexcept { return inputs_; }
    [[nodiscard]] bool initialized() const noexcept { return initialized_; }
    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus> const &hwMatchStatus() const noexcept {
        return hwMatchStatus_;
    }

    void handleInitialized() override;
    void doCleanup() override;

    [[nodiscard]] Mox::Ptr<UmoNatFlowMatchSmStatus> const &matchSmStatus() const noexcept {
        return matchSmStatus_;
    }
    /// Follows the requests of `status`, and evaluates the number of groups unless the machine's
    /// end has begun.
    void matchSmStatusIs(Mox::Ptr<UmoNatFlowMatchSmStatus> const &status);

    /// The number of groups that the match needs now: 0 to 2.
    [[nodiscard]] std::uint32_t getGroupNum() const;

    /// Allocates `groups` groups, 0 to 2, and records them. On failure it records nothing, and the
    /// match waits in the root's retry set; a group of a pair whose other half failed stays
    /// allocated. Returns whether there are groups now.
    bool createNatFlowGroups(std::uint32_t groups);

    /// Frees the groups, if there are any, and schedules the retry of waiting matches.
    void deleteNatFlowGroups();

    /// For the retry: allocates the groups that the match waits for, and programs its actions.
    /// Returns false if there were still no groups.
    bool retryNatFlowGroups();

    /// Whether the match wants groups and holds none.
    [[nodiscard]] bool waitsForGroups() const;

    /// Evaluates the number of groups anew, and reallocates if it has changed. Returns true if the
    /// actions need no further evaluation.
    bool handleGroupNumUpdate();

    /// The match's flow has changed.
    void handleNatFlow();

    /// Follows one action: makes its machine if the action is there, removes it if not.
    void handleNatFlowAction(Pelo::String const &name);

    [[nodiscard]] auto const &actionSm() const noexcept { return actionSm_.machines(); }
    Mox::Ptr<UmoNatFlowActionSm> actionSmIs(Pelo::String const &name,
                                            UmoNatFlowActionSm::Inputs const &inputs) {
        return actionSm_.is(name, inputs, &UmoNatFlowActionSmIs);
    }
    void actionSmDel(Pelo::String const &name) { actionSm_.del(name); }
    void actionSmDelAll() { actionSm_.delAll(); }

  protected:
    explicit UmoNatFlowMatchSm(Inputs const &inputs);
    ~UmoNatFlowMatchSm() override;
    void childrenDelAll() override;

  private:
    void matchStatusDispatch(Pelo::ChangeOf<Ip::Nat::NatFlowMatchStatus> const &change);
    void matchSmStatusDispatch(Pelo::ChangeOf<UmoNatFlowMatchSmStatus> const &change);
    bool createSingleGroup();
    bool createGroupPair();
    bool recordGroups(std::uint32_t unicast, std::uint32_t multicast);
    void clearHwActions();

    Inputs const inputs_;
    Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus> hwMatchStatus_;
    Mox::Ptr<UmoNatFlowMatchSmStatus> matchSmStatus_;
    Mox::ReactorCollection<Pelo::String, UmoNatFlowActionSm> actionSm_;
    bool initialized_ = false;

    Mox::Subscription<Ip::Nat::NatFlowMatchStatus> matchStatusSubscription_{
        *this, &UmoNatFlowMatchSm::matchStatusDispatch};
    Mox::Subscription<UmoNatFlowMatchSmStatus> matchSmStatusSubscription_{
        *this, &UmoNatFlowMatchSm::matchSmStatusDispatch};
};

Mox::Ptr<UmoNatFlowMatchSm> UmoNatFlowMatchSmIs(UmoNatFlowMatchSm::Inputs const &inputs);
