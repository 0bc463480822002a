#include "BenchSwitch.h"

#include <string>

namespace Bench {

namespace {

constexpr unsigned kPorts = 64;
constexpr unsigned kVlans = 50;
constexpr unsigned kMembers = 8; // of a VLAN
constexpr std::uint16_t kFirstVlan = 100;
constexpr std::uint16_t kFlapVlan = 4000;
constexpr char kFlapPolicy[] = "flap";
constexpr unsigned kFlapPort = kPorts; // numbered from 0, as all ports here

Nexo::IntfId port(std::size_t number) {
    return Nexo::IntfId("Ethernet" + std::to_string(number + 1));
}

Nexo::IntfId memberOf(std::size_t vlan, std::size_t member) {
    return port((vlan * kMembers + member) % kPorts);
}

Nexo::EthAddr hostMac(std::size_t number) {
    return Nexo::EthAddr(0x020000000000U + number);
}

Nexo::IpAndPort address(std::uint32_t net, std::size_t number) {
    return {Nexo::IpAddr(net + static_cast<std::uint32_t>(number)), 5000};
}

Pelo::String matchName(std::size_t number) {
    return "match-" + std::to_string(number);
}

Pelo::String actionName(std::size_t number) {
    return "action-" + std::to_string(number);
}

} // namespace

BenchSwitch::BenchSwitch(std::size_t actions, Kind kind) : actions_(actions), kind_(kind) {
    bridgingConfig_->bridgeMacAddrIs(Nexo::EthAddr(0x020000ffff00U));
    for (unsigned vlan = 0; vlan < kVlans; ++vlan) {
        std::vector<Nexo::IntfId> members;
        for (unsigned member = 0; member < (kind == Kind::mixed ? kMembers : 4); ++member) {
            members.push_back(memberOf(vlan, member));
        }
        vlanIs(static_cast<std::uint16_t>(kFirstVlan + vlan), members);
    }
    matchesAre("bench", actions);
    if (kind == Kind::mixed) {
        vlanIs(kFlapVlan, {port(kFlapPort)});
        matchesAre(kFlapPolicy, kFlapActions);
    }
}

BenchSwitch::~BenchSwitch() {
    stop();
    Vyr::TaskSchedulerRoot::schedulerIs(nullptr);
}

void BenchSwitch::start(Helper const &helper) {
    Vyr::TaskSchedulerRoot::schedulerIs(scheduler);
    root = umoNatFlowMcastSmFactory(nat_, hw, bridgingConfig_, bridgingStatus_, vlanStatusDir_,
                                    topology_, l3Table_, ipStatus_, helper);
}

void BenchSwitch::vlanIs(std::uint16_t number, std::vector<Nexo::IntfId> const &members) {
    Bridging::VlanId const vlan(number);
    Nexo::IntfId const svi("Vlan" + std::to_string(number));
    auto const topology = Mox::make<Bridging::Topology::TopoConfig>(std::to_string(number));
    auto const status = vlanStatusDir_->vlanStatusIs(vlan);
    for (Nexo::IntfId const intf : members) {
        bridgingConfig_->switchIntfConfigIs(intf)->switchportModeAndNativeVlanIs(
            {Bridging::SwitchportMode::trunk, Bridging::VlanIdOrNone(1)});
        status->vlanPortStatusIs(intf, {});
        topology->topoPortConfigIs(intf)->portStateIs(Bridging::Topology::PortState::forwarding);
    }
    topology_->vidToTopoMapIs(vlan, topology);
    l3Table_->intfL3IndexIs(svi, UmoL3Intf::L3Id(number));
    l3Table_->routedPortNameIs(UmoL3Intf::L3Id(number), svi);
    auto const ip = ipStatus_->ipIntfStatusIs(svi);
    ip->addrWithMaskIs(Nexo::IpAddrWithMask::parse("10.0.0.1/24"));
    ip->routingIs(true);
}

void BenchSwitch::matchesAre(Pelo::String const &policy, std::size_t actions) {
    auto const natFlow = nat_->natFlowIs(policy);
    for (std::size_t number = 0; number < actions; ++number) {
        std::size_t const matchNumber = number / kActionsPerMatch;
        auto const match = natFlow->matchIs(matchName(matchNumber));
        if (number % kActionsPerMatch == 0) {
            auto const group = address(0xef000001U, matchNumber); // 239.0.0.1 and on
            match->flowIs({{}, {group.addr(), 32, group.port()}});
        }
        fill(*match->actionIs(actionName(number)), number, policy == kFlapPolicy);
    }
}

void BenchSwitch::fill(Ip::Nat::NatFlowActionStatus &action, std::size_t number, bool flaps) {
    std::size_t const vlan = number % kVlans;
    std::size_t const member = number / kVlans % kMembers;
    auto const vlanNumber = static_cast<std::uint16_t>(kFirstVlan + vlan);
    Nexo::EthAddr const mac = hostMac(number);
    action.srcIs(address(0x0a000001U, number)); // 10.0.0.1 and on
    bool const flooded = kind_ == Kind::floodedVlans;
    if (!flooded && number / 2 % 2 == 0) {
        action.dstIs(address(0x0b000001U, number)); // a host: copies are unicast
    }
    if (flaps) {
        action.intfIs(port(kFlapPort), {kFlapVlan, mac});
    } else if (flooded || number % 2 == 0) {
        bridgingStatus_->fdbStatusIs(Bridging::Fid(vlanNumber))
            ->learnedHostIs(mac, {memberOf(vlan, member)});
        action.intfIs(Nexo::IntfId("Vlan" + std::to_string(vlanNumber)), {0, mac});
    } else {
        action.intfIs(memberOf(vlan, member), {vlanNumber, mac});
    }
    action.versionIs(1);
}

std::vector<Mox::Ptr<Ip::Nat::NatFlowActionStatus>>
BenchSwitch::actionsOfMatch(std::size_t match) const {
    std::vector<Mox::Ptr<Ip::Nat::NatFlowActionStatus>> found;
    for (auto const &[name, action] : nat_->natFlow("bench")->match(matchName(match))->action()) {
        found.push_back(action);
    }
    return found;
}

std::vector<UmoNatFlowActionSm *> BenchSwitch::machinesOfMatch(std::size_t match) const {
    std::vector<UmoNatFlowActionSm *> found;
    auto const &matches = (*root->policySm().find("bench"))->matchSm();
    for (auto const &[name, machine] : (*matches.find(matchName(match)))->actionSm()) {
        found.push_back(machine.ptr());
    }
    return found;
}

void BenchSwitch::flapPortIs(bool forwarding) {
    using Bridging::Topology::PortState;
    auto const &topology = *topology_->vidToTopoMap(Bridging::VlanId(kFlapVlan));
    topology->topoPortConfigIs(port(kFlapPort))
        ->portStateIs(forwarding ? PortState::forwarding : PortState::blocking);
    while (auto const due = scheduler->nextDue()) {
        scheduler->runUntil(*clock, *due);
    }
}

} // namespace Bench
