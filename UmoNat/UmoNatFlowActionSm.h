#pragma once

#include "Bridging/Config.h"
#include "Ip/NatHwStatus.h"
#include "Ip/NatStatus.h"
#include "Mox/MemberList.h"
#include "Mox/Reactor.h"
#include "Nexo/EthAddr.h"
#include "Pelo/String.h"
#include "UmoNat/Export.h"
#include "UmoNat/UmoNatFlowHindrance.h"
#include "UmoNat/UmoNatFlowMatchSmStatus.h"
#include "UmoNat/UmoNatFlowMcastHelper.h"
#include "UmoNat/UmoNatFlowObserver.h"
#include "UmoNat/UmoNatflowActionSmIndex.h"

#include <cstdint>
#include <memory>
#include <utility>

class UmoNatFlowMcastTopologySm;
class NatFlowGroupUses;
struct NatFlowGroupUse;

/// The state machine of one action of a match. The match's machine owns it, under the action's
/// name. It decides the action's flow type. A full pass computes the port sets from the topology,
/// then programs their differences in hardware, then their source and destination translations. The
/// match owns the groups. This machine programs into them, removes what it programmed, and notifies
/// the match when their number must change.
///
/// | state               | condition                    | an evaluation                         |
/// |---------------------|------------------------------|---------------------------------------|
/// | waiting for version | the action's version is 0    | does nothing                          |
/// | waiting for groups  | the match wants no groups    | does nothing                          |
/// | group count pending | the action finds another     | increments groupNumUpdate; the match  |
/// |                     | number than the match wants  | then re-evaluates its number          |
/// | programmed          | otherwise                    | runs a full pass                      |
///
/// While the match waits for its groups, full passes run but program nothing.
class UMONAT_API UmoNatFlowActionSm : public Mox::Reactor {
  public:
    /// What all actions of a match have in common.
    struct OfMatch {
        Pelo::String policy;
        Pelo::String match;
        Mox::Ptr<Ip::Nat::NatFlowMatchStatus const> matchStatus;
        Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus> hwMatchStatus;
        Mox::Ptr<UmoNatFlowMatchSmStatus> matchSmStatus;
        UmoNatFlowMcastTopologySm *topologySm = nullptr; // outlives the machine
        Mox::Ptr<UmoHelper::UmoNatFlowMcastHelper> helper;
        Mox::Ptr<Bridging::Config const> bridgingConfig;

        bool operator==(OfMatch const &) const = default;
    };
    /// Held once for all of them.
    struct Shared final : Mox::PtrInterface {
        explicit Shared(OfMatch of) : ofMatch(std::move(of)) {}
        OfMatch const ofMatch;
    };
    struct Inputs {
        Mox::Ptr<Shared const> shared; // never null
        Mox::Ptr<Ip::Nat::NatFlowActionStatus const> actionStatus;

        bool operator==(Inputs const &other) const {
            return actionStatus == other.actionStatus && shared->ofMatch == other.shared->ofMatch;
        }
    };

    [[nodiscard]] Inputs const &inputs() const noexcept { return inputs_; }
    [[nodiscard]] OfMatch const &ofMatch() const noexcept { return inputs_.shared->ofMatch; }
    [[nodiscard]] bool initialized() const noexcept { return initialized_; }
    /// Whether the action has a destination, as last heard.
    [[nodiscard]] bool destinationNamed() const noexcept { return destinationNamed_; }
    [[nodiscard]] Pelo::String const &policy() const noexcept { return ofMatch().policy; }
    [[nodiscard]] Pelo::String const &match() const noexcept { return ofMatch().match; }
    /// The action's name; empty without an action status.
    [[nodiscard]] Pelo::String const &action() const noexcept;
    [[nodiscard]] Pelo::String const &key() const noexcept { return action(); }
    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowActionStatus> const &hwActionStatus() const noexcept {
        return hwActionStatus_;
    }
    /// With a null `status` the machine does nothing, as with version 0.
    void hwActionStatusIs(Mox::Ptr<Ip::Nat::HwNatFlowActionStatus> const &status) {
        hwActionStatus_ = status;
    }

