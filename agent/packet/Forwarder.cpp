#include "agent/packet/Forwarder.h"

#include "agent/base/Find.h"
#include "agent/packet/GroupMac.h"
#include "agent/packet/VlanRule.h"

#include <optional>
#include <utility>
#include <variant>

namespace UmoAgent {

namespace {

Nexo::EthAddr destinationMac(Packet const &copy, UmoHelper::PortSet const &portSet) {
    auto const destination = copy.address(Side::destination);
    if (destination.isMulticast()) {
        return groupMac(destination);
    }
    return portSet.nextHopMac();
}

bool translate(Packet &copy, UmoHelper::PortSet const &portSet) {
    return (!portSet.source || copy.translate(Side::source, portSet.source->nat)) &&
           (!portSet.destination || copy.translate(Side::destination, portSet.destination->nat));
}

Nexo::IpAndPort endOf(Packet const &packet, Side side) {
    return {packet.address(side), packet.port(side)};
}

} // namespace

Forwarder::Forwarder(SoftSwitch &chip, Mox::Ptr<Ip::Nat::HwNatFlowStatus const> const &tree,
                     Mox::Ptr<Bridging::Config const> bridging)
    : chip_(chip), classifier_(tree), bridging_(std::move(bridging)) {}

void Forwarder::receive(Nexo::IntfId intf, FrameView frame) {
    counters_.received(frame.size());
    auto const settings = bridging_->switchIntfConfig(intf);
    if (!settings) {
        counters_.dropped(DropReason::noInterface, frame.size());
        return;
    }
    auto const parsed = Packet::parse(frame);
    if (auto const *const reason = std::get_if<DropReason>(&parsed)) {
        counters_.dropped(*reason, frame.size());
        return;
    }
    auto const &packet = std::get<Packet>(parsed);
    if (!accepts(settings->switchportModeAndNativeVlan(), packet.tag())) {
        counters_.dropped(DropReason::wrongVlan, frame.size());
        return;
    }
    classify(packet, frame.size(), Pass::first);
}

void Forwarder::classify(Packet const &packet, std::size_t bytes, Pass pass) {
    Rule *const rule = classifier_.find(packet);
    if (rule == nullptr) {
        counters_.dropped(DropReason::noMatch, bytes);
        return;
    }
    rule->traffic.add(bytes);
    if (packet.isFragment() && rule->needsPorts()) {
        counters_.dropped(DropReason::fragment, bytes);
        return;
    }
    auto const &match = rule->match();
    bool const multicast = packet.address(Side::destination).isMulticast();
    std::uint32_t const groupId = multicast ? match.groupIdMc() : match.groupIdUc();
    auto const *const group = findIn(chip_.groups(), groupId);
    if (group == nullptr) {
        counters_.dropped(DropReason::noGroup, bytes);
        return;
    }
    chip_.traffic().addToGroup(groupId, bytes);
    if (packet.ttl() <= 1) {
        counters_.dropped(DropReason::expired, bytes);
        return;
    }
    if (group->portSets.empty()) {
        counters_.dropped(DropReason::noPortSet, bytes);
        return;
    }
    for (auto const &[id, portSet] : group->portSets) {
        replicate(packet, id, portSet, bytes, pass);
    }
}

/// Makes the copies of one port set.
void Forwarder::replicate(Packet const &packet, std::uint32_t portSetId,
                          UmoHelper::PortSet const &portSet, std::size_t bytes, Pass pass) {
    Packet copy = packet;
    copy.decrementTtl();
    if (!translate(copy, portSet)) {
        counters_.dropped(DropReason::fragment, bytes);
        return;
    }
    for (Nexo::IntfId const intf : portSet.interfaces) {
        if (!intf.empty()) {
            if (auto const sent = send(copy, portSet, intf, bytes)) {
                chip_.traffic().addToPortSet(portSetId, *sent);
            }
        } else if (pass == Pass::first) {
            chip_.traffic().addToPortSet(portSetId, bytes);
            classify(copy, bytes, Pass::recirculated);
        } else {
            counters_.dropped(DropReason::recirculatedTwice, bytes);
        }
    }
}

std::optional<std::size_t> Forwarder::send(Packet const &copy, UmoHelper::PortSet const &portSet,
                                           Nexo::IntfId intf, std::size_t bytes) {
    auto const settings = bridging_->switchIntfConfig(intf);
    if (!settings) {
        counters_.dropped(DropReason::noInterface, bytes);
        return std::nullopt;
    }
    std::optional<VlanTag> tag;
    if (leavesTagged(settings->switchportModeAndNativeVlan(), portSet.vlan)) {
        tag = copy.tag().value_or(VlanTag{}); // its priority
        tag->vlan = portSet.vlan;
    }
    FrameBytes const frame =
        copy.frame(destinationMac(copy, portSet), bridging_->bridgeMacAddr(), tag);
    counters_.sent({intf, portSet.vlan, endOf(copy, Side::source), endOf(copy, Side::destination)},
                   frame.size());
    if (transmit_) {
        transmit_(intf, frame);
    }
    return frame.size();
}

} // namespace UmoAgent
