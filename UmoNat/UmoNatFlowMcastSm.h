#pragma once

#include "Bridging/Config.h"
#include "Bridging/Status.h"
#include "Bridging/Topology.h"
#include "Ip/IpStatus.h"
#include "Ip/NatHwStatus.h"
#include "Ip/NatStatus.h"
#include "Mox/Attributes.h"
#include "Mox/ReactorCollection.h"
#include "Mox/Seconds.h"
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

    /// The policy machines by name. Nobody may hold one of them, or of those below it, longer than
    /// the root: they refer to the root and to the topology machine without holding them, and
    /// their clean-up calls both.
    [[nodiscard]] auto const &policySm() const noexcept { return policySm_.machines(); }
    Mox::Ptr<UmoNatFlowPolicySm> policySmIs(UmoNatFlowPolicySm::Inputs const &inputs);
    void policySmDel(Pelo::String const &name) { policySm_.del(name); }
    void policySmDelAll() { policySm_.delAll(); }

    /// For a match whose allocation failed: the next retry tries it again. Does not schedule a
    /// retry: only freed groups make one worthwhile.
    void addUnprogrammedGroupTask(UmoNatFlowMatchSm *matchSm);

    /// The retry task's work: allocates for the waiting matches, the longest waiting first, up to
    /// the first that fails again or the end of the task's time slice. Does nothing outside a run
    /// of the task.
    void handleUnprogrammedGroup();

    [[nodiscard]] Mox::Ptr<Vyr::TimerTask> const &unprogrammedGroupTask() const noexcept {
        return unprogrammedGroupTask_;
    }
    void unprogrammedGroupTaskIs(Mox::Ptr<Vyr::TimerTask> const &task);
    void unprogrammedGroupTaskDel() { unprogrammedGroupTaskIs(nullptr); }

  protected:
    explicit UmoNatFlowMcastSm(Inputs const &inputs);
    ~UmoNatFlowMcastSm() override;
    void childrenDelAll() override;

  private:
    void statusDispatch(Pelo::ChangeOf<Ip::Nat::Status> const &change);
    void unprogrammedGroupTaskDispatch(Pelo::ChangeOf<Vyr::Task> const &change);
    void wipeHwStatus() const;

    Inputs const inputs_;
    Mox::Ptr<UmoNatFlowMcastTopologySm> topologySm_;
    Mox::ReactorCollection<Pelo::String, UmoNatFlowPolicySm> policySm_;

    /// The matches that want groups and hold none, to be tried again. The clean-up of any policy
    /// clears the set. It keeps no match alive; a match leaves it when it is destroyed.
    MOX_SET(UmoNatFlowMatchSm *, unprogrammedGroup)

    /// From freed groups to the retry.
    MOX_ATTRIBUTE_FROM(Mox::Seconds, unprogrammedGroupTaskDelay, Mox::Seconds(10.0))

    Mox::Ptr<Vyr::TimerTask> unprogrammedGroupTask_;
    Mox::Ptr<Vyr::TaskScheduler> groupScheduler_;
    bool initialized_ = false;

    Mox::Subscription<Ip::Nat::Status> statusSubscription_{*this,
                                                           &UmoNatFlowMcastSm::statusDispatch};
    Mox::Subscription<Vyr::Task> unprogrammedGroupTaskSubscription_{
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
