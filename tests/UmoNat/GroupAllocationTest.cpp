#include "Mox/LogEvent.h"
#include "tests/support/NatSwitch.h"
#include "tests/support/TraceRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

using TestSupport::NatSwitch;

constexpr auto kCreateOne = "createNatFlowGroup(policy p, match m, unicast false)";
constexpr auto kCreateUnicast = "createNatFlowGroup(policy p, match m, unicast true)";

std::string createdOne(int id) {
    return std::string(kCreateOne) + " -> " + std::to_string(id);
}
std::string createdUnicast(int id) {
    return std::string(kCreateUnicast) + " -> " + std::to_string(id);
}
std::string deleted(int id) {
    return "deleteNatFlowGroup(policy p, match m, group " + std::to_string(id) + ")";
}

} // namespace

TEST(GroupCount, FollowsTheDestinationsOfFlowAndActions) {
    struct Case {
        char const *flow;
        std::vector<char const *> actions;
        char const *groups;
    };
    for (Case const &c : {
             Case{"", {}, "0:0/0"},
             Case{"239.1.1.1:5000", {}, "0:0/0"},
             Case{"239.1.1.1:5000", {""}, "1:1/1"},
             Case{"", {"10.0.0.9:1", "239.9.9.9:1"}, "1:1/1"},
             Case{"", {""}, "2:1/2"},
             Case{"", {"10.0.0.9:1", ""}, "2:1/2"},
         }) {
        NatSwitch sw;
        sw.match("p", "m", c.flow);
        int number = 0;
        for (char const *destination : c.actions) {
            sw.action("p", "m", "a" + std::to_string(++number), destination);
        }
        sw.start();
        EXPECT_EQ(sw.groups("p", "m"), c.groups) << c.flow << " with " << c.actions.size();
    }
}

TEST(GroupCount, ChangesAsActionsComeAndGo) {
    NatSwitch sw;
    sw.match("p", "m");
    sw.start();
    EXPECT_THAT(sw.takeCalls(), IsEmpty());
    sw.action("p", "m", "typed", "10.0.0.9:1");
    // The action is seen first while it names no destination yet.
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre(createdUnicast(1), createdOne(2), deleted(1), deleted(2), createdOne(3),
                            HasSubstr("updateNatFlowVlanPortSet"),
                            HasSubstr("updateNatFlowDstTranslation")));
    sw.nat->natFlow("p")->match("m")->actionIs("untyped");
    EXPECT_EQ(sw.groups("p", "m"), "2:4/5");
    // Told of the number, the action takes itself out before the group goes.
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre("deleteNatFlowVlanPortSet(group 3, port set 1)",
                            "deleteNatFlowDstTranslation(group 3, port set 1)", deleted(3),
                            createdUnicast(4), createdOne(5), HasSubstr("group 4, port set 0"),
                            HasSubstr("group 5, port set 0"), HasSubstr("group 4, port set 2"),
                            HasSubstr("group 5, port set 3")));
    EXPECT_DEATH(sw.matchSm("p", "m").createNatFlowGroups(3), "groups == 2");
    sw.removeAction("p", "m", "untyped");
    EXPECT_EQ(sw.groups("p", "m"), "1:6/6");
    sw.takeCalls();
    sw.removeAction("p", "m", "typed");
    EXPECT_EQ(sw.groups("p", "m"), "0:0/0");
    EXPECT_THAT(sw.takeCalls(), Contains(deleted(6)).Times(1));
    EXPECT_EQ(sw.chip->groupsInUse(), 0U);
}

TEST(GroupCount, AFlowChangeThatKeepsItTouchesNoGroup) {
    NatSwitch sw;
    auto const match = sw.match("p", "m", "239.1.1.1:5000");
    sw.action("p", "m", "a");
    sw.start();
    sw.takeCalls();
    sw.match("p", "m", "239.1.1.2:5000");
    EXPECT_THAT(sw.takeCalls(), Not(Contains(HasSubstr("NatFlowGroup("))));
    EXPECT_EQ(sw.hwMatch("p", "m")->flow(), match->flow());
    // A request that finds the number unchanged only refreshes the flow.
    auto const &status = sw.matchSm("p", "m").matchSmStatus();
    status->groupNumUpdateIs(status->groupNumUpdate() + 1);
    EXPECT_THAT(sw.takeCalls(), IsEmpty());
}

