#pragma once

#include "HelperKit/CheckedHelper.h"
#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatFlowMcastSm.h"
#include "Vyr/Clock.h"
#include "Vyr/TaskScheduler.h"
#include "agent/chip/SoftSwitch.h"
#include "tests/support/Story.h"
#include "tests/support/TraceRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

namespace TestSupport {

using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::Topology::PortState;
using Nexo::IntfId;

constexpr char kMac[] = "00:00:00:00:00:01";
constexpr char kMulticast[] = "239.1.1.1:5000";
inline IntfId const et1("Ethernet1"), et2("Ethernet2");
inline auto const macOf = &Nexo::EthAddr::parse;

/// What stops a start, or a process, when a number is taken for a VLAN's that is none.
constexpr char kRange[] = "Bridging::VlanId::value < 1 or > 4094 not allowed";

/// Does its work on every change of an entity.
struct OnChange {
    OnChange(Mox::Entity const &entity, std::function<void()> itsWork) : work(std::move(itsWork)) {
        entity.notifier().subscriberAdd(subscriber);
    }
    std::function<void()> work;
    Pelo::Subscriber subscriber{
        [](void *self, Pelo::Change const &) { static_cast<OnChange *>(self)->work(); }, this};
};

/// A whole switch for tests: everything that the library follows, a strict chip in software, a
/// virtual clock, and the root. Its end takes the root down and fails the test if the chip saw
/// the contract broken, if groups are left in it, or if a task is left scheduled.
struct NatSwitch {
    explicit NatSwitch(UmoAgent::ChipCapacity capacity = {})
        : chip(Mox::make<UmoAgent::SoftSwitch>(capacity)),
          checked(Mox::make<UmoHelper::CheckedHelper>(
              chip, [](UmoHelper::CheckedHelper::Finding const &finding) {
                  if (finding.breach != UmoHelper::CheckedHelper::Breach::refusedPortSet) {
                      ADD_FAILURE() << finding.text();
                  }
              })) {
        checked->logIs([this](UmoHelper::CheckedHelper::Logged const &logged) {
            calls.push_back(logged.text());
        });
        Vyr::TaskSchedulerRoot::schedulerIs(scheduler);
    }
    ~NatSwitch() {
        stop();
        EXPECT_EQ(checked->differenceFrom(chip->groups()), "");
        EXPECT_EQ(chip->groupsInUse(), groupsLeft);
        EXPECT_FALSE(scheduler->nextDue());
        EXPECT_TRUE(hw->natFlow().empty());
        Vyr::TaskSchedulerRoot::schedulerIs(nullptr);
    }
    NatSwitch(NatSwitch const &) = delete;
    NatSwitch &operator=(NatSwitch const &) = delete;

    /// Creates the root through the exported factory.
    void start() {
        root = umoNatFlowMcastSmFactory(nat, hw, bridgingConfig, bridgingStatus, vlanStatusDir,
                                        topology, l3Table, ipStatus, helper);
    }
    void stop() { root = nullptr; }
    /// Lets virtual time pass; due tasks run.
    void runFor(double seconds) {
        scheduler->runUntil(*clock, clock->now() + Vyr::timeOf(Mox::Seconds(seconds)));
    }
    /// The helper calls since the last time they were taken.
    std::string takeCalls() { return storyOf(calls); }

    // NAT configuration. A destination or source is text such as 239.1.1.1:5000.

    Ip::Nat::NatFlowMatchStatus &match(std::string const &name, char const *destination) const {
        auto const address = Nexo::IpAndPort::parse(destination);
        auto const status = nat->natFlowIs("p")->matchIs(name);
        status->flowIs({status->flow().source,
                        {address.addr(), address.addr().isZero() ? 0U : 32U, address.port()}});
        return *status;
    }
    using Egress = std::vector<std::pair<char const *, char const *>>;
    /// Sets the action as a whole and raises its version, which is what makes it seen. Egress
    /// interfaces are pairs of name and next-hop MAC.
    Ip::Nat::NatFlowActionStatus &action(std::string const &match, std::string const &name,
                                         char const *destination = kNone,
                                         char const *source = kNone,
                                         Egress const &egress = {}) const {
        auto const status = nat->natFlowIs("p")->matchIs(match)->actionIs(name);
        status->dstIs(Nexo::IpAndPort::parse(destination));
        status->srcIs(Nexo::IpAndPort::parse(source));
        status->intfDelAll();
        for (auto const &[intf, mac] : egress) {
            status->intfIs(IntfId(intf), {0, macOf(mac)});
        }
        status->versionIs(status->version() + 1);
        return *status;
    }
    void removeAction(char const *match, char const *name) const {
        nat->natFlow("p")->match(match)->actionDel(name);
    }

    // Topology.

