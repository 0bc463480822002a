#include "UmoNat/UmoNatFlowActionSm.h"

#include "Base/Assert.h"
#include "UmoNat/action/GroupUse.h"
#include "UmoNat/action/Trace.h"

namespace {

Mox::TraceHandle const &trace = actionSmTrace;

Nexo::IpAndPort addressOf(Ip::Nat::NatFlowEnd const &end) {
    return {end.addr, end.port};
}

/// Whether the translation programmed for one side of the flow is still the wanted one. A new port
/// alone, with the same translated address, is not a change.
bool unchanged(Nexo::IpAndPort const &flow, std::uint32_t length, Nexo::IpAndPort const &nat,
               Ip::Nat::NatFlowEnd const &wantedFlow, Nexo::IpAndPort const &wantedNat) {
    return flow == addressOf(wantedFlow) && length == wantedFlow.prefixLength &&
           nat.addr() == wantedNat.addr();
}

} // namespace

bool UmoNatFlowActionSm::srcUnchanged() const noexcept {
    return unchanged(hwActionStatus_->srcFlow(), hwActionStatus_->srcLen(),
                     hwActionStatus_->srcNat(), ofMatch().hwMatchStatus->flow().source, src());
}

bool UmoNatFlowActionSm::dstUnchanged() const noexcept {
    return unchanged(hwActionStatus_->dstFlow(), hwActionStatus_->dstLen(),
                     hwActionStatus_->dstNat(), ofMatch().hwMatchStatus->flow().destination, dst());
}

void UmoNatFlowActionSm::updateHwTranslation() {
    auto const &flow = ofMatch().hwMatchStatus->flow();
    trace.at(2, ActionSmEntry{"updateHwTranslation", *this}, ", flow: ", flow, ", src: ", src(),
             ", dst: ", dst(), ", ft: ", recordedFlowType());
    if (!programmable()) {
        return;
    }
    NatFlowGroupUses const uses = groupUses();
    for (NatFlowGroupUse const &use : uses) {
        if (use.group == 0) {
            return; // a later pass programs it, when the match has its groups
        }
    }
    if (!srcUnchanged()) {
        for (NatFlowGroupUse const &use : uses) {
            updateHwTranslationSrc(use.group, use.unicast, use.portSetId2);
        }
        hwActionStatus_->srcFlowIs(addressOf(flow.source));
        hwActionStatus_->srcLenIs(flow.source.prefixLength);
        hwActionStatus_->srcNatIs(src());
    }
    if (!dstUnchanged()) {
        for (NatFlowGroupUse const &use : uses) {
            updateHwTranslationDst(use.group, use.unicast, use.portSetId2);
        }
        hwActionStatus_->dstFlowIs(addressOf(flow.destination));
        hwActionStatus_->dstLenIs(flow.destination.prefixLength);
        hwActionStatus_->dstNatIs(dst());
    }
}

/// Calls `work` with each recorded port set that the group carries and its identifier there. Traces
/// each port set first.
template <class Work>
void UmoNatFlowActionSm::forEachProgrammed(NatFlowGroupUse const &use, char const *verb,
                                           char const *side, Work const &work) const {
    for (auto const &[vlan, portSet] : use.portSets(*hwActionStatus_->vlanPortSets())) {
        std::uint32_t const psId = use.identifier(*portSet);
        Base::assertThat(psId != 0, "psId");
        trace.at(2, verb, ' ', use.kind(), ' ', side, " translation, group: ", use.group,
                 ", vlan: ", vlan, ", portSetId: ", psId);
        work(*portSet, psId);
    }
}

NatFlowGroupUse UmoNatFlowActionSm::translatedGroup(char const *function, std::uint32_t group,
                                                    bool unicast, bool portSetId2) const {
    trace.at(2, "UmoNatFlowActionSm::", function, ", group: ", group, ", unicast: ", unicast,
             ", portSetId2: ", portSetId2);
    assertProgrammable();
    Base::assertThat(group != 0, "group");
    Base::assertThat(bool(hwActionStatus_->vlanPortSets()), "vps");
    return {group, unicast, portSetId2};
}

void UmoNatFlowActionSm::updateHwTranslationSrc(std::uint32_t group, bool unicast,
                                                bool portSetId2) {
    NatFlowGroupUse const use =
        translatedGroup("updateHwTranslationSrc", group, unicast, portSetId2);
    Nexo::IpAndPort const wanted = src();
    auto const &flow = ofMatch().hwMatchStatus->flow().source;
    auto &helper = *ofMatch().helper;
    if (!wanted.addr().isZero()) {
        forEachProgrammed(use, "Update", "src", [&](auto const &portSet, std::uint32_t id) {
            helper.updateNatFlowSrcTranslation(group, id, portSet.vlan(), wanted, addressOf(flow),
                                               flow.prefixLength);
        });
    } else if (!hwActionStatus_->srcNat().addr().isZero()) {
        forEachProgrammed(use, "Delete", "src", [&](auto const &, std::uint32_t id) {
            helper.deleteNatFlowSrcTranslation(group, id);
        });
    }
}

void UmoNatFlowActionSm::updateHwTranslationDst(std::uint32_t group, bool unicast,
                                                bool portSetId2) {
    NatFlowGroupUse const use =
        translatedGroup("updateHwTranslationDst", group, unicast, portSetId2);
    Nexo::IpAndPort const wanted = dst();
    auto const &flow = ofMatch().hwMatchStatus->flow().destination;
    auto &helper = *ofMatch().helper;
    // For unicast the translation also carries the port set's MAC. So it is not deleted here, but
    // programmed without a translated address.
    if (unicast || !wanted.addr().isZero()) {
        forEachProgrammed(use, "Update", "dst", [&](auto const &portSet, std::uint32_t id) {
            helper.updateNatFlowDstTranslation(group, id, portSet.vlan(), wanted, addressOf(flow),
                                               flow.prefixLength, portSet.dmac());
        });
    } else if (!hwActionStatus_->dstNat().addr().isZero()) {
        forEachProgrammed(use, "Delete", "dst", [&](auto const &, std::uint32_t id) {
            helper.deleteNatFlowDstTranslation(group, id);
        });
    }
}