TEST(Tree, MirrorsPoliciesAndMatchesAndFollowsTheirRemoval) {
    NatSwitch sw;
    sw.nat->natFlowIs("before");
    sw.start();
    EXPECT_TRUE(sw.hw->natFlow("before"));
    EXPECT_TRUE(sw.hw->natFlow("before")->match().empty());
    sw.match("later", "m", "239.1.1.1:1");
    sw.action("later", "m", "a");
    auto const *machine = &sw.matchSm("later", "m");
    sw.root->handleNatFlowPolicy("later"); // a change of an element that is still there
    EXPECT_EQ(machine, &sw.matchSm("later", "m"));
    sw.nat->natFlow("later")->matchDel("m");
    EXPECT_FALSE(sw.hwMatch("later", "m"));
    EXPECT_EQ(sw.chip->groupsInUse(), 0U);
    sw.nat->natFlowDel("later");
    EXPECT_FALSE(sw.hw->natFlow("later"));
}

TEST(Tree, AnotherInputUnderTheKeyOfALivingChildIsRefused) {
    NatSwitch sw;
    sw.start();
    sw.match("p", "m", "239.1.1.1:1");
    UmoNatFlowPolicySm::Inputs inputs = (*sw.root->policySm().find("p"))->inputs();
    sw.root->policySmIs(inputs);
    inputs.policyStatus = Mox::make<Ip::Nat::NatFlowPolicyStatus>("p");
    EXPECT_THROW(sw.root->policySmIs(inputs), Mox::MutatorReinstantiatingException);
}

TEST(Tree, StaleStatusIsWipedPortSetsIncludedBeforeAnyPolicyIsSeen) {
    NatSwitch sw;
    auto const portSets = Ip::Nat::natFlowVlanPortSetsFactory();
    portSets->ucastPortSetIs(10);
    portSets->mcastPortSetIs(10);
    auto const stale = sw.hw->natFlowIs("p")->matchIs("old")->actionIs("a");
    stale->vlanPortSetsIs(portSets);
    sw.match("p", "new", "239.1.1.1:1");
    sw.start();
    EXPECT_TRUE(portSets->ucastPortSet().empty());
    EXPECT_TRUE(portSets->mcastPortSet().empty());
    EXPECT_FALSE(sw.hwMatch("p", "old"));
    EXPECT_TRUE(sw.hwMatch("p", "new"));
    EXPECT_THAT(sw.takeCalls(), IsEmpty());
}

TEST(Tree, TeardownRunsTopDown) {
    NatSwitch sw;
    sw.match("p", "m", "239.1.1.1:1");
    sw.action("p", "m", "a");
    sw.start();
    sw.takeCalls();
    TestSupport::TraceRecorder traces("UmoNatFlow*/1");
    sw.stop();
    EXPECT_THAT(
        traces.messages,
        ElementsAre("UmoNatFlowMcastSm/1 NatFlowMcastSm::doCleanup",
                    "UmoNatFlowPolicySm/1 UmoNatFlowPolicySm::doCleanup, policy: p",
                    "UmoNatFlowMatchSm/1 UmoNatFlowMatchSm::doCleanup, policy: p, match: m"));
    EXPECT_THAT(sw.takeCalls().back(), deleted(1));
    EXPECT_TRUE(sw.hw->natFlow().empty());
}

TEST(Tree, AFailedStartLeavesNothingBehind) {
    // The start of the topology machine throws at an L3 interface whose id is no VLAN, that of an
    // action at a next hop in such a VLAN, after its match and another action were programmed.
    for (bool const inAction : {false, true}) {
        NatSwitch sw;
        sw.vlan(10, {"Ethernet1"});
        sw.match("p", "m", "239.1.1.1:1");
        sw.action("p", "m", "good", "", "", {{"Vlan10", "00:00:00:00:00:01"}});
        if (inAction) {
            auto const bad = sw.nat->natFlow("p")->match("m")->actionIs("bad");
            bad->intfIs(Nexo::IntfId("Ethernet1"), {5000, Nexo::EthAddr()});
            bad->versionIs(1);
        } else {
            sw.l3Table->intfL3IndexIs(Nexo::IntfId("Ethernet9"), UmoL3Intf::L3Id(5000));
            sw.ipStatus->ipIntfStatusIs(Nexo::IntfId("Ethernet9"));
        }
        EXPECT_THROW(sw.start(), std::range_error);
        EXPECT_EQ(sw.takeCalls().empty(), !inAction);
        EXPECT_EQ(sw.chip->groupsInUse(), 0U);
        EXPECT_TRUE(sw.hw->natFlow().empty());
        sw.nat->natFlowIs("q"); // nobody listens any more
        EXPECT_TRUE(sw.hw->natFlow().empty());
    }
}

