#include "UmoNat/UmoNatFlowMcastSm.h"

#include "Base/Assert.h"
#include "Mox/Enter.h"
#include "Mox/LogEvent.h"
#include "UmoNat/UmoNatFlowMatchSm.h"

namespace {
Mox::TraceHandle const trace("UmoNatFlowMcastSm");

// The module's log events. They join the catalogue when the library is loaded. Nothing in the
// library raises them.

constexpr Mox::LogEvent event(char const *name, unsigned severity, char const *message,
                              char const *explanation, char const *recommendedAction) {
    return {.name = name,
            .severity = severity,
            .message = message,
            .explanation = explanation,
            .recommendedAction = recommendedAction,
            .minimumInterval = Mox::Seconds(0),
            .factor = 1.0,
            .firstLimit = 0,
            .secondLimit = 0};
}

Mox::LogHandle const
    hwResourceNormal(event("NAT_HW_RESOURCE_NORMAL", 6, "All NAT rules are programmed in hardware",
                           "The switch was able to program all the NAT rules in the NAT table",
                           Mox::NoActionRequired));

Mox::LogHandle const hwResourceFull(
    event("NAT_HW_RESOURCE_FULL", 3, "Hardware resources are insufficient to program all NAT rules",
          "The switch is unable to program all NAT rules due to insufficient hardware resources.",
          "Reconfigure your NAT rules to reduce the size and/or complexity of the NAT rules."));

Mox::LogHandle const ruleIfMax(
    event("NAT_RULE_IF_MAX", 3,
          "The active number of interfaces associated with the NAT rule: '%s', has exceeded the "
          "maximum. Cannot add VLAN %d. Interface count: %d, Maximum interfaces: %d.",
          "The maximum number of active interfaces associated with the NAT rule has been reached.",
          "Remove the NAT rule from any interface not currently in use."));

} // namespace

UmoNatFlowMcastSm::UmoNatFlowMcastSm(Inputs const &inputs) : inputs_(inputs) {
    statusSubscription_.follow(inputs_.status);
}

UmoNatFlowMcastSm::~UmoNatFlowMcastSm() = default;

void UmoNatFlowMcastSm::handleInitialized() {
    // The text lacks the leading Umo, as in doCleanup: kept as it is.
    Mox::enter<"UmoNatFlowMcastSm::handleInitialized">(trace, 1,
                                                       "NatFlowMcastSm::handleInitialized");
    Base::assertThat(bool(inputs_.hwStatus), "hwStatus()");
    Base::assertThat(bool(inputs_.helper), "helper()");
    wipeHwStatus();
    groupScheduler_ = Vyr::TaskSchedulerRoot::findOrCreateScheduler();
    auto const task = Mox::make<Vyr::TimerTask>(groupScheduler_, 4U, "unprogrammedGroupTask");
    task->hasNotificationActiveIs(true);
    unprogrammedGroupTaskIs(task);
    initialized_ = true;
    topologySm_ = UmoNatFlowMcastTopologySmIs(inputs_.bridgingConfig, inputs_.vlanStatusDir,
                                              inputs_.brTopo, inputs_.bridgingStatus,
                                              inputs_.umoL3IntfTable, inputs_.ipStatus);
    if (inputs_.status) {
        for (auto const &[name, policyStatus] : inputs_.status->natFlow()) {
            handleNatFlowPolicy(name);
        }
    }
}

void UmoNatFlowMcastSm::wipeHwStatus() const {
    for (auto const &[policyName, hwPolicy] : inputs_.hwStatus->natFlow()) {
        for (auto const &[matchName, hwMatch] : hwPolicy->match()) {
            for (auto const &[actionName, hwAction] : hwMatch->action()) {
                if (auto const &portSets = hwAction->vlanPortSets()) {
                    portSets->ucastPortSetDelAll();
                    portSets->mcastPortSetDelAll();
                }
            }
            hwMatch->actionDelAll();
        }
        hwPolicy->matchDelAll();
    }
    inputs_.hwStatus->natFlowDelAll();
}

void UmoNatFlowMcastSm::statusDispatch(Pelo::ChangeOf<Ip::Nat::Status> const &change) {
    if (auto const *name = change.keyOf(Ip::Nat::Status::natFlowAttribute)) {
        handleNatFlowPolicy(*name);
    }
}

void UmoNatFlowMcastSm::handleNatFlowPolicy(Pelo::String const &name) {
    Mox::enter<"UmoNatFlowMcastSm::handleNatFlowPolicy policy %s">(
        trace, 2, "UmoNatFlowMcastSm::", "handleNatFlowPolicy", ", policy: ", name);
    if (!initialized_) {
        return;
    }
    if (auto const policyStatus = inputs_.status ? inputs_.status->natFlow(name) : nullptr) {
        trace.at(2, "Create policySm");
        policySmIs({.policyStatus = policyStatus,
                    .hwStatus = inputs_.hwStatus,
                    .topologySm = topologySm_.ptr(),
                    .helper = inputs_.helper,
                    .bridgingConfig = inputs_.bridgingConfig,
                    .mcastSm = this});
    } else {
        trace.at(2, "Delete policySm");
        policySmDel(name);
    }
}

