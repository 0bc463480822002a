#pragma once

#include "Bridging/Config.h"
#include "Bridging/Status.h"
#include "Bridging/Topology.h"
#include "Ip/IpStatus.h"
#include "Ip/NatHwStatus.h"
#include "Ip/NatStatus.h"
#include "Mox/ReactorCollection.h"
#include "Mox/Seconds.h"
#include "Mox/Set.h"
#include "Pelo/String.h"
#include "UmoL3Intf/Table.h"
#include "UmoNat/Export.h"
#include "UmoNat/UmoNatFlowMcastHelper.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "UmoNat/UmoNatFlowPolicySm.h"
#include "Vyr/Task.h"

class UmoNatFlowMatchSm;

/// The entry point of the library and the root of its state machines. The agent makes one with
/// umoNatFlowMcastSmFactory, keeps the pointer for as long as multicast NAT is to be programmed,
/// and drops it to have everything taken back out of the hardware.
///
/// The root follows the NAT policies and has one policy state machine for each; below a policy
/// stands one machine for each match, below a match one for each action. Beside them it owns the
/// one topology state machine, and the retry of matches for which the chip had no group.
class UMONAT_API UmoNatFlowMcastSm : public Mox::Reactor {
  public:
    /// What the agent gives. Anything that is followed may be null, which reads as without
    /// entries; `hwStatus` and `helper` may not.
    struct Inputs {
        Mox::Ptr<Ip::Nat::Status const> status;
        Mox::Ptr<Ip::Nat::HwNatFlowStatus> hwStatus;
        Mox::Ptr<Bridging::Config const> bridgingConfig;
        Mox::Ptr<Bridging::Status const> bridgingStatus;
        Mox::Ptr<Bridging::VlanStatusDir const> vlanStatusDir;
        Mox::Ptr<Bridging::Topology::Config const> brTopo;
        Mox::Ptr<UmoL3Intf::Table const> umoL3IntfTable;
        Mox::Ptr<Ip::Status const> ipStatus;
        Mox::Ptr<UmoHelper::UmoNatFlowMcastHelper> helper;
    };

    [[nodiscard]] Inputs const &inputs() const noexcept { return inputs_; }
    [[nodiscard]] bool initialized() const noexcept { return initialized_; }
    [[nodiscard]] Mox::Ptr<UmoNatFlowMcastTopologySm> const &topologySm() const noexcept {
        return topologySm_;
    }

    /// Wipes the hardware status that an earlier run left, without calling the helper, makes the
    /// retry task and the topology machine, and then a policy machine for each policy.
    void handleInitialized() override;
    void doCleanup() override;

    /// Follows one policy: makes its machine if the policy is there, removes it if not.
    void handleNatFlowPolicy(Pelo::String const &name);

    [[nodiscard]] auto const &policySm() const noexcept { return policySm_.machines(); }
    void policySmIs(UmoNatFlowPolicySm::Inputs const &inputs);
    void policySmDel(Pelo::String const &name) { policySm_.del(name); }
    void policySmDelAll() { policySm_.delAll(); }

    /// The matches that want groups, hold none, and are to be tried again; the clean-up of any
    /// policy forgets them all. Holds no reference; a match takes itself out at its end.
    [[nodiscard]] Mox::Set<UmoNatFlowMatchSm *> const &unprogrammedGroup() const noexcept {
        return unprogrammedGroup_;
    }
    void unprogrammedGroupIs(UmoNatFlowMatchSm *matchSm) { unprogrammedGroup_.insert(matchSm); }
    void unprogrammedGroupDel(UmoNatFlowMatchSm *matchSm) { unprogrammedGroup_.remove(matchSm); }
    void unprogrammedGroupDelAll() { unprogrammedGroup_.clear(); }

    /// For a match whose allocation failed: has it tried again by the next retry. Does not
    /// schedule one: only freed groups make it worth while.
    void addUnprogrammedGroupTask(UmoNatFlowMatchSm *matchSm);

    /// The retry task's work: allocates for the waiting matches, in the order in which they came
    /// to wait, up to the first that fails again or the end of the task's time slice. Does
    /// nothing outside a run of the task.
    void handleUnprogrammedGroup();

    [[nodiscard]] Mox::Ptr<Vyr::TimerTask> const &unprogrammedGroupTask() const noexcept {
        return unprogrammedGroupTask_;
    }
    void unprogrammedGroupTaskIs(Mox::Ptr<Vyr::TimerTask> const &task);
    void unprogrammedGroupTaskDel() { unprogrammedGroupTaskIs(nullptr); }

    /// From the freeing of groups to the retry.
    [[nodiscard]] Mox::Seconds unprogrammedGroupTaskDelay() const noexcept {
        return unprogrammedGroupTaskDelay_;
    }
    void unprogrammedGroupTaskDelayIs(Mox::Seconds delay) { unprogrammedGroupTaskDelay_ = delay; }

  protected:
    explicit UmoNatFlowMcastSm(Inputs const &inputs);
    ~UmoNatFlowMcastSm() override;
    void childrenDelAll() override;

  private:
    void statusDispatch(Pelo::Change const &change);
    void unprogrammedGroupTaskDispatch(Pelo::Change const &change);
    void wipeHwStatus() const;

    Inputs const inputs_;
    Mox::Ptr<UmoNatFlowMcastTopologySm> topologySm_;
    Mox::ReactorCollection<Pelo::String, UmoNatFlowPolicySm> policySm_;
    Mox::Set<UmoNatFlowMatchSm *> unprogrammedGroup_;
    Mox::Seconds unprogrammedGroupTaskDelay_{10.0};
    Mox::Ptr<Vyr::TimerTask> unprogrammedGroupTask_;
    Mox::Ptr<Vyr::TaskScheduler> groupScheduler_;
    bool initialized_ = false;

    Mox::Subscription statusSubscription_{*this, &UmoNatFlowMcastSm::statusDispatch};
    Mox::Subscription unprogrammedGroupTaskSubscription_{
        *this, &UmoNatFlowMcastSm::unprogrammedGroupTaskDispatch};
};

/// Makes a root: what UmoNatFlowMcastSmIs does, for the agent.
UMONAT_API Mox::Ptr<UmoNatFlowMcastSm>
umoNatFlowMcastSmFactory(Mox::Ptr<Ip::Nat::Status const> const &status,
                         Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &hwStatus,
                         Mox::Ptr<Bridging::Config const> const &bridgingConfig,
                         Mox::Ptr<Bridging::Status const> const &bridgingStatus,
                         Mox::Ptr<Bridging::VlanStatusDir const> const &vlanStatusDir,
                         Mox::Ptr<Bridging::Topology::Config const> const &brTopo,
                         Mox::Ptr<UmoL3Intf::Table const> const &umoL3IntfTable,
                         Mox::Ptr<Ip::Status const> const &ipStatus,
                         Mox::Ptr<UmoHelper::UmoNatFlowMcastHelper> const &helper);

Mox::Ptr<UmoNatFlowMcastSm> UmoNatFlowMcastSmIs(UmoNatFlowMcastSm::Inputs const &inputs);