    /// The entries of the action index that list this machine. The entries maintain them.
    [[nodiscard]] UmoNatflowActionSmEntries &indexEntries() noexcept { return indexEntries_; }

    /// The machine's place in the backlog of the topology machine, which maintains it; null: none.
    using BacklogPlace = Mox::Membership<UmoNatFlowMcastTopologySm, UmoNatFlowActionSm>;
    [[nodiscard]] std::unique_ptr<BacklogPlace> &backlogPlace() noexcept { return backlogPlace_; }
    [[nodiscard]] bool queued() const noexcept { return backlogPlace_ != nullptr; }

    void handleInitialized() override;
    void hasNotificationActiveIs(bool active) override;

    /// Removes the action from the hardware and from the status tree. Does nothing while the
    /// version is 0: the hardware status stays, and the next machine of that name continues from
    /// it.
    void doCleanup() override;

    /// The full pass: evaluates and programs the action. With `skipChecks` it keeps the group
    /// number and flow type of the last pass, which a topology change cannot change.
    void handleNatFlowAction(bool skipChecks);
    /// The full pass as handleNatFlowAction(false), for an observer: because of `cause`.
    void evaluate(UmoNatFlowCause::Kind cause);

    /// Handles a change of the match's flow that leaves its number of groups the same. Programs
    /// only the translations if the flow type is the same.
    void handleNatFlow();

    /// Removes what the action programmed: the match is about to free its groups and wants `num`
    /// instead.
    void handleGroupNum(std::uint32_t num);

    [[nodiscard]] Ip::Nat::NatFlowType getFlowType() const;

    /// The number of groups that the match needs for its actions: 1 or 2.
    [[nodiscard]] std::uint32_t getGroupNum();

    /// Removes everything that the action programmed from the match's groups, according to the
    /// recorded flow type. Then clears the hardware status, except the flow type.
    void resetHwGroups();

    /// The part of resetHwGroups for one group.
    void resetHwGroup(std::uint32_t group, bool unicast, bool portSetId2);

    /// Fills the empty `vps` with the ports that get copies. Registers the machine with the
    /// topology machine under the interfaces, VLANs and MACs that it uses, or for recirculation.
    void updateSwPortSet(Mox::Ptr<Ip::Nat::NatFlowVlanPortSets> const &vps);
    /// Fills the empty `vps` as updateSwPortSet would now, and `verdicts` with the reasons. Changes
    /// nothing else, and does nothing for an incomplete action. Whoever asks compares with what is
    /// recorded: an action that was not evaluated since may have other port sets.
    void explainPortSets(Ip::Nat::NatFlowVlanPortSets &vps, UmoNatFlowVerdicts &verdicts) const;

    /// Programs the differences between the recorded port sets and `vps`, and sets the identifiers
    /// in `vps`. The caller then records `vps`.
    void updateHwPortSet(Mox::Ptr<Ip::Nat::NatFlowVlanPortSets> const &vps);

    /// The part of updateHwPortSet for one group.
    void updateHwPortSetGroup(Mox::Ptr<Ip::Nat::NatFlowVlanPortSets> const &vps,
                              std::uint32_t group, bool unicast, bool portSetId2);

    /// Programs the translations of all recorded port sets if the addresses have changed.
    void updateHwTranslation();

    /// The parts of updateHwTranslation for one group, which must not be 0.
    void updateHwTranslationSrc(std::uint32_t group, bool unicast, bool portSetId2);
    void updateHwTranslationDst(std::uint32_t group, bool unicast, bool portSetId2);

  protected:
    explicit UmoNatFlowActionSm(Inputs const &inputs);
    ~UmoNatFlowActionSm() override;
    void childrenDelAll() override;