Mox::Ptr<UmoNatFlowPolicySm>
UmoNatFlowMcastSm::policySmIs(UmoNatFlowPolicySm::Inputs const &inputs) {
    Base::assertThat(bool(inputs.policyStatus), "policyStatus()");
    return policySm_.is(inputs.policyStatus->name(), inputs, &UmoNatFlowPolicySmIs);
}

void UmoNatFlowMcastSm::addUnprogrammedGroupTask(UmoNatFlowMatchSm *matchSm) {
    trace.at(9, "UmoNatFlowMcastSm::addUnprogrammedGroupTask");
    unprogrammedGroupIs(matchSm);
    if (auto *const observer = topologySm_ ? topologySm_->observer() : nullptr) {
        observer->matchWaits(*matchSm);
    }
}

void UmoNatFlowMcastSm::unprogrammedGroupTaskIs(Mox::Ptr<Vyr::TimerTask> const &task) {
    unprogrammedGroupTask_ = task;
    unprogrammedGroupTaskSubscription_.follow(task);
}

void UmoNatFlowMcastSm::unprogrammedGroupTaskDispatch(Pelo::ChangeOf<Vyr::Task> const &change) {
    if (change.isOf(Vyr::Task::runAttribute)) {
        handleUnprogrammedGroup();
    }
}

void UmoNatFlowMcastSm::handleUnprogrammedGroup() {
    Mox::enter<"UmoNatFlowMcastSm::handleUnprogrammedGroup">(
        trace, 2, "UmoNatFlowMcastSm::handleUnprogrammedGroup");
    if (!initialized_) {
        return;
    }
    auto const &task = unprogrammedGroupTask_;
    if (!task || !task->taskCurrentlyRunning()) {
        trace.at(9, "Task not running");
        return;
    }
    std::uint64_t checked = 0;
    for (UmoNatFlowMatchSm *matchSm : unprogrammedGroup()) {
        if (!matchSm->matchSmStatus() || !matchSm->retryNatFlowGroups()) {
            break;
        }
        // Programming the actions may have changed the wanted number of groups, and the chip may
        // have refused the new number. Then the match still waits.
        if (!matchSm->waitsForGroups()) {
            unprogrammedGroupDel(matchSm);
        }
        ++checked;
        if (task->taskShouldYield() && !unprogrammedGroup().empty()) {
            trace.at(9, "Yielding. Scheduled unprogrammed group task");
            task->scheduleTask();
            break;
        }
    }
    trace.at(9, "Entries checked: ", checked, ", remaining: ", unprogrammedGroup().size());
    task->taskWorkCountInc(checked);
}

void UmoNatFlowMcastSm::doCleanup() {
    Mox::enter<"UmoNatFlowMcastSm::doCleanup">(trace, 1, "NatFlowMcastSm::doCleanup");
    if (initialized_) {
        policySmDelAll();
        inputs_.hwStatus->natFlowDelAll();
    }
}

void UmoNatFlowMcastSm::childrenDelAll() {
    unprogrammedGroupTaskDel();
    unprogrammedGroupDelAll();
    policySmDelAll();
    topologySm_ = nullptr;
}

Mox::Ptr<UmoNatFlowMcastSm> UmoNatFlowMcastSmIs(UmoNatFlowMcastSm::Inputs const &inputs) {
    return Mox::reactorIs<UmoNatFlowMcastSm>(inputs);
}

Mox::Ptr<UmoNatFlowMcastSm>
umoNatFlowMcastSmFactory(Mox::Ptr<Ip::Nat::Status const> const &status,
                         Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &hwStatus,
                         Mox::Ptr<Bridging::Config const> const &bridgingConfig,
                         Mox::Ptr<Bridging::Status const> const &bridgingStatus,
                         Mox::Ptr<Bridging::VlanStatusDir const> const &vlanStatusDir,
                         Mox::Ptr<Bridging::Topology::Config const> const &brTopo,
                         Mox::Ptr<UmoL3Intf::Table const> const &umoL3IntfTable,
                         Mox::Ptr<Ip::Status const> const &ipStatus,
                         Mox::Ptr<UmoHelper::UmoNatFlowMcastHelper> const &helper) {
    return UmoNatFlowMcastSmIs({.status = status,
                                .hwStatus = hwStatus,
                                .bridgingConfig = bridgingConfig,
                                .bridgingStatus = bridgingStatus,
                                .vlanStatusDir = vlanStatusDir,
                                .brTopo = brTopo,
                                .umoL3IntfTable = umoL3IntfTable,
                                .ipStatus = ipStatus,
                                .helper = helper});
}