    /// Makes the VLAN usable: status with trunk members that forward, a topology named as the
    /// VLAN, an L3 interface that is up.
    void vlan(std::uint16_t number, std::initializer_list<char const *> members) const {
        VlanId const vlanId(number);
        IntfId const svi("Vlan" + std::to_string(number));
        auto const topo = Mox::make<Bridging::Topology::TopoConfig>(std::to_string(number));
        for (char const *const intf : members) {
            switchport(intf, SwitchportMode::trunk, 1);
            vlanStatusDir->vlanStatusIs(vlanId)->vlanPortStatusIs(IntfId(intf), {});
            topo->topoPortConfigIs(IntfId(intf))->portStateIs(PortState::forwarding);
        }
        topology->vidToTopoMapIs(vlanId, topo);
        l3Table->intfL3IndexIs(svi, UmoL3Intf::L3Id(number));
        l3Table->routedPortNameIs(UmoL3Intf::L3Id(number), svi);
        ip(svi, true);
    }
    /// In the topology that the VLAN maps to.
    void portState(std::uint16_t vlan, IntfId intf, PortState state) const {
        topology->vidToTopoMap(VlanId(vlan))->topoPortConfigIs(intf)->portStateIs(state);
    }
    void switchport(char const *intf, SwitchportMode mode, std::uint16_t native) const {
        bridgingConfig->switchIntfConfigIs(IntfId(intf))
            ->switchportModeAndNativeVlanIs({mode, Bridging::VlanIdOrNone(native)});
    }
    void ip(IntfId intf, bool routing) const {
        auto const status = ipStatus->ipIntfStatusIs(intf);
        status->addrWithMaskIs(Nexo::IpAddrWithMask::parse("10.0.0.1/24"));
        status->routingIs(routing);
    }
    void learn(std::uint16_t vlan, char const *mac, char const *intf) const {
        bridgingStatus->fdbStatusIs(Bridging::Fid(vlan))->learnedHostIs(macOf(mac), {IntfId(intf)});
    }

    // What came of it.

    [[nodiscard]] UmoNatFlowMcastTopologySm &sm() const { return *root->topologySm(); }
    [[nodiscard]] UmoNatFlowMatchSm &matchSm(char const *match) const {
        return **(*root->policySm().find("p"))->matchSm().find(match);
    }
    [[nodiscard]] UmoNatFlowActionSm &actionSm(char const *match, std::string const &name) const {
        return **matchSm(match).actionSm().find(name);
    }
    /// The machine of an incomplete action, which registers nothing of its own and does nothing
    /// when evaluated; it stands for one that depends on something.
    [[nodiscard]] UmoNatFlowActionSm *watcher(std::string const &name) const {
        nat->natFlowIs("p")->matchIs("w")->actionIs(name);
        return &actionSm("w", name);
    }
    /// The names of the actions in the backlog, in their order, each with a blank.
    [[nodiscard]] std::string queued() const {
        std::string names;
        for (UmoNatFlowActionSm const *const machine : sm().actionSmUpdateBacklog()) {
            names += machine->action() + " ";
        }
        return names;
    }

    static constexpr char kNone[] = "0.0.0.0:0";

    Mox::Ptr<Vyr::VirtualClock> clock = Mox::make<Vyr::VirtualClock>();
    Mox::Ptr<Vyr::TaskScheduler> scheduler = Mox::make<Vyr::TaskScheduler>(clock);

    Mox::Ptr<Ip::Nat::Status> nat = Mox::make<Ip::Nat::Status>();
    Mox::Ptr<Ip::Nat::HwNatFlowStatus> hw = Mox::make<Ip::Nat::HwNatFlowStatus>();
    Mox::Ptr<Bridging::Config> bridgingConfig = Mox::make<Bridging::Config>();
    Mox::Ptr<Bridging::Status> bridgingStatus = Mox::make<Bridging::Status>();
    Mox::Ptr<Bridging::VlanStatusDir> vlanStatusDir = Mox::make<Bridging::VlanStatusDir>();
    Mox::Ptr<Bridging::Topology::Config> topology = Mox::make<Bridging::Topology::Config>();
    Mox::Ptr<UmoL3Intf::Table> l3Table = Mox::make<UmoL3Intf::Table>();
    Mox::Ptr<Ip::Status> ipStatus = Mox::make<Ip::Status>();

    std::vector<std::string> calls;
    Mox::Ptr<UmoAgent::SoftSwitch> chip;
    Mox::Ptr<UmoHelper::CheckedHelper> checked; // around the chip
    Mox::Ptr<UmoHelper::UmoNatFlowMcastHelper> helper = checked;
    Mox::Ptr<UmoNatFlowMcastSm> root;

    /// Groups that are allowed to be left in the chip: halves of pairs that failed.
    std::size_t groupsLeft = 0;
};

/// A switch that runs from the beginning.
struct RunningSwitch : NatSwitch {
    RunningSwitch() { start(); }
};

} // namespace TestSupport
