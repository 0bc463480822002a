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

/// The state machine of one match of a NAT policy. The policy's machine owns it, under the match's
/// name. It decides how many hardware groups the match needs, and allocates and frees them through
/// the helper. While the chip has no group for it, it waits in the root's retry set. It owns one
/// action state machine per action.
///
/// | state       | groupNum | group ids | left when                                            |
/// |-------------|----------|-----------|------------------------------------------------------|
/// | no groups   | 0        | 0         | an action is added                                   |
/// | programmed  | 1 or 2   | set       | the number changes                                   |
/// | waiting     | 1 or 2   | 0         | a retry allocates the groups, or the number changes  |
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
    [[nodiscard]] Pelo::String const &key() const noexcept { return inputs_.matchStatus->name(); }
    [[nodiscard]] bool initialized() const noexcept { return initialized_; }
    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus> const &hwMatchStatus() const noexcept {
        return hwMatchStatus_;
    }

    void handleInitialized() override;
    void hasNotificationActiveIs(bool active) override;
    void doCleanup() override;

    [[nodiscard]] Mox::Ptr<UmoNatFlowMatchSmStatus> const &matchSmStatus() const noexcept {
        return matchSmStatus_;
    }
    /// Follows `status`, and re-evaluates the number of groups unless the machine is marked for
    /// deletion.
    void matchSmStatusIs(Mox::Ptr<UmoNatFlowMatchSmStatus> const &status);

    /// The number of groups that the match needs now: 0 to 2.
    [[nodiscard]] std::uint32_t getGroupNum() const;

    /// Allocates and records `groups` groups, 0 to 2. Returns false if it recorded none. If the
    /// chip refuses, the match joins the root's retry set. If it refuses one half of a pair, the
    /// other half stays allocated.
    bool createNatFlowGroups(std::uint32_t groups);

    /// Frees the groups, if there are any, and schedules the retry if matches wait for groups.
    void deleteNatFlowGroups();

    /// For the retry: allocates the groups that the match waits for, and programs its actions.
    /// Returns false if there were still no groups.
    bool retryNatFlowGroups();

    /// Whether the match wants groups and holds none.
    [[nodiscard]] bool waitsForGroups() const;

    /// Re-evaluates the number of groups, and reallocates if it has changed. Returns true if the
    /// actions need no further evaluation.
    bool handleGroupNumUpdate();

    /// Handles a change of the match's flow.
    void handleNatFlow();

    /// Makes the machine of one action if the action exists, else removes it.
    void handleNatFlowAction(Pelo::String const &name);

    [[nodiscard]] auto const &actionSm() const noexcept { return actionSm_.machines(); }
    /// `name` is that of the action status; empty without one.
    Mox::Ptr<UmoNatFlowActionSm> actionSmIs(Pelo::String const &name,
                                            UmoNatFlowActionSm::Inputs const &inputs) {
        return actionSm_.is(name, inputs, &UmoNatFlowActionSmIs);
    }
    void actionSmDel(Pelo::String const &name);
    void actionSmDelAll();

  protected:
    explicit UmoNatFlowMatchSm(Inputs const &inputs);
    ~UmoNatFlowMatchSm() override;
    void childrenDelAll() override;

  private:
    void matchStatusDispatch(Pelo::ChangeOf<Ip::Nat::NatFlowMatchStatus> const &change);
    void matchSmStatusDispatch(Pelo::ChangeOf<UmoNatFlowMatchSmStatus> const &change);
    void handleNatFlowAction(Pelo::String const &name,
                             Mox::Ptr<Ip::Nat::NatFlowActionStatus const> actionStatus);
    void followDestinations(Pelo::String const &action);
    void missChanges() const;
    bool createSingleGroup();
    bool createGroupPair();
    bool recordGroups(std::uint32_t unicast, std::uint32_t multicast);
    void clearHwActions();

    Inputs const inputs_;
    Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus> hwMatchStatus_;
    Mox::Ptr<UmoNatFlowMatchSmStatus> matchSmStatus_;
    Mox::Ptr<UmoNatFlowActionSm::Shared const> ofActions_;
    Mox::ReactorCollection<Pelo::String, UmoNatFlowActionSm> actionSm_;
    bool initialized_ = false;

    Mox::Subscription<Ip::Nat::NatFlowMatchStatus, &UmoNatFlowMatchSm::matchStatusDispatch>
        matchStatusSubscription_{*this};
    Mox::Subscription<UmoNatFlowMatchSmStatus, &UmoNatFlowMatchSm::matchSmStatusDispatch>
        matchSmStatusSubscription_{*this};
};

Mox::Ptr<UmoNatFlowMatchSm> UmoNatFlowMatchSmIs(UmoNatFlowMatchSm::Inputs const &inputs);
