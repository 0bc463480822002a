#include "UmoNat/UmoNatFlowActionSm.h"

#include "Base/Assert.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "UmoNat/action/GroupCount.h"
#include "UmoNat/action/GroupUse.h"
#include "UmoNat/action/HwRecord.h"
#include "UmoNat/action/Trace.h"

#include <ostream>

Mox::TraceHandle const actionSmTrace("UmoNatFlowActionSm");

namespace {

Mox::TraceHandle const &trace = actionSmTrace;

/// Tells an observer that an evaluation begins, and at its own end that it has ended.
class Observed {
  public:
    Observed(UmoNatFlowActionSm const &machine, UmoNatFlowCause::Kind cause)
        : machine_(machine),
          observer_(machine.ofMatch().topologySm != nullptr
                        ? machine.ofMatch().topologySm->observer()
                        : nullptr) {
        if (observer_ != nullptr) {
            observer_->evaluationBegins(machine_, cause);
        }
    }
    ~Observed() {
        if (observer_ != nullptr) {
            observer_->evaluationEnds(machine_);
        }
    }
    Observed(Observed const &) = delete;
    Observed &operator=(Observed const &) = delete;

  private:
    UmoNatFlowActionSm const &machine_;
    UmoNatFlowObserver *observer_;
};

} // namespace

std::ostream &operator<<(std::ostream &out, ActionSmEntry const &entry) {
    UmoNatFlowActionSm const &machine = entry.machine;
    return out << "UmoNatFlowActionSm::" << entry.function << ", policy: " << machine.policy()
               << ", match: " << machine.match() << ", action: " << machine.action();
}

UmoNatFlowActionSm::UmoNatFlowActionSm(Inputs const &inputs)
    : inputs_(inputs), destinationNamed_(!dst().addr().isZero()) {
    actionStatusSubscription_.follow(inputs_.actionStatus);
}

UmoNatFlowActionSm::~UmoNatFlowActionSm() {
    // Only entries held outside the index are left; the topology machine removed the others.
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

void UmoNatFlowActionSm::assertProgrammable() const {
    Base::assertThat(complete(), "initialized() && actionStatus()->version()");
    Base::assertThat(bool(hwActionStatus_), "hwActionStatus()");
}

void UmoNatFlowActionSm::handleInitialized() {
    enterActionSm<"handleInitialized">(*this, 1);
    initialized_ = true;
    hwActionStatus_ = ofMatch().hwMatchStatus->actionIs(action());
    evaluate(UmoNatFlowCause::Kind::start);
}

void UmoNatFlowActionSm::actionStatusDispatch(
    Pelo::ChangeOf<Ip::Nat::NatFlowActionStatus> const &change) {
    if (change.isOf(Ip::Nat::NatFlowActionStatus::versionAttribute)) {
        evaluate(UmoNatFlowCause::Kind::version);
    } else if (change.isOf(Ip::Nat::NatFlowActionStatus::dstAttribute)) {
        followDestination();
    }
}

/// For the match's count of them. Somebody may hold a machine whose action is gone.
void UmoNatFlowActionSm::followDestination() {
    bool const named = !dst().addr().isZero();
    if (named != destinationNamed_) {
        destinationNamed_ = named;
        if (ofMatch().matchStatus->action(action()) == inputs_.actionStatus) {
            ofMatch().matchSmStatus->missingDestinations_.changed(named);
        }
    }
}

void UmoNatFlowActionSm::hasNotificationActiveIs(bool active) {
    Mox::Reactor::hasNotificationActiveIs(active);
    if (!active && !markedForDeletion()) {
        ofMatch().matchSmStatus->missingDestinations_.blind();
    }
}

void UmoNatFlowActionSm::evaluate(UmoNatFlowCause::Kind cause) {
    Observed const observed(*this, cause);
    handleNatFlowAction(false);
}

Ip::Nat::NatFlowType UmoNatFlowActionSm::getFlowType() const {
    Nexo::IpAddr destination = dst().addr();
    if (destination.isZero()) {
        destination = ofMatch().hwMatchStatus->flow().destination.addr;
    }
    Ip::Nat::NatFlowType const type = destination.isZero()        ? Ip::Nat::natFlowTypeNone
                                      : destination.isMulticast() ? Ip::Nat::natFlowTypeMulticast
                                                                  : Ip::Nat::natFlowTypeUnicast;
    trace.at(2, "Flow type: ", type, " (dip: ", destination, ")");
    return type;
}

std::uint32_t UmoNatFlowActionSm::getGroupNum() {
    followDestination(); // the news of it may still be to come
    bool const two = needsTwoGroups(ofMatch().hwMatchStatus->flow(), *ofMatch().matchStatus,
                                    ofMatch().matchSmStatus->missingDestinations_);
    return two ? 2 : 1;
}

NatFlowGroupUses UmoNatFlowActionSm::groupUses() const noexcept {
    return {*ofMatch().hwMatchStatus, ofMatch().matchSmStatus->groupNum(),
            hwActionStatus_->flowType()};
}

void UmoNatFlowActionSm::handleNatFlowAction(bool skipChecks) {
    enterActionSm<"handleNatFlowAction", " version %u">(*this, 2, ", version: ", version(),
                                                        ", skipChecks: ", skipChecks);
    if (!complete()) {
        trace.at(2, "Version not initialized yet, skip update");
        return;
    }
    if (!hwActionStatus_) {
        trace.at(2, "No hardware status, skip update");
        return;
    }
    auto &matchSmStatus = *ofMatch().matchSmStatus;
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
    Base::assertThat(bool(vps), "vps");
    // The order matters: port sets are compared with those still recorded, and translations use the
    // identifiers just recorded.
    updateSwPortSet(vps);
    updateHwPortSet(vps);
    hwActionStatus_->vlanPortSetsIs(vps);
    updateHwTranslation();
}

void UmoNatFlowActionSm::flowTypeIs(Ip::Nat::NatFlowType type) {
    resetHwGroups(); // still uses the old type
    hwActionStatus_->flowTypeIs(type);
}

void UmoNatFlowActionSm::handleNatFlow() {
    enterActionSm<"handleNatFlow">(*this, 2);
    Observed const observed(*this, UmoNatFlowCause::Kind::flow);
    if (!programmable()) {
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
    enterActionSm<"handleGroupNum", " num %u">(*this, 2, ", num: ", num);
    if (programmable()) {
        resetHwGroups();
    }
}

void UmoNatFlowActionSm::resetHwGroups() {
    trace.at(2, ActionSmEntry{"resetHwGroups", *this}, ", ft: ", recordedFlowType());
    if (!programmable()) {
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
    assertProgrammable();
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
    enterActionSm<"doCleanup", " version %u">(*this, 2, ", version: ", version());
    if (programmable()) {
        ofMatch().topologySm->delActionSm(this);
        if (ofMatch().matchSmStatus->groupNum() != 0) {
            resetHwGroups();
        }
        ofMatch().hwMatchStatus->actionDel(action());
    }
}

void UmoNatFlowActionSm::childrenDelAll() {
    // The index and the backlog have plain pointers to the machine, and the cleanup of an
    // incomplete action does not withdraw it.
    ofMatch().topologySm->actionSmGone(this);
}

Mox::Ptr<UmoNatFlowActionSm> UmoNatFlowActionSmIs(UmoNatFlowActionSm::Inputs const &inputs) {
    return Mox::reactorIs<UmoNatFlowActionSm>(inputs);
}
