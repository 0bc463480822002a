#include "UmoNat/UmoNatFlowMcastTopologySm.h"

#include "Skimtrace/Skimtrace.h"
#include "UmoNat/UmoNatFlowMcastTopologySmBridging.h"
#include "UmoNat/UmoNatFlowMcastTopologySmInputs.h"
#include "UmoNat/UmoNatFlowMcastTopologySmL3.h"
#include "UmoNat/UmoNatFlowMcastTopologySmMapping.h"

Mox::TraceHandle const UmoNatFlowMcastTopologySm::trace_("UmoNatFlowMcastTopologySm");

namespace {

/// Makes the wrapper reactor of an input that is there.
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

UmoNatFlowMcastTopologySm::UmoNatFlowMcastTopologySm(Inputs const &inputs) : inputs_(inputs) {
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
    trace_.at(1, "UmoNatFlowMcastTopologySm::", "handleInitialized");
    static constinit Skimtrace::Point entered("UmoNatFlowMcastTopologySm::handleInitialized");
    entered.record();
    initialized_ = true;
    initializeVidToTopoMap();
    initializeL3Intf();
    createBacklogTask();
}

/// Belongs to construction, but is done here: what it throws, such as the range error of an L3
/// id that is no VLAN, then leaves by the machine's ordinary end.
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

/// The last of the machine's end. Before this it was marked for deletion, all its reactors were
/// switched off, and it left the two inputs that it follows itself, and its task. The action
/// machines have gone already; the index refers to them without holding them, so that none is
/// touched here.
void UmoNatFlowMcastTopologySm::childrenDelAll() {
    actionSmUpdateBacklogTaskDel();
    actionSmUpdateBacklogDelAll();
    actionRecircDelAll();
    actionMacDelAll();
    actionVlanDelAll();
    actionIntfDelAll();
    spareEntries_.clear();
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

void UmoNatFlowMcastTopologySm::bridgingTopoDispatch(Pelo::Change const &change) {
    if (auto const *vlan = change.keyOf(Bridging::Topology::Config::vidToTopoMapAttribute)) {
        handleVidToTopoMap(*vlan);
    }
}

void UmoNatFlowMcastTopologySm::umoL3IntfTableDispatch(Pelo::Change const &change) {
    if (auto const *intf = change.keyOf(UmoL3Intf::Table::intfL3IndexAttribute)) {
        handleL3Intf(*intf);
    }
}

void UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTaskDispatch(Pelo::Change const &change) {
    if (change.isOf(Vyr::Task::runAttribute)) {
        processActionSmUpdateBacklog();
    }
}

// How the inputs are read: one that is missing has no entries.

Bridging::VlanStatus const *UmoNatFlowMcastTopologySm::vlanStatusOf(std::uint16_t vlan) const {
    Bridging::VlanId const vlanId(vlan);
    auto const *status =
        inputs_.vlanStatusDir ? inputs_.vlanStatusDir->vlanStatus().find(vlanId) : nullptr;
    return status != nullptr ? status->ptr() : nullptr;
}

/// Goes by the reactor, whose collection mirrors the configuration.
Bridging::SwitchIntfConfig const *
UmoNatFlowMcastTopologySm::switchIntfConfigOf(Nexo::IntfId intf) const {
    auto const *reactor = switchIntfConfig().find(intf);
    return reactor != nullptr ? (*reactor)->inputs().followed.ptr() : nullptr;
}

Mox::Ptr<Bridging::Topology::TopoConfig const>
UmoNatFlowMcastTopologySm::topologyOf(Bridging::VlanId vlan) const {
    auto const *topology =
        inputs_.bridgingTopo ? inputs_.bridgingTopo->vidToTopoMap(vlan) : nullptr;
    return topology != nullptr ? *topology : nullptr;
}

UmoL3Intf::L3Id const *UmoNatFlowMcastTopologySm::l3IdOf(Nexo::IntfId intf) const {
    return inputs_.umoL3IntfTable ? inputs_.umoL3IntfTable->intfL3Index(intf) : nullptr;
}

/// The L3 id of a VLAN's interface has the number of the VLAN.
Nexo::IntfId const *UmoNatFlowMcastTopologySm::sviOf(std::uint16_t vlan) const {
    return inputs_.umoL3IntfTable ? inputs_.umoL3IntfTable->routedPortName(UmoL3Intf::L3Id(vlan))
                                  : nullptr;
}

Mox::Ptr<Ip::IpIntfStatus const>
UmoNatFlowMcastTopologySm::ipIntfStatusOf(Nexo::IntfId intf) const {
    return inputs_.ipStatus ? inputs_.ipStatus->ipIntfStatus(intf) : nullptr;
}

/// The forwarding database of a VLAN has the number of the VLAN.
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
