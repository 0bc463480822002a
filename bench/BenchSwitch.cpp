#include "BenchSwitch.h"

#include "agent/switch/Draft.h"

#include <cstdlib>
#include <string>
#include <utility>

namespace Bench {

namespace {

namespace Table = UmoAgent::Table;

constexpr unsigned kPorts = 64;
constexpr unsigned kVlans = 50;
constexpr unsigned kMembers = 8; // per VLAN
constexpr std::uint16_t kFirstVlan = 100;
constexpr std::uint16_t kFlapVlan = 4000;
constexpr char kFlapPolicy[] = "flap";
constexpr unsigned kFlapPort = kPorts; // ports are numbered from 0 here

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

/// Adds the parts of a bench switch to a list of changes.
class Builder {
  public:
    explicit Builder(BenchSwitch::Kind kind) : kind_(kind) {}

    void vlan(std::uint16_t number, std::vector<Nexo::IntfId> const &members);
    void matches(Pelo::String const &policy, std::size_t actions);

    UmoAgent::Changes changes;

  private:
    template <class T>
    void set(typename T::Key key, typename T::Value value) {
        changes.push_back(UmoAgent::Change<T>{std::move(key), std::move(value)});
    }
    Table::Action::Value action(std::size_t number, bool flaps);

    BenchSwitch::Kind kind_;
};

void Builder::vlan(std::uint16_t number, std::vector<Nexo::IntfId> const &members) {
    Bridging::VlanId const vlan(number);
    Nexo::IntfId const svi("Vlan" + std::to_string(number));
    Pelo::String const topology = std::to_string(number);
    set<Table::Vlan>(vlan, {});
    set<Table::Topology>(topology, {});
    for (Nexo::IntfId const intf : members) {
        set<Table::Interface>(intf, {Bridging::SwitchportMode::trunk, Bridging::VlanIdOrNone(1)});
        set<Table::VlanMember>({vlan, intf}, {});
        set<Table::TopologyPort>({topology, intf}, Bridging::Topology::PortState::forwarding);
    }
    set<Table::VlanTopology>(vlan, topology);
    set<Table::Fdb>(vlan, {});
    set<Table::L3Interface>(svi, vlan);
    set<Table::IpInterface>(svi, {Nexo::IpAddrWithMask::parse("10.0.0.1/24"), true});
}

void Builder::matches(Pelo::String const &policy, std::size_t actions) {
    set<Table::Policy>(policy, {});
    for (std::size_t number = 0; number < actions; ++number) {
        bool const one = kind_ == BenchSwitch::Kind::oneMatch;
        std::size_t const matchNumber = one ? 0 : number / BenchSwitch::kActionsPerMatch;
        if (one ? number == 0 : number % BenchSwitch::kActionsPerMatch == 0) {
            auto const group = address(0xef000001U, matchNumber); // 239.0.0.1 and on
            set<Table::Match>({policy, matchName(matchNumber)},
                              one ? Ip::Nat::NatFlow{}
                                  : Ip::Nat::NatFlow{{}, {group.addr(), 32, group.port()}});
        }
        set<Table::Action>({policy, matchName(matchNumber), actionName(number)},
                           action(number, policy == kFlapPolicy));
    }
}

Table::Action::Value Builder::action(std::size_t number, bool flaps) {
    std::size_t const vlan = number % kVlans;
    std::size_t const member = number / kVlans % kMembers;
    auto const vlanNumber = static_cast<std::uint16_t>(kFirstVlan + vlan);
    Nexo::EthAddr const mac = hostMac(number);
    Table::Action::Value action;
    action.source = address(0x0a000001U, number); // 10.0.0.1 and on
    bool const flooded = kind_ == BenchSwitch::Kind::floodedVlans;
    if (!flooded && number / 2 % 2 == 0) {
        action.destination = address(0x0b000001U, number); // a host: copies are unicast
    } else if (kind_ == BenchSwitch::Kind::oneMatch) {
        action.destination = address(0xef000001U, number);
    }
    if (flaps) {
        action.egress = {{port(kFlapPort), {kFlapVlan, mac}}};
    } else if (flooded || number % 2 == 0) {
        set<Table::LearnedMac>({Bridging::VlanId(vlanNumber), mac}, memberOf(vlan, member));
        action.egress = {{Nexo::IntfId("Vlan" + std::to_string(vlanNumber)), {0, mac}}};
    } else {
        action.egress = {{memberOf(vlan, member), {vlanNumber, mac}}};
    }
    return action;
}

} // namespace

UmoAgent::Changes benchChanges(std::size_t actions, BenchSwitch::Kind kind) {
    Builder builder(kind);
    for (unsigned vlan = 0; vlan < kVlans; ++vlan) {
        std::vector<Nexo::IntfId> members;
        for (unsigned member = 0; member < (kind == BenchSwitch::Kind::mixed ? kMembers : 4);
             ++member) {
            members.push_back(memberOf(vlan, member));
        }
        builder.vlan(static_cast<std::uint16_t>(kFirstVlan + vlan), members);
    }
    builder.matches("bench", actions);
    if (kind == BenchSwitch::Kind::mixed) {
        builder.vlan(kFlapVlan, {port(kFlapPort)});
        builder.matches(kFlapPolicy, BenchSwitch::kFlapActions);
    }
    builder.changes.push_back(
        UmoAgent::Change<Table::BridgeMac>{{}, Nexo::EthAddr(0x020000ffff00U)});
    return std::move(builder.changes);
}

BenchSwitch::BenchSwitch(std::size_t actions, Kind kind) : actions_(actions) {
    UmoAgent::Draft draft(state);
    if (!draft.makeAll(benchChanges(actions, kind)).empty()) {
        std::abort();
    }
    state.mount(draft);
}

BenchSwitch::~BenchSwitch() {
    stop();
    Vyr::TaskSchedulerRoot::schedulerIs(nullptr);
}

void BenchSwitch::start(Helper const &helper) {
    Vyr::TaskSchedulerRoot::schedulerIs(scheduler);
    root = umoNatFlowMcastSmFactory(
        state.natStatus(), hw, state.bridgingConfig(), state.bridgingStatus(),
        state.vlanStatusDir(), state.topologyConfig(), state.l3Table(), state.ipStatus(), helper);
}

std::vector<Mox::Ptr<Ip::Nat::NatFlowActionStatus>>
BenchSwitch::actionsOfMatch(std::size_t match) const {
    std::vector<Mox::Ptr<Ip::Nat::NatFlowActionStatus>> found;
    auto const matchStatus = state.natStatus()->natFlow("bench")->match(matchName(match));
    found.reserve(matchStatus->action().size());
    for (auto const &[name, action] : matchStatus->action()) {
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
    auto const topology = state.topologyConfig()->vidToTopoMap(Bridging::VlanId(kFlapVlan));
    topology->topoPortConfigIs(port(kFlapPort))
        ->portStateIs(forwarding ? PortState::forwarding : PortState::blocking);
    while (auto const due = scheduler->nextDue()) {
        scheduler->runUntil(*clock, *due);
    }
}

} // namespace Bench
