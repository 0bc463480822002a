#include "UmoNat/UmoNatFlowActionSm.h"

#include "Mox/Assert.h"
#include "Skimtrace/Skimtrace.h"
#include "UmoNat/HwNatFlowActionRecord.h"
#include "UmoNat/NatFlowGroupCount.h"
#include "UmoNat/UmoNatFlowActionSmTrace.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "UmoNat/UmoNatflowActionSmIndex.h"

#include <ostream>

Mox::TraceHandle const actionSmTrace("UmoNatFlowActionSm");

namespace {
Mox::TraceHandle const &trace = actionSmTrace;
} // namespace

std::ostream &operator<<(std::ostream &out, UmoNatFlowActionSm::EntryMessage const &message) {
    UmoNatFlowActionSm const &machine = message.machine;
    return out << "UmoNatFlowActionSm::" << message.function << ", policy: " << machine.policy()
               << ", match: " << machine.match() << ", action: " << machine.action();
}

UmoNatFlowActionSm::EntryMessage UmoNatFlowActionSm::entry(char const *function) const {
    return {function, *this};
}

UmoNatFlowActionSm::UmoNatFlowActionSm(Inputs const &inputs) : inputs_(inputs) {
    actionStatusSubscription_.follow(inputs_.actionStatus);
}

UmoNatFlowActionSm::~UmoNatFlowActionSm() {
    // Entries that somebody holds outside the index; the topology has seen to those in it.
    for (UmoNatflowActionSmEntry *const entry : indexEntries_) {
        entry->actionSmDel(this);
    }
}

Pelo::String const &UmoNatFlowActionSm::action() const noexcept {
    static Pelo::String const none;
    return inputs_.actionStatus ? inputs_.actionStatus->name() : none;
}

std::uint32_t UmoNatFlowActionSm::version() const noexcept {
    return inputs_.actionStatus ? inputs_.actionStatus->version() : 0;
}

Nexo::IpAndPort UmoNatFlowActionSm::src() const noexcept {
    return inputs_.actionStatus ? inputs_.actionStatus->src() : Nexo::IpAndPort();
}

Nexo::IpAndPort UmoNatFlowActionSm::dst() const noexcept {
    return inputs_.actionStatus ? inputs_.actionStatus->dst() : Nexo::IpAndPort();
}

void UmoNatFlowActionSm::handleInitialized() {
    trace.at(1, entry("handleInitialized"));
    static constinit Skimtrace::Point entered(
        "UmoNatFlowActionSm::handleInitialized policy %s match %s action %s");
    entered.record({policy(), match(), action()});
    initialized_ = true;
    hwActionStatus_ = inputs_.hwMatchStatus->actionIs(action());
    handleNatFlowAction(false);
}

void UmoNatFlowActionSm::actionStatusDispatch(Pelo::Change const &change) {
    if (change.isOf(Ip::Nat::NatFlowActionStatus::versionAttribute)) {
        handleNatFlowAction(false);
    }
}

Ip::Nat::NatFlowType UmoNatFlowActionSm::getFlowType() const {
    Nexo::IpAddr destination = dst().addr();
    if (destination.isZero()) {
        destination = inputs_.hwMatchStatus->flow().destination.addr;
    }
    Ip::Nat::NatFlowType const type = destination.isZero()        ? Ip::Nat::natFlowTypeNone
                                      : destination.isMulticast() ? Ip::Nat::natFlowTypeMulticast
                                                                  : Ip::Nat::natFlowTypeUnicast;
    trace.at(2, "Flow type: ", type, " (dip: ", destination, ")");
    return type;
}

std::uint32_t UmoNatFlowActionSm::getGroupNum() const {
    return needsTwoGroups(inputs_.hwMatchStatus->flow(), *inputs_.matchStatus) ? 2 : 1;
}

NatFlowGroupUses UmoNatFlowActionSm::groupUses() const noexcept {
    return {*inputs_.hwMatchStatus, inputs_.matchSmStatus->groupNum(), hwActionStatus_->flowType()};
}

