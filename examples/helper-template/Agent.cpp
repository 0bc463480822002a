// The smallest agent: it mounts the state of a switch of two ports, loads the library with the
// helper of its chip, lets it work, shows what is programmed, and ends. One thread does all of it.

#include "MyChip.h"

#include "HelperKit/CheckedHelper.h"
#include "UmoNat/UmoNatFlowMcastSm.h"
#include "UmoNat/UmoNatFlowMcastSmCli.h"
#include "Vyr/TaskScheduler.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>

int main() {
    // The inputs, as the agent's mounts would fill them: ports, their VLAN, and that they forward.
    Nexo::IntfId const in("Ethernet1"), out("Ethernet2"), svi("Vlan10");
    Bridging::VlanId const vlan(10);
    auto const config = Mox::make<Bridging::Config>();
    auto const status = Mox::make<Bridging::Status>();
    auto const vlans = Mox::make<Bridging::VlanStatusDir>();
    auto const topologies = Mox::make<Bridging::Topology::Config>();
    auto const topology = Mox::make<Bridging::Topology::TopoConfig>("main");
    for (Nexo::IntfId const port : {in, out}) {
        config->switchIntfConfigIs(port)->switchportModeAndNativeVlanIs(
            {Bridging::SwitchportMode::access, Bridging::VlanIdOrNone(10)});
        vlans->vlanStatusIs(vlan)->vlanPortStatusIs(port, {});
        topology->topoPortConfigIs(port)->portStateIs(Bridging::Topology::PortState::forwarding);
    }
    topologies->vidToTopoMapIs(vlan, topology);
    Nexo::EthAddr const host = Nexo::EthAddr::parse("02:00:00:00:00:01");
    status->fdbStatusIs(Bridging::Fid(10))->learnedHostIs(host, {out});

    // The VLAN's interface: its L3 id in both maps of the table, and its address.
    auto const l3 = Mox::make<UmoL3Intf::Table>();
    l3->intfL3IndexIs(svi, UmoL3Intf::L3Id(10));
    l3->routedPortNameIs(UmoL3Intf::L3Id(10), svi);
    auto const ip = Mox::make<Ip::Status>();
    ip->ipIntfStatusIs(svi)->addrWithMaskIs(Nexo::IpAddrWithMask::parse("10.0.10.1/24"));
    ip->ipIntfStatusIs(svi)->routingIs(true);

    // A policy. The version is set last: it says that the rest of the action is complete.
    auto const nat = Mox::make<Ip::Nat::Status>();
    auto const match = nat->natFlowIs("feed")->matchIs("gold");
    match->flowIs({{}, {Nexo::IpAddr::parse("239.1.1.1"), 32, 5000}});
    auto const action = match->actionIs("customer");
    action->dstIs(Nexo::IpAndPort::parse("239.2.2.2:6000"));
    action->intfIs(svi, {0, host});
    action->versionIs(1);

    auto const hw = Mox::make<Ip::Nat::HwNatFlowStatus>(); // what the library programs
    auto const chip = Mox::make<MyChip>();
    auto const checked = Mox::make<UmoHelper::CheckedHelper>(
        chip, [](auto const &finding) { std::cerr << finding.text() << '\n'; });
    auto root =
        umoNatFlowMcastSmFactory(nat, hw, config, status, vlans, topologies, l3, ip, checked);

    // A change, which the library follows after 0.1 s; and the event loop, until nothing is left to
    // do.
    topology->topoPortConfigIs(in)->portStateIs(Bridging::Topology::PortState::disabled);
    auto const scheduler = Vyr::TaskSchedulerRoot::findOrCreateScheduler();
    while (auto const due = scheduler->nextDue()) {
        auto const wait = std::chrono::ceil<std::chrono::milliseconds>(*due - scheduler->now());
        poll(nullptr, 0, std::max(0, static_cast<int>(wait.count()))); // with your descriptors
        scheduler->runDueTasks();
    }

    umoNatFlowMcastSmCliCallbackFactory("showNatFlowActionHw", "", hw)
        ->handleCommand(STDOUT_FILENO, "showNatFlowActionHw");
    bool const programmed = chip->registers()[0].portSets.size() == 1;
    root = nullptr; // takes everything out of the chip
    return programmed && !chip->registers()[0].used ? 0 : 1;
}
