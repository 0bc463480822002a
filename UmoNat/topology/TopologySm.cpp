#include "UmoNat/UmoNatFlowMcastTopologySm.h"

#include "Mox/Enter.h"
#include "Skimtrace/Skimtrace.h"
#include "UmoNat/topology/Backlog.h"
#include "UmoNat/topology/Bridging.h"
#include "UmoNat/topology/Inputs.h"
#include "UmoNat/topology/IpState.h"
#include "UmoNat/topology/PortStates.h"
#include "UmoNat/topology/Recirculation.h"
#include "UmoNat/topology/Trace.h"

Mox::TraceHandle const topologySmTrace("UmoNatFlowMcastTopologySm");

namespace {

Mox::TraceHandle const &trace = topologySmTrace;

/// Makes the wrapper reactor of an input, unless the input is null.
template <class Wrapper, class Followed>
void follow(Mox::Ptr<Wrapper> &wrapper, Mox::Ptr<Followed const> const &input,
            UmoNatFlowMcastTopologySm *owner) {
    if (input) {
        wrapper =
            Mox::reactorIs<Wrapper>(typename Wrapper::Inputs{.followed = input, .owner = owner});
    }
}

template <class Wrapper>
void load(Mox::Ptr<Wrapper> const &wrapper) {
    if (wrapper) {
        wrapper->load();
    }
}

template <class Wrapper>
void activeIs(Mox::Ptr<Wrapper> const &wrapper, bool active) {
    if (wrapper) {
        wrapper->hasNotificationActiveIs(active);
    }
}

} // namespace

UmoNatFlowMcastTopologySm::UmoNatFlowMcastTopologySm(Inputs const &inputs)
    : inputs_(inputs),
      recirculation_(Mox::make<Recirculation>(*this)),
      index_(Mox::make<UmoNatflowActionSmIndex>()),
      backlog_(Mox::make<Backlog>(*this)) {
    follow(moxBridgingConfig_, inputs_.bridgingConfig, this);
    follow(moxVlanStatusDir_, inputs_.vlanStatusDir, this);
    follow(moxBridgingStatus_, inputs_.bridgingStatus, this);
    follow(moxIpStatus_, inputs_.ipStatus, this);
    bridgingTopoSubscription_.follow(inputs_.bridgingTopo);
    umoL3IntfTableSubscription_.follow(inputs_.umoL3IntfTable);
}

UmoNatFlowMcastTopologySm::~UmoNatFlowMcastTopologySm() = default;

void UmoNatFlowMcastTopologySm::handleInitialized() {
    loadInputs();
    Mox::enter<"UmoNatFlowMcastTopologySm::handleInitialized">(
        trace, 1, "UmoNatFlowMcastTopologySm::", "handleInitialized");
    initialized_ = true;
    initializeVidToTopoMap();
    initializeL3Intf();
    createBacklogTask();
}

/// Part of the start, not of the constructor: if it throws, such as std::range_error for an L3 id
/// that is not a VLAN, the machine is destroyed in the usual way.
void UmoNatFlowMcastTopologySm::loadInputs() {
    load(moxBridgingConfig_);
    load(moxVlanStatusDir_);
    load(moxBridgingStatus_);
    load(moxIpStatus_);
}

void UmoNatFlowMcastTopologySm::createBacklogTask() {
    auto const task = Mox::make<Vyr::TimerTask>(Vyr::TaskSchedulerRoot::findOrCreateScheduler(), 4U,
                                                "actionSmUpdateBacklogTask");
    task->hasNotificationActiveIs(true);
    actionSmUpdateBacklogTaskIs(task);
}

void UmoNatFlowMcastTopologySm::hasNotificationActiveIs(bool active) {
    Mox::Reactor::hasNotificationActiveIs(active);
    activeIs(moxBridgingConfig_, active);
    activeIs(moxVlanStatusDir_, active);
    activeIs(moxBridgingStatus_, active);
    activeIs(moxIpStatus_, active);
    switchIntfConfig_.hasNotificationActiveIs(active);
    vlanStatus_.hasNotificationActiveIs(active);
    moxTopoConfig_.hasNotificationActiveIs(active);
    fdbStatus_.hasNotificationActiveIs(active);
    ipIntfStatus_.hasNotificationActiveIs(active);
}

/// The last step of the machine's destruction: it is marked for deletion, its reactors are off, and
/// its subscriptions have ended. The action machines are destroyed already, and have removed
/// themselves from the index and the backlog.
void UmoNatFlowMcastTopologySm::childrenDelAll() {
    actionSmUpdateBacklogTaskDel();
    actionSmUpdateBacklogDelAll();
    index_->clear();
    ipIntfStatusDelAll();
    intfL3IndexDelAll();
    fdbStatusDelAll();
    topoConfigDelAll();
    vlanToTopoMapDelAll();
    vlanStatusDelAll();
    switchIntfConfigDelAll();
    moxIpStatus_ = nullptr;
    moxBridgingStatus_ = nullptr;
    moxVlanStatusDir_ = nullptr;
    moxBridgingConfig_ = nullptr;
}

