#pragma once

#include "Bridging/Config.h"
#include "Ip/NatHwStatus.h"
#include "Ip/NatStatus.h"
#include "Mox/Reactor.h"
#include "Nexo/EthAddr.h"
#include "Pelo/String.h"
#include "UmoNat/Export.h"
#include "UmoNat/UmoNatFlowMatchSmStatus.h"
#include "UmoNat/UmoNatFlowMcastHelper.h"
#include "UmoNat/UmoNatflowActionSmIndex.h"

#include <cstdint>

class UmoNatFlowMcastTopologySm;
class NatFlowGroupUses;
struct NatFlowGroupUse;

/// The state machine of one action of a match, owned by the match's machine under the action's
/// name. It decides the action's flow type, and programs in a fixed order: which ports the
/// copies go to, computed from the topology; the differences of the port sets in hardware; the
/// source and destination translations of the port sets. The groups are the match's; this
/// machine programs into them, takes out what it programmed, and tells the match when their
/// number has to change.
///
/// | state               | while                        | a trigger then                        |
/// |---------------------|------------------------------|---------------------------------------|
/// | waiting for version | the action's version is 0    | does nothing                          |
/// | waiting for groups  | the match wants no groups    | does nothing                          |
/// | group count pending | the match wants another      | raises groupNumUpdate, and is called  |
/// |                     | number than the action finds | back by the match                     |
/// | programmed          | else                         | runs a full pass                      |
///
/// While the match waits for its groups, passes are run as ever, but program nothing.
class UMONAT_API UmoNatFlowActionSm : public Mox::Reactor {
  public:
    struct Inputs {
        Pelo::String policy;
        Pelo::String match;
        Mox::Ptr<Ip::Nat::NatFlowMatchStatus const> matchStatus;
        Mox::Ptr<Ip::Nat::NatFlowActionStatus const> actionStatus;
        Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus> hwMatchStatus;
        Mox::Ptr<UmoNatFlowMatchSmStatus> matchSmStatus;
        UmoNatFlowMcastTopologySm *topologySm = nullptr; // outlives the machine
        Mox::Ptr<UmoHelper::UmoNatFlowMcastHelper> helper;
        Mox::Ptr<Bridging::Config const> bridgingConfig;

        bool operator==(Inputs const &) const = default;
    };

    [[nodiscard]] Inputs const &inputs() const noexcept { return inputs_; }
    [[nodiscard]] bool initialized() const noexcept { return initialized_; }
    [[nodiscard]] Pelo::String const &policy() const noexcept { return inputs_.policy; }
    [[nodiscard]] Pelo::String const &match() const noexcept { return inputs_.match; }
    /// The action's name; empty without an action status.
    [[nodiscard]] Pelo::String const &action() const noexcept;
    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowActionStatus> const &hwActionStatus() const noexcept {
        return hwActionStatus_;
    }
    /// Without a record the machine does nothing, as without a version.
    void hwActionStatusIs(Mox::Ptr<Ip::Nat::HwNatFlowActionStatus> const &status) {
        hwActionStatus_ = status;
    }

    /// Where the action index keeps the entries that the machine is in.
    [[nodiscard]] UmoNatflowActionSmEntries &indexEntries() noexcept { return indexEntries_; }

    void handleInitialized() override;

    /// Takes the action out of the hardware and of the status tree. Does nothing while the
    /// version is 0: an incomplete action leaves its entry, and what it names, for the next
    /// action of that name.
    void doCleanup() override;

    /// The pass: evaluates and programs the whole action. With `skipChecks` it goes by the group
    /// number and flow type of the last pass; a change of topology cannot have changed them.
    void handleNatFlowAction(bool skipChecks);

    /// The match's flow has changed, but not its number of groups. If the flow type is the same,
    /// only the translations are programmed.
    void handleNatFlow();

    /// The match is about to free its groups, to have `num` instead.
    void handleGroupNum(std::uint32_t num);

    [[nodiscard]] Ip::Nat::NatFlowType getFlowType() const;

    /// The number of groups that the match needs for its actions: 1 or 2.
    [[nodiscard]] std::uint32_t getGroupNum() const;

    /// Takes everything that the action programmed out of the match's groups, by the flow type
    /// recorded, and clears the hardware status but for the flow type.
    void resetHwGroups();

    /// The part of resetHwGroups for one group.
    void resetHwGroup(std::uint32_t group, bool unicast, bool portSetId2);

    /// Fills the empty `vps` with the ports to which the copies go, and registers the machine
    /// with the topology for every change that would make a difference.
    void updateSwPortSet(Mox::Ptr<Ip::Nat::NatFlowVlanPortSets> const &vps);

    /// Programs the differences between the port sets recorded and `vps`, and gives those of
    /// `vps` their identifiers. The caller records `vps` afterwards.
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
    // What the action asks for; nothing without an action status.
    [[nodiscard]] std::uint32_t version() const noexcept;
    [[nodiscard]] Nexo::IpAndPort src() const noexcept;
    [[nodiscard]] Nexo::IpAndPort dst() const noexcept;
    /// Whether the action is complete: its version is set. What is programmed needs the hardware
    /// record too.
    [[nodiscard]] bool complete() const noexcept { return initialized_ && version() != 0; }
    [[nodiscard]] bool programmable() const noexcept { return complete() && hwActionStatus_; }
    void assertProgrammable() const;
    [[nodiscard]] Ip::Nat::NatFlowType recordedFlowType() const noexcept {
        return hwActionStatus_ ? hwActionStatus_->flowType() : Ip::Nat::natFlowTypeUnicast;
    }
    [[nodiscard]] NatFlowGroupUses groupUses() const noexcept;
    void flowTypeIs(Ip::Nat::NatFlowType type);

    [[nodiscard]] bool wantsUnicast() const noexcept;
    [[nodiscard]] bool wantsMulticast() const noexcept;
    void addRecirculation(Ip::Nat::NatFlowVlanPortSets &vps);
    void addSvi(std::uint16_t vlan, Nexo::EthAddr const &mac, Ip::Nat::NatFlowVlanPortSets &vps);
    void addPort(Nexo::IntfId intf, Ip::Nat::NatFlowNextHop const &nextHop,
                 Ip::Nat::NatFlowVlanPortSets &vps);

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
    bool initialized_ = false;

    Mox::Subscription<Ip::Nat::NatFlowActionStatus> actionStatusSubscription_{
        *this, &UmoNatFlowActionSm::actionStatusDispatch};
};

Mox::Ptr<UmoNatFlowActionSm> UmoNatFlowActionSmIs(UmoNatFlowActionSm::Inputs const &inputs);
