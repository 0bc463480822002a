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
/// umoNatFlowMcastSmFactory, and holds the pointer while multicast NAT is to be programmed.
/// Dropping the pointer removes everything from the hardware.
///
/// The root owns one policy state machine per NAT policy; a policy owns one machine per match, and
/// a match one per action. The root also owns the topology state machine, and the retry of matches
/// for which the chip had no group.
class UMONAT_API UmoNatFlowMcastSm : public Mox::Reactor {
  public:
    /// What the agent provides. `hwStatus` and `helper` must not be null. Any other input may be
    /// null, and then has no entries.
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

    /// Clears the hardware status of an earlier run, without calling the helper. Then makes the
    /// retry task, the topology machine, and a policy machine per policy.
    void handleInitialized() override;
    void doCleanup() override;

    /// Makes the machine of one policy if the policy exists, else removes it.
    void handleNatFlowPolicy(Pelo::String const &name);

    /// The policy machines by name. Do not hold one, or a machine below it, longer than the root:
    /// they have plain pointers to the root and to the topology machine, and their cleanup calls
    /// both.
    [[nodiscard]] auto const &policySm() const noexcept { return policySm_.machines(); }
    Mox::Ptr<UmoNatFlowPolicySm> policySmIs(UmoNatFlowPolicySm::Inputs const &inputs);
    void policySmDel(Pelo::String const &name) { policySm_.del(name); }
    void policySmDelAll() { policySm_.delAll(); }

    /// Adds a match whose allocation failed to the retry set. Does not schedule a retry: it would
    /// fail again until groups are freed.
    void addUnprogrammedGroupTask(UmoNatFlowMatchSm *matchSm);

    /// The retry task's work: allocates groups for the waiting matches, the longest waiting first.
    /// Stops at the first match that fails again, or at the end of the task's time slice. Does
    /// nothing outside a run of the task.
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

    /// The retry set: matches that wait for groups. The cleanup of any policy clears it. It does
    /// not own the matches; a match removes itself when it is destroyed.
    MOX_SET(UmoNatFlowMatchSm *, unprogrammedGroup)

    /// The delay from freed groups to the retry.
    MOX_ATTRIBUTE_FROM(Mox::Seconds, unprogrammedGroupTaskDelay, Mox::Seconds(10.0))

    Mox::Ptr<Vyr::TimerTask> unprogrammedGroupTask_;
    Mox::Ptr<Vyr::TaskScheduler> groupScheduler_;
    bool initialized_ = false;

    Mox::Subscription<Ip::Nat::Status, &UmoNatFlowMcastSm::statusDispatch> statusSubscription_{
        *this};
    Mox::Subscription<Vyr::Task, &UmoNatFlowMcastSm::unprogrammedGroupTaskDispatch>
        unprogrammedGroupTaskSubscription_{*this};
};

/// Makes a root, for the agent.
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