void UmoNatFlowMcastTopologySm::bridgingTopoDispatch(
    Pelo::ChangeOf<Bridging::Topology::Config> const &change) {
    if (auto const *vlan = change.keyOf(Bridging::Topology::Config::vidToTopoMapAttribute)) {
        handleVidToTopoMap(*vlan);
    }
}

void UmoNatFlowMcastTopologySm::umoL3IntfTableDispatch(
    Pelo::ChangeOf<UmoL3Intf::Table> const &change) {
    if (auto const *intf = change.keyOf(UmoL3Intf::Table::intfL3IndexAttribute)) {
        handleL3Intf(*intf);
    }
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTaskDispatch(
    Pelo::ChangeOf<Vyr::Task> const &change) {
    if (change.isOf(Vyr::Task::runAttribute)) {
        processActionSmUpdateBacklog();
    }
}

// The operations of the parts.

void UmoNatFlowMcastTopologySm::actionSmGone(UmoNatFlowActionSm *actionSm) {
    index_->actionSmGone(actionSm);
    actionSmUpdateBacklogDel(actionSm);
    if (observer_ != nullptr) {
        observer_->actionGone(*actionSm);
    }
}

void UmoNatFlowMcastTopologySm::setNewNatFlowRecircVlan(Nexo::IntfId oldIntf) {
    recirculation_->replace(oldIntf);
}

UmoNatFlowMcastTopologySm::BacklogList const &
UmoNatFlowMcastTopologySm::actionSmUpdateBacklog() const noexcept {
    return backlog_->actionSms();
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogIs(UmoNatFlowActionSm *actionSm) {
    backlog_->actionSmIs(actionSm);
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogDel(UmoNatFlowActionSm *actionSm) {
    backlog_->actionSmDel(actionSm);
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogDelAll() {
    backlog_->actionSmDelAll();
}

Mox::Seconds UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTaskInterval() const noexcept {
    return backlog_->actionSmUpdateBacklogTaskInterval();
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTaskIntervalIs(Mox::Seconds interval) {
    backlog_->actionSmUpdateBacklogTaskIntervalIs(interval);
}

std::uint32_t UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTaskLimit() const noexcept {
    return backlog_->actionSmUpdateBacklogTaskLimit();
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTaskLimitIs(std::uint32_t limit) {
    backlog_->actionSmUpdateBacklogTaskLimitIs(limit);
}

Mox::Ptr<Vyr::TimerTask> const &
UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTask() const noexcept {
    return backlog_->actionSmUpdateBacklogTask();
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTaskIs(Mox::Ptr<Vyr::TimerTask> const &task) {
    if (task == actionSmUpdateBacklogTask()) {
        return;
    }
    actionSmUpdateBacklogTaskSubscription_.follow(task);
    backlog_->actionSmUpdateBacklogTaskIs(task);
    if (task && !markedForDeletion()) {
        processActionSmUpdateBacklog(); // does nothing if the new task is idle
    }
}

void UmoNatFlowMcastTopologySm::processActionSmUpdateBacklog() {
    trace.at(9, "processActionSmUpdateBacklog");
    static constinit Skimtrace::Point entered(
        "UmoNatFlowMcastTopologySm::processActionSmUpdateBacklog waiting %u");
    entered.record({}, static_cast<std::uint32_t>(actionSmUpdateBacklog().size()));
    if (!initialized_) {
        trace.at(9, "UmoNatFlowMcastTopologySm not initialized yet");
        return;
    }
    backlog_->process();
}

// Notification.

void UmoNatFlowMcastTopologySm::notifyActionSmIntf(Nexo::IntfId intf) {
    trace.at(5, "notifyActionSmIntf", ", intf: ", intf);
    queueUsersOf(actionIntf().find(intf), {.kind = UmoNatFlowCause::Kind::interface, .intf = intf});
}

void UmoNatFlowMcastTopologySm::notifyActionSmVlan(std::uint16_t vlan) {
    trace.at(5, "notifyActionSmVlan", ", vlan: ", vlan);
    queueUsersOf(actionVlan().find(vlan), {.kind = UmoNatFlowCause::Kind::vlan, .vlan = vlan});
}

void UmoNatFlowMcastTopologySm::notifyActionSmMac(Nexo::EthAddr const &mac) {
    trace.at(5, "notifyActionSmMac", ", mac: ", mac);
    queueUsersOf(actionMac().find(mac), {.kind = UmoNatFlowCause::Kind::mac, .mac = mac});
}

void UmoNatFlowMcastTopologySm::notifyActionSmRecirc() {
    trace.at(5, "notifyActionSmRecirc");
    backlog_->queue(actionRecirc(), {.kind = UmoNatFlowCause::Kind::recirculation});
}

void UmoNatFlowMcastTopologySm::queueUsersOf(UmoNatflowActionSmEntry const *entry,
                                             UmoNatFlowCause const &cause) {
    if (entry != nullptr) {
        backlog_->queue(entry->actionSm(), cause);
    }
}

// Reading the inputs: a null input has no entries.

Bridging::VlanStatus const *UmoNatFlowMcastTopologySm::vlanStatusOf(std::uint16_t vlan) const {
    Bridging::VlanId const vlanId(vlan);
    return inputs_.vlanStatusDir ? inputs_.vlanStatusDir->vlanStatus().find(vlanId) : nullptr;
}

/// Looks up the reactor: its collection mirrors the configuration.
Bridging::SwitchIntfConfig const *
UmoNatFlowMcastTopologySm::switchIntfConfigOf(Nexo::IntfId intf) const {
    auto const *reactor = switchIntfConfig().find(intf);
    return reactor != nullptr ? (*reactor)->inputs().followed.ptr() : nullptr;
}

Mox::Ptr<Bridging::Topology::TopoConfig const>
UmoNatFlowMcastTopologySm::topologyOf(Bridging::VlanId vlan) const {
    return inputs_.bridgingTopo ? inputs_.bridgingTopo->vidToTopoMap(vlan) : nullptr;
}

UmoL3Intf::L3Id const *UmoNatFlowMcastTopologySm::l3IdOf(Nexo::IntfId intf) const {
    return inputs_.umoL3IntfTable ? inputs_.umoL3IntfTable->intfL3Index(intf) : nullptr;
}

/// The L3 id of a VLAN's interface is the VLAN's number.
Nexo::IntfId const *UmoNatFlowMcastTopologySm::sviOf(std::uint16_t vlan) const {
    return inputs_.umoL3IntfTable ? inputs_.umoL3IntfTable->routedPortName(UmoL3Intf::L3Id(vlan))
                                  : nullptr;
}

Mox::Ptr<Ip::IpIntfStatus const>
UmoNatFlowMcastTopologySm::ipIntfStatusOf(Nexo::IntfId intf) const {
    return inputs_.ipStatus ? inputs_.ipStatus->ipIntfStatus(intf) : nullptr;
}

/// The id of a VLAN's forwarding database is the VLAN's number.
Bridging::LearnedHost const *UmoNatFlowMcastTopologySm::hostOf(std::uint16_t vlan,
                                                               Nexo::EthAddr const &mac) const {
    auto const fdb =
        inputs_.bridgingStatus ? inputs_.bridgingStatus->fdbStatus(Bridging::Fid(vlan)) : nullptr;
    return fdb ? fdb->learnedHost(mac) : nullptr;
}

Mox::Ptr<UmoNatFlowMcastTopologySm>
UmoNatFlowMcastTopologySmIs(Mox::Ptr<Bridging::Config const> const &bridgingConfig,
                            Mox::Ptr<Bridging::VlanStatusDir const> const &vlanStatusDir,
                            Mox::Ptr<Bridging::Topology::Config const> const &bridgingTopo,
                            Mox::Ptr<Bridging::Status const> const &bridgingStatus,
                            Mox::Ptr<UmoL3Intf::Table const> const &umoL3IntfTable,
                            Mox::Ptr<Ip::Status const> const &ipStatus) {
    return Mox::reactorIs<UmoNatFlowMcastTopologySm>(
        UmoNatFlowMcastTopologySm::Inputs{.bridgingConfig = bridgingConfig,
                                          .vlanStatusDir = vlanStatusDir,
                                          .bridgingTopo = bridgingTopo,
                                          .bridgingStatus = bridgingStatus,
                                          .umoL3IntfTable = umoL3IntfTable,
                                          .ipStatus = ipStatus});
}

Mox::Ptr<UmoNatFlowMcastTopologySm>
umoNatFlowMcastTopologySmFactory(Mox::Ptr<Bridging::Config const> const &bridgingConfig,
                                 Mox::Ptr<Bridging::VlanStatusDir const> const &vlanStatusDir,
                                 Mox::Ptr<Bridging::Topology::Config const> const &bridgingTopo,
                                 Mox::Ptr<Bridging::Status const> const &bridgingStatus,
                                 Mox::Ptr<UmoL3Intf::Table const> const &umoL3IntfTable,
                                 Mox::Ptr<Ip::Status const> const &ipStatus) {
    return UmoNatFlowMcastTopologySmIs(bridgingConfig, vlanStatusDir, bridgingTopo, bridgingStatus,
                                       umoL3IntfTable, ipStatus);
}
