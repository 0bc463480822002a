#include "Mox/Census.h"
#include "Mox/LogEvent.h"
#include "Mox/Trace.h"
#include "Skimtrace/Skimtrace.h"
#include "Vyr/TaskScheduler.h"
#include "tests/unload/Host.h"

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <unistd.h>

#include <sstream>

namespace {

Nexo::IntfId const port("Ethernet1"), svi("Vlan10");

std::string dumped() {
    std::ostringstream out;
    Skimtrace::dump(out);
    return out.str();
}
std::string census() {
    std::string text;
    for (Mox::Census::Entry const &entry : Mox::Census::live()) {
        text += entry.name + " " + std::to_string(entry.live) + "\n";
    }
    return text;
}

/// The inputs for copies of one flow that leave by one port.
void fill(Host const &host) {
    Bridging::VlanId const vlan(10);
    host.config->switchIntfConfigIs(port)->switchportModeAndNativeVlanIs(
        {Bridging::SwitchportMode::access, Bridging::VlanIdOrNone(10)});
    host.status->fdbStatusIs(Bridging::Fid(10));
    host.vlans->vlanStatusIs(vlan)->vlanPortStatusIs(port, {});
    auto const topology = Mox::make<Bridging::Topology::TopoConfig>("main");
    topology->topoPortConfigIs(port)->portStateIs(Bridging::Topology::PortState::forwarding);
    host.topologies->vidToTopoMapIs(vlan, topology);
    host.l3->intfL3IndexIs(svi, UmoL3Intf::L3Id(10));
    host.l3->routedPortNameIs(UmoL3Intf::L3Id(10), svi);
    host.ip->ipIntfStatusIs(svi)->addrWithMaskIs(Nexo::IpAddrWithMask::parse("10.0.10.1/24"));
    host.ip->ipIntfStatusIs(svi)->routingIs(true);
    auto const action = host.nat->natFlowIs("feed")->matchIs("gold")->actionIs("customer");
    action->dstIs(Nexo::IpAndPort::parse("239.2.2.2:6000"));
    action->intfIs(svi, {});
    action->versionIs(1);
}

/// Changes every input.
void empty(Host const &host) {
    host.config->switchIntfConfigDelAll();
    host.status->fdbStatusDelAll();
    host.vlans->vlanStatusDelAll();
    host.topologies->vidToTopoMapDelAll();
    host.l3->intfL3IndexDelAll();
    host.l3->routedPortNameDelAll();
    host.ip->ipIntfStatusDelAll();
    host.nat->natFlowDelAll();
}

/// Loads the plug-in, and with it the library, uses and unloads it.
void loadUseAndUnload(Host &host) {
    auto const scheduler = Vyr::TaskSchedulerRoot::findOrCreateScheduler();
    auto const traceHandles = Mox::traceHandles();
    fill(host);
    std::string const own = census();

    void *const plugin = dlopen(UMO_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(plugin, nullptr) << dlerror();
    reinterpret_cast<void (*)(Host &)>(dlsym(plugin, "start"))(host);
    auto policy = host.hw->natFlow("feed");
    auto match = policy->match("gold");
    auto action = match->action("customer");
    testing::internal::CaptureStdout();
    host.show->handleCommand(STDOUT_FILENO, "showNatFlowActionHw");
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr("customer"));
    host.ip->ipIntfStatusIs(svi)->routingIs(false);
    EXPECT_TRUE(scheduler->nextDue()); // the backlog waits when the root goes
    EXPECT_GT(Mox::traceHandles().size(), traceHandles.size());
    EXPECT_FALSE(Mox::logHandles().empty());
    EXPECT_FALSE(Skimtrace::points().empty());
    host.root = nullptr;
    host.show = nullptr;
    ASSERT_EQ(dlclose(plugin), 0);
    ASSERT_EQ(dlopen(UMO_PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it is still loaded";

    EXPECT_FALSE(scheduler->nextDue());
    EXPECT_EQ(Mox::traceHandles(), traceHandles);
    EXPECT_TRUE(Mox::logHandles().empty());
    EXPECT_TRUE(Skimtrace::points().empty());
    ASSERT_EQ(host.portSets.size(), 1U);
    EXPECT_TRUE(host.portSets[0]->intf().contains(port));
    EXPECT_EQ(policy->name() + match->name() + action->name(), "feedgoldcustomer");
    host.portSets.clear();
    policy = nullptr, match = nullptr, action = nullptr;
    EXPECT_EQ(census(), own);
    empty(host);
}

} // namespace

TEST(Unloading, LeavesNothingThatPointsIntoTheLibraryAndItsRecordsAsText) {
    Mox::Census::activeIs(true);
    Host host;
    loadUseAndUnload(host);
    std::string const once = dumped();
    EXPECT_THAT(once, testing::HasSubstr("feed"));
    loadUseAndUnload(host);
    EXPECT_EQ(dumped().rfind(once, 0), 0U);
    EXPECT_GT(dumped().size(), once.size());
}