void UmoNatFlowActionSm::handleNatFlowAction(bool skipChecks) {
    trace.at(2, entry("handleNatFlowAction"), ", version: ", version(),
             ", skipChecks: ", skipChecks);
    static constinit Skimtrace::Point entered(
        "UmoNatFlowActionSm::handleNatFlowAction policy %s match %s action %s version %u");
    entered.record({policy(), match(), action()}, version());
    if (!complete()) {
        trace.at(2, "Version not initialized yet, skip update");
        return;
    }
    auto &matchSmStatus = *inputs_.matchSmStatus;
    if (matchSmStatus.groupNum() == 0) {
        trace.at(2, "Group not initialized yet, skip update");
        return;
    }
    if (!skipChecks) {
        std::uint32_t const groupNum = getGroupNum();
        if (groupNum != matchSmStatus.groupNum()) {
            trace.at(2, "Change in the group number, old: ", matchSmStatus.groupNum(),
                     ", new: ", groupNum);
            matchSmStatus.groupNumUpdateIs(matchSmStatus.groupNumUpdate() + 1);
            return;
        }
        Ip::Nat::NatFlowType const type = getFlowType();
        if (type != hwActionStatus_->flowType()) {
            flowTypeIs(type);
        }
    }
    auto const vps = Ip::Nat::natFlowVlanPortSetsFactory();
    Mox::assertThat(bool(vps), "vps");
    // The port sets are compared with those still recorded, and the translations are attached
    // to the identifiers just recorded: hence the order.
    updateSwPortSet(vps);
    updateHwPortSet(vps);
    hwActionStatus_->vlanPortSetsIs(vps);
    updateHwTranslation();
}

void UmoNatFlowActionSm::flowTypeIs(Ip::Nat::NatFlowType type) {
    resetHwGroups(); // by the old type's rule
    hwActionStatus_->flowTypeIs(type);
}

void UmoNatFlowActionSm::handleNatFlow() {
    trace.at(2, entry("handleNatFlow"));
    static constinit Skimtrace::Point entered(
        "UmoNatFlowActionSm::handleNatFlow policy %s match %s action %s");
    entered.record({policy(), match(), action()});
    if (!complete()) {
        return;
    }
    Ip::Nat::NatFlowType const type = getFlowType();
    if (type == hwActionStatus_->flowType()) {
        updateHwTranslation();
        return;
    }
    flowTypeIs(type);
    handleNatFlowAction(false);
}

void UmoNatFlowActionSm::handleGroupNum(std::uint32_t num) {
    trace.at(2, entry("handleGroupNum"), ", num: ", num);
    if (complete()) {
        resetHwGroups();
    }
}

void UmoNatFlowActionSm::resetHwGroups() {
    trace.at(2, entry("resetHwGroups"), ", ft: ", recordedFlowType());
    if (!complete()) {
        return;
    }
    for (NatFlowGroupUse const &use : groupUses()) {
        resetHwGroup(use.group, use.unicast, use.portSetId2);
    }
    clearHwNatFlowAction(*hwActionStatus_);
}

void UmoNatFlowActionSm::resetHwGroup(std::uint32_t group, bool unicast, bool portSetId2) {
    trace.at(2, "UmoNatFlowActionSm::", "resetHwGroup", ", group: ", group, ", unicast: ", unicast,
             ", portSetId2: ", portSetId2);
    Mox::assertThat(complete(), "initialized() && actionStatus()->version()");
    if (group == 0 || !hwActionStatus_->vlanPortSets()) {
        return;
    }
    NatFlowGroupUse const use{group, unicast, portSetId2};
    for (auto const &[vlan, portSet] : use.portSets(*hwActionStatus_->vlanPortSets())) {
        if (std::uint32_t const id = use.identifier(*portSet); id != 0) {
            trace.at(2, "Delete ", use.kind(), " portSet, group: ", group, ", portSetId: ", id);
            deletePortSet(use, id);
        }
    }
}

void UmoNatFlowActionSm::doCleanup() {
    trace.at(2, entry("doCleanup"), ", version: ", version());
    static constinit Skimtrace::Point entered(
        "UmoNatFlowActionSm::doCleanup policy %s match %s action %s version %u");
    entered.record({policy(), match(), action()}, version());
    if (complete()) {
        inputs_.topologySm->delActionSm(this);
        if (inputs_.matchSmStatus->groupNum() != 0) {
            resetHwGroups();
        }
        inputs_.hwMatchStatus->actionDel(action());
    }
}

void UmoNatFlowActionSm::childrenDelAll() {
    // The index and the backlog refer to the machine without holding it, and an incomplete
    // action has not withdrawn.
    inputs_.topologySm->actionSmGone(this);
}

Mox::Ptr<UmoNatFlowActionSm> UmoNatFlowActionSmIs(UmoNatFlowActionSm::Inputs const &inputs) {
    return Mox::reactorIs<UmoNatFlowActionSm>(inputs);
}