TEST(Traces, OfAMatchsLifeReadAsOneStory) {
    NatSwitch sw;
    TestSupport::TraceRecorder traces("UmoNatFlowMcastSm/1-9,UmoNatFlowPolicySm/1-9,"
                                      "UmoNatFlowMatchSm/1-9");
    sw.match("p", "m", "239.1.1.1:1")->actionIs("a");
    sw.start();
    sw.nat->natFlowDel("p");
    std::string story;
    for (std::string const &message : traces.messages) {
        story += message.substr(message.find('/') + 1) + "\n";
    }
    std::string const evaluated = "2 UmoNatFlowMatchSm::handleGroupNumUpdate, policy: p, match: m"
                                  ", flow: 0.0.0.0/0:0 -> 239.1.1.1/32:1\n";
    EXPECT_EQ(story,
              "1 NatFlowMcastSm::handleInitialized\n"
              "2 UmoNatFlowMcastSm::handleNatFlowPolicy, policy: p\n"
              "2 Create policySm\n"
              "1 UmoNatFlowPolicySm::handleInitialized, policy: p\n"
              "2 UmoNatFlowPolicySm::handleNatFlowMatch, policy: p, match: m\n"
              "2 Create matchSm\n"
              "1 UmoNatFlowMatchSm::handleInitialized, policy: p, match: m\n" +
                  evaluated +
                  "2 UmoNatFlowMatchSm::handleNatFlow, policy: p, match: m"
                  ", flow: 0.0.0.0/0:0 -> 239.1.1.1/32:1\n" +
                  evaluated +
                  "2 Current groups num: 0, new: 1\n"
                  "2 UmoNatFlowMatchSm::deleteNatFlowGroups, policy: p, match: m\n"
                  "2 UmoNatFlowMatchSm::createNatFlowGroups, policy: p, match: m, groups: 1\n"
                  "2 Create single group for match m\n"
                  "2 Group id: 1\n"
                  "2 UmoNatFlowMatchSm::handleNatFlowAction, policy: p, match: m, action: a\n" +
                  evaluated +
                  "2 Current groups num: 1, new: 1\n"
                  "2 Create actionSm\n"
                  "2 UmoNatFlowMcastSm::handleNatFlowPolicy, policy: p\n"
                  "2 Delete policySm\n"
                  "1 UmoNatFlowPolicySm::doCleanup, policy: p\n"
                  "1 UmoNatFlowMatchSm::doCleanup, policy: p, match: m\n"
                  "2 UmoNatFlowMatchSm::deleteNatFlowGroups, policy: p, match: m\n"
                  "2 Delete unicast group 1 for match m\n");
}

TEST(Traces, OfARefusedPairEndWithTheFailure) {
    NatSwitch sw({.groups = 1});
    sw.start();
    sw.match("p", "m");
    TestSupport::TraceRecorder traces("UmoNatFlowMatchSm/2-9,UmoNatFlowMcastSm/1-9");
    auto const action = sw.nat->natFlow("p")->match("m")->actionIs("a");
    EXPECT_THAT(traces.messages,
                testing::IsSupersetOf({"UmoNatFlowMatchSm/2 Create unicast group for match m",
                                       "UmoNatFlowMatchSm/2 Unicast group id: 1",
                                       "UmoNatFlowMatchSm/2 Create multicast group for match m",
                                       "UmoNatFlowMatchSm/2 Multicast group id: 0",
                                       "UmoNatFlowMatchSm/2 Failed to allocate group(s)",
                                       "UmoNatFlowMcastSm/9 UmoNatFlowMcastSm::"
                                       "addUnprogrammedGroupTask"}));
    sw.nat->natFlow("p")->match("m")->actionDel("a");
    EXPECT_THAT(traces.messages, Contains("UmoNatFlowMatchSm/9 Scheduled unprogrammed group task"));
    sw.groupsLeft = 1; // the half that was allocated
}

TEST(LogEvents, AreInTheCatalogueOnceTheLibraryIsLoaded) {
    std::vector<std::string> events;
    for (Mox::LogHandle const *handle : Mox::logHandles()) {
        events.push_back(std::string(handle->event().name) + "/" +
                         std::to_string(handle->event().severity));
    }
    EXPECT_THAT(events, ElementsAre("NAT_HW_RESOURCE_NORMAL/6", "NAT_HW_RESOURCE_FULL/3",
                                    "NAT_RULE_IF_MAX/3"));
}