  private:
    void actionStatusDispatch(Pelo::ChangeOf<Ip::Nat::NatFlowActionStatus> const &change);
    void followDestination();
    // The configured values; 0 without an action status.
    [[nodiscard]] std::uint32_t version() const noexcept;
    [[nodiscard]] Nexo::IpAndPort src() const noexcept;
    [[nodiscard]] Nexo::IpAndPort dst() const noexcept;
    /// Whether the machine has started and the version is not 0. Programming needs the hardware
    /// status too.
    [[nodiscard]] bool complete() const noexcept { return initialized_ && version() != 0; }
    [[nodiscard]] bool programmable() const noexcept { return complete() && hwActionStatus_; }
    void assertProgrammable() const;
    [[nodiscard]] Ip::Nat::NatFlowType recordedFlowType() const noexcept {
        return hwActionStatus_ ? hwActionStatus_->flowType() : Ip::Nat::natFlowTypeUnicast;
    }
    [[nodiscard]] NatFlowGroupUses groupUses() const noexcept;
    void flowTypeIs(Ip::Nat::NatFlowType type);

    /// One computation of the port sets: to program them, or to explain them.
    struct PortSetPass {
        Ip::Nat::NatFlowVlanPortSets &vps;
        Ip::Nat::NatFlowType type;
        UmoNatFlowActionSm *registrant; // for what the port sets depend on; null: nothing is
        UmoNatFlowVerdicts *verdicts;   // receives what was found; null: nobody asks

        [[nodiscard]] bool wantsUnicast() const noexcept {
            return type != Ip::Nat::natFlowTypeMulticast;
        }
        [[nodiscard]] bool wantsMulticast() const noexcept {
            return type != Ip::Nat::natFlowTypeUnicast;
        }
    };
    void collectPorts(PortSetPass const &pass) const;
    static void reportForAllKinds(PortSetPass const &pass, std::uint16_t vlan, Nexo::IntfId port,
                                  UmoNatFlowHindrance hindrance);
    void addRecirculation(PortSetPass const &pass) const;
    void addSvi(std::uint16_t vlan, Nexo::EthAddr const &mac, PortSetPass const &pass) const;
    void addPort(Nexo::IntfId intf, Ip::Nat::NatFlowNextHop const &nextHop,
                 PortSetPass const &pass) const;

    void deletePortSet(NatFlowGroupUse const &use, std::uint32_t id);
    void programPortSet(NatFlowGroupUse const &use,
                        Mox::Ptr<Ip::Nat::NatFlowPortSet> const &portSet);
    void updateRecordedSrc(NatFlowGroupUse const &use, Ip::Nat::NatFlowPortSet const &portSet);
    void updateRecordedDst(NatFlowGroupUse const &use, Ip::Nat::NatFlowPortSet const &portSet);

    [[nodiscard]] bool srcUnchanged() const noexcept;
    [[nodiscard]] bool dstUnchanged() const noexcept;
    [[nodiscard]] NatFlowGroupUse translatedGroup(char const *function, std::uint32_t group,
                                                  bool unicast, bool portSetId2) const;
    template <class Work>
    void forEachProgrammed(NatFlowGroupUse const &use, char const *verb, char const *side,
                           Work const &work) const;

    Inputs const inputs_;
    Mox::Ptr<Ip::Nat::HwNatFlowActionStatus> hwActionStatus_;
    UmoNatflowActionSmEntries indexEntries_;
    std::unique_ptr<BacklogPlace> backlogPlace_; // mostly none
    bool initialized_ = false;
    bool destinationNamed_;

    Mox::Subscription<Ip::Nat::NatFlowActionStatus, &UmoNatFlowActionSm::actionStatusDispatch>
        actionStatusSubscription_{*this};
};

Mox::Ptr<UmoNatFlowActionSm> UmoNatFlowActionSmIs(UmoNatFlowActionSm::Inputs const &inputs);
