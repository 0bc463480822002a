#include "tests/support/NatSwitch.h"

#include <gtest/gtest.h>

namespace TestSupport {

namespace {

Nexo::IpAndPort addressOf(std::string_view text) {
    return text.empty() ? Nexo::IpAndPort() : Nexo::IpAndPort::parse(text);
}

Ip::Nat::NatFlowEnd endOf(std::string_view text) {
    Nexo::IpAndPort const address = addressOf(text);
    return {address.addr(), address.addr().isZero() ? 0U : 32U, address.port()};
}

} // namespace

NatSwitch::NatSwitch(UmoAgent::ChipCapacity capacity)
    : chip(Mox::make<UmoAgent::SoftSwitch>(
          capacity, [](std::string const &error) { ADD_FAILURE() << error; })) {
    chip->callLogIs([this](std::string const &call) { calls.push_back(call); });
    Vyr::TaskSchedulerRoot::schedulerIs(scheduler);
}

NatSwitch::~NatSwitch() {
    stop();
    EXPECT_EQ(chip->contractErrors(), 0U);
    EXPECT_EQ(chip->groupsInUse(), groupsLeft);
    EXPECT_FALSE(scheduler->nextDue());
    EXPECT_TRUE(hw->natFlow().empty());
    Vyr::TaskSchedulerRoot::schedulerIs(nullptr);
}

void NatSwitch::start() {
    root = umoNatFlowMcastSmFactory(nat, hw, bridgingConfig, bridgingStatus, vlanStatusDir,
                                    topology, l3Table, ipStatus, chip);
}

void NatSwitch::runFor(double seconds) {
    scheduler->runUntil(*clock, clock->now() + Vyr::timeOf(Mox::Seconds(seconds)));
}

Mox::Ptr<Ip::Nat::NatFlowMatchStatus> NatSwitch::match(std::string const &policy,
                                                       std::string const &name,
                                                       std::string_view flowDestination) {
    auto status = nat->natFlowIs(policy)->matchIs(name);
    status->flowIs({status->flow().source, endOf(flowDestination)});
    return status;
}

Mox::Ptr<Ip::Nat::NatFlowActionStatus>
NatSwitch::action(std::string const &policy, std::string const &match, std::string const &name,
                  std::string_view destination, std::string_view source,
                  std::initializer_list<std::pair<std::string_view, std::string_view>> egress) {
    auto status = nat->natFlowIs(policy)->matchIs(match)->actionIs(name);
    status->dstIs(addressOf(destination));
    status->srcIs(addressOf(source));
    status->intfDelAll();
    for (auto const &[intf, mac] : egress) {
        status->intfIs(Nexo::IntfId(intf),
                       {0, mac.empty() ? Nexo::EthAddr() : Nexo::EthAddr::parse(mac)});
    }
    status->versionIs(status->version() + 1);
    return status;
}

void NatSwitch::removeAction(std::string const &policy, std::string const &match,
                             std::string const &name) {
    nat->natFlow(policy)->match(match)->actionDel(name);
}

void NatSwitch::vlan(std::uint16_t number, std::initializer_list<std::string_view> members) {
    Bridging::VlanId const vlanId(number);
    Nexo::IntfId const svi("Vlan" + std::to_string(number));
    auto const topo = Mox::make<Bridging::Topology::TopoConfig>(std::to_string(number));
    for (std::string_view const name : members) {
        Nexo::IntfId const intf(name);
        bridgingConfig->switchIntfConfigIs(intf)->switchportModeAndNativeVlanIs(
            {Bridging::SwitchportMode::trunk, Bridging::VlanIdOrNone(1)});
        vlanStatusDir->vlanStatusIs(vlanId)->vlanPortStatusIs(intf, {});
        topo->topoPortConfigIs(intf)->portStateIs(Bridging::Topology::PortState::forwarding);
    }
    topology->vidToTopoMapIs(vlanId, topo);
    l3Table->intfL3IndexIs(svi, UmoL3Intf::L3Id(number));
    l3Table->routedPortNameIs(UmoL3Intf::L3Id(number), svi);
    auto const ip = ipStatus->ipIntfStatusIs(svi);
    ip->addrWithMaskIs(Nexo::IpAddrWithMask::parse("10.0.0.1/24"));
    ip->routingIs(true);
}

void NatSwitch::portState(std::uint16_t vlan, std::string_view intf,
                          Bridging::Topology::PortState state) {
    auto const *topo = topology->vidToTopoMap(Bridging::VlanId(vlan));
    (*topo)->topoPortConfigIs(Nexo::IntfId(intf))->portStateIs(state);
}

UmoNatFlowMatchSm &NatSwitch::matchSm(std::string const &policy, std::string const &name) {
    return **(*root->policySm().find(policy))->matchSm().find(name);
}

UmoNatFlowActionSm &NatSwitch::actionSm(std::string const &policy, std::string const &match,
                                        std::string const &name) {
    return **matchSm(policy, match).actionSm().find(name);
}

Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus> NatSwitch::hwMatch(std::string const &policy,
                                                           std::string const &name) const {
    auto const hwPolicy = hw->natFlow(policy);
    return hwPolicy ? hwPolicy->match(name) : nullptr;
}

Mox::Ptr<Ip::Nat::HwNatFlowActionStatus> NatSwitch::hwAction(std::string const &policy,
                                                             std::string const &match,
                                                             std::string const &name) const {
    auto const status = hwMatch(policy, match);
    return status ? status->action(name) : nullptr;
}

std::string NatSwitch::groups(std::string const &policy, std::string const &match) {
    UmoNatFlowMatchSm &machine = matchSm(policy, match);
    auto const &hwStatus = *machine.hwMatchStatus();
    return std::to_string(machine.matchSmStatus()->groupNum()) + ":" +
           std::to_string(hwStatus.groupIdUc()) + "/" + std::to_string(hwStatus.groupIdMc()) +
           (root->unprogrammedGroup().contains(&machine) ? "*" : "");
}

} // namespace TestSupport
