#include "tests/support/NatSwitch.h"
#include "tests/support/TraceRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

using Bridging::Topology::PortState;
using TestSupport::NatSwitch;

constexpr auto kHostA = "00:00:00:00:00:0a";
constexpr auto kHostB = "00:00:00:00:00:0b";
constexpr auto kSource = "10.9.9.9:5000";
constexpr auto kUnicast = "10.0.0.9:7000";
constexpr auto kMulticast = "239.9.9.9:7000";

std::string at(char const *operation, int group, int portSet) {
    return std::string(operation) + "(group " + std::to_string(group) + ", port set " +
           std::to_string(portSet);
}
std::string deletedPortSet(int group, int portSet) {
    return at("deleteNatFlowVlanPortSet", group, portSet) + ")";
}
std::string deletedSource(int group, int portSet) {
    return at("deleteNatFlowSrcTranslation", group, portSet) + ")";
}
std::string deletedDestination(int group, int portSet) {
    return at("deleteNatFlowDstTranslation", group, portSet) + ")";
}
auto updatedPortSet(int group, int portSet) {
    return StartsWith(at("updateNatFlowVlanPortSet", group, portSet) + ",");
}
auto updatedSource(int group, int portSet) {
    return StartsWith(at("updateNatFlowSrcTranslation", group, portSet) + ",");
}
auto updatedDestination(int group, int portSet) {
    return StartsWith(at("updateNatFlowDstTranslation", group, portSet) + ",");
}

/// A switch with two usable VLANs and the match "m" of policy "p".
struct ActionSwitch : NatSwitch {
    explicit ActionSwitch(std::string_view flowDestination = "") {
        vlan(10, {"Ethernet1", "Ethernet2"});
        vlan(20, {"Ethernet3"});
        match("p", "m", flowDestination);
        start();
    }
    UmoNatFlowActionSm &machine() { return actionSm("p", "m", "a"); }
    Mox::Ptr<Ip::Nat::HwNatFlowActionStatus> hwAction() const {
        return NatSwitch::hwAction("p", "m", "a");
    }
    using Egress = std::initializer_list<std::pair<std::string_view, std::string_view>>;
    Mox::Ptr<Ip::Nat::NatFlowActionStatus> action(std::string_view destination,
                                                  std::string_view source, Egress egress) {
        return NatSwitch::action("p", "m", "a", destination, source, egress);
    }
    /// An incomplete action without destination, for which the match needs two groups.
    void needTwoGroups() { nat->natFlow("p")->match("m")->actionIs("incomplete"); }
    void repeatPass() { machine().handleNatFlowAction(true); }
};

} // namespace

TEST(ActionReset, TakesOutByFlowTypeAndNumberOfGroups) {
    auto const one = [](int id, bool destination) {
        std::vector<std::string> calls{deletedPortSet(id, id), deletedSource(id, id)};
        if (destination) {
            calls.push_back(deletedDestination(id, id));
        }
        return calls;
    };
    auto const two = [&](bool secondDestination) {
        std::vector<std::string> calls = one(1, true);
        auto const second = one(2, secondDestination);
        calls.insert(calls.end(), second.begin(), second.end());
        return calls;
    };
    struct Case {
        char const *name, *flow, *destination;
        bool twoGroups;
        std::vector<std::string> calls;
    };
    for (Case const &c :
         {Case{"unicast, one group", kUnicast, "", false, one(1, true)},
          Case{"multicast by the flow, one group", kMulticast, "", false, one(1, false)},
          Case{"multicast by the action, one group", kUnicast, kMulticast, false, one(1, true)},
          Case{"unicast, two groups", "", kUnicast, true, two(true)},
          Case{"multicast, two groups", "", kMulticast, true, two(true)},
          Case{"no destination, two groups", "", "", true, two(false)}}) {
        SCOPED_TRACE(c.name);
        ActionSwitch sw(c.flow);
        if (c.twoGroups) {
            sw.needTwoGroups();
        }
        auto const match = sw.nat->natFlow("p")->match("m");
        match->flowIs({{Nexo::IpAddr::parse("10.1.0.0"), 16, 5000}, match->flow().destination});
        sw.action(c.destination, kSource, {{"Vlan10", kHostA}});
        auto const type = sw.hwAction()->flowType();
        sw.takeCalls();
        sw.machine().resetHwGroups();
        EXPECT_THAT(sw.takeCalls(), ElementsAreArray(c.calls));
        auto const hwAction = sw.hwAction();
        EXPECT_FALSE(hwAction->vlanPortSets());
        for (Nexo::IpAndPort const &address :
             {hwAction->srcNat(), hwAction->srcFlow(), hwAction->dstNat(), hwAction->dstFlow()}) {
            EXPECT_EQ(address, Nexo::IpAndPort());
        }
        EXPECT_EQ(hwAction->srcLen() + hwAction->dstLen(), 0U);
        EXPECT_EQ(hwAction->flowType(), type);
    }
}

TEST(ActionReset, WithoutDestinationAndWithOneGroupTakesOutUnicastAlone) {
    ActionSwitch sw(kUnicast); // the flow type of the last pass is what counts
    sw.action("", "", {{"Vlan10", kHostA}});
    sw.hwAction()->flowTypeIs(Ip::Nat::natFlowTypeNone);
    sw.repeatPass();
    ASSERT_EQ(sw.hwAction()->vlanPortSets()->mcastPortSet().size(), 1U);
    sw.takeCalls();
    sw.machine().resetHwGroups();
    EXPECT_THAT(sw.takeCalls(), ElementsAre(deletedPortSet(1, 1), deletedDestination(1, 1)));
}

TEST(ActionReset, LeavesAnIncompleteActionAsItIs) {
    ActionSwitch sw(kUnicast);
    auto const status = sw.action("", kSource, {{"Vlan10", kHostA}});
    status->versionIs(0);
    sw.takeCalls();
    sw.machine().resetHwGroups();
    EXPECT_THAT(sw.takeCalls(), IsEmpty());
    EXPECT_TRUE(sw.hwAction()->vlanPortSets());
    EXPECT_DEATH(sw.machine().resetHwGroup(1, true, false),
                 "initialized\\(\\) && actionStatus\\(\\)->version\\(\\)");
}

TEST(ActionPortSets, FirstPassProgramsEachOnceAndTheTranslationsAfterAll) {
    ActionSwitch sw(kMulticast);
    sw.takeCalls();
    sw.action("", kSource, {{"Vlan10", kHostA}, {"Vlan20", kHostA}});
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre("createNatFlowGroup(policy p, match m, unicast false) -> 1",
                            "updateNatFlowVlanPortSet(group 1, port set 0, VLAN 10, dmac "
                            "01:00:5e:00:00:00, interfaces Ethernet1 Ethernet2) -> 1",
                            updatedPortSet(1, 0), updatedSource(1, 1), updatedSource(1, 2)));
}

TEST(ActionPortSets, LaterPassesProgramTheDifferencesAlone) {
    ActionSwitch sw(kUnicast);
    sw.portState(10, "Ethernet2", PortState::blocking);
    sw.action("", kSource, {{"Vlan10", kHostA}});
    sw.takeCalls();

    sw.repeatPass();
    EXPECT_THAT(sw.takeCalls(), IsEmpty());
    EXPECT_EQ(sw.hwAction()->vlanPortSets()->ucastPortSet(10)->portSetId(), 1U);

    sw.portState(10, "Ethernet2", PortState::forwarding); // an interface is added
    sw.repeatPass();
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre("updateNatFlowVlanPortSet(group 1, port set 1, VLAN 10, dmac "
                            "00:00:00:00:00:0a, interfaces Ethernet1 Ethernet2) -> 1"));

    // A VLAN joins: it gets the translations that the other has.
    sw.action("", kSource, {{"Vlan10", kHostA}, {"Vlan20", kHostA}});
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre(updatedPortSet(1, 0), updatedDestination(1, 2), updatedSource(1, 2)));

    // Another MAC, and other interfaces in no other order: only the destination translation.
    sw.action("", kSource, {{"Vlan10", kHostB}, {"Vlan20", kHostA}});
    EXPECT_THAT(sw.takeCalls(), ElementsAre(EndsWith("dmac 00:00:00:00:00:0b) -> true")));

    // A VLAN goes.
    sw.action("", kSource, {{"Vlan20", kHostA}});
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre(deletedPortSet(1, 1), deletedSource(1, 1), deletedDestination(1, 1)));
}

TEST(ActionPortSets, ThatJoinWhileTheAddressesChangeGetTheOldOnesFirst) {
    ActionSwitch sw(kMulticast);
    sw.action(kMulticast, "", {{"Vlan10", kHostA}});
    sw.takeCalls();
    sw.action("239.9.9.8:7000", kSource, {{"Vlan10", kHostA}, {"Vlan20", kHostA}});
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre(updatedPortSet(1, 0), HasSubstr("becomes 239.9.9.9:7000"),
                            HasSubstr("becomes 0.0.0.0:0"), updatedSource(1, 1),
                            updatedSource(1, 2), HasSubstr("becomes 239.9.9.8:7000"),
                            HasSubstr("becomes 239.9.9.8:7000")));
    sw.action("", "", {{"Vlan10", kHostA}, {"Vlan20", kHostA}, {"Ethernet1", kHostA}});
    EXPECT_THAT(sw.takeCalls(), Not(Contains(HasSubstr("update")))); // Ethernet1's VLAN is invalid
}

TEST(ActionPortSets, AreRegisteredUnderWhatTheLastComputationDependedOn) {
    ActionSwitch sw(kUnicast);
    auto const &topologySm = *sw.root->topologySm();
    sw.action("", "", {{"Vlan10", kHostA}});
    sw.action("", "", {{"Vlan20", kHostA}});
    EXPECT_FALSE(topologySm.actionVlan(10));
    EXPECT_TRUE(topologySm.actionVlan(20));
    sw.action("", "", {});
    sw.takeCalls();
    sw.ipStatus->ipIntfStatus(Nexo::IntfId("Vlan10"))->routingIs(false); // recirculation moves
    sw.runFor(0.1);
    EXPECT_THAT(sw.takeCalls(), ElementsAre(deletedPortSet(1, 3), deletedDestination(1, 3),
                                            updatedPortSet(1, 0), updatedDestination(1, 4)));
    EXPECT_TRUE(sw.hwAction()->vlanPortSets()->ucastPortSet(20));
    sw.action("", "", {{"Vlan20", kHostA}});
    EXPECT_TRUE(topologySm.actionRecirc().empty());
}

TEST(ActionPortSets, OfAMulticastActionTakeADestinationTranslationOnlyIfThereIsOne) {
    ActionSwitch sw(kMulticast);
    sw.action("", "", {{"Vlan10", kHostA}});
    sw.takeCalls();
    sw.action("", "", {{"Vlan10", kHostA}, {"Vlan20", kHostA}});
    EXPECT_THAT(sw.takeCalls(), ElementsAre(updatedPortSet(1, 0)));
    sw.action("", "", {{"Vlan10", kHostA}});
    EXPECT_THAT(sw.takeCalls(), ElementsAre(deletedPortSet(1, 2)));
}

TEST(ActionPortSets, OfATypedActionHaveASecondIdentifierInTheSecondGroup) {
    ActionSwitch sw;
    sw.needTwoGroups();
    sw.action(kUnicast, "", {{"Vlan10", kHostA}});
    auto const portSet = sw.hwAction()->vlanPortSets()->ucastPortSet(10);
    EXPECT_EQ(portSet->portSetId(), 1U);
    EXPECT_EQ(portSet->portSetId2(), 2U);
    EXPECT_EQ(sw.chip->groups().at(1).portSets.count(1), 1U);
    EXPECT_EQ(sw.chip->groups().at(2).portSets.count(2), 1U);
    sw.takeCalls();
    sw.action(kUnicast, "", {{"Vlan20", kHostA}});
    EXPECT_THAT(sw.takeCalls(), ElementsAre(deletedPortSet(1, 1), deletedDestination(1, 1),
                                            updatedPortSet(1, 0), updatedDestination(1, 3),
                                            deletedPortSet(2, 2), deletedDestination(2, 2),
                                            updatedPortSet(2, 0), updatedDestination(2, 4)));
}

TEST(ActionPortSets, WithoutEgressAreOneUnicastSetOnTheRecirculationVlan) {
    for (char const *flow : {kUnicast, kMulticast}) {
        ActionSwitch sw(flow);
        sw.bridgingConfig->bridgeMacAddrIs(Nexo::EthAddr::parse(kHostB));
        sw.action("", "", {});
        auto const portSets = sw.hwAction()->vlanPortSets();
        ASSERT_EQ(portSets->ucastPortSet().size(), 1U);
        EXPECT_TRUE(portSets->mcastPortSet().empty());
        auto const recirc = portSets->ucastPortSet(10);
        EXPECT_TRUE(recirc->intf().contains(Nexo::IntfId()));
        EXPECT_EQ(recirc->dmac(), Nexo::EthAddr::parse(kHostB));
    }
}

TEST(ActionPortSets, SkipEgressThatCannotBeUsedAndSayWhy) {
    struct Case {
        char const *flow;
        ActionSwitch::Egress egress;
        std::vector<std::string> traces;
        std::size_t unicast, multicast; // port sets
    };
    for (Case const &c : {
             Case{kUnicast,
                  {{"Vlan0", kHostA}, {"Vlan4095", kHostA}},
                  {"Invalid vlan", "Invalid vlan"},
                  0,
                  0},
             Case{kMulticast, {{"Vlan30", kHostA}}, {"Invalid or empty vlan"}, 0, 0},
             Case{"", {{"Vlan30", kHostA}}, {"Invalid or empty vlan"}, 0, 0}, // one try, not two
             Case{"", {{"Vlan10", kHostA}}, {}, 1, 1},
             Case{kUnicast, {{"Ethernet9", kHostA}}, {"Invalid vlan or port state"}, 0, 0},
         }) {
        ActionSwitch sw(c.flow);
        TestSupport::TraceRecorder traces("UmoNatFlowActionSm/2");
        sw.action("", "", c.egress);
        std::vector<std::string> invalid;
        for (std::string const &message : traces.messages) {
            if (message.find("/2 Invalid") != std::string::npos) {
                invalid.push_back(message.substr(message.find("Invalid")));
            }
        }
        EXPECT_THAT(invalid, ElementsAreArray(c.traces)) << c.egress.begin()->first;
        auto const portSets = sw.hwAction()->vlanPortSets();
        EXPECT_EQ(portSets->ucastPortSet().size(), c.unicast);
        EXPECT_EQ(portSets->mcastPortSet().size(), c.multicast);
    }
}

TEST(ActionPortSets, HaveTheMacOfTheFirstPhysicalNextHopInTheVlan) {
    ActionSwitch sw; // no destination: copies of both kinds
    sw.vlan(1, {"Ethernet1", "Ethernet2", "Ethernet3"});
    TestSupport::TraceRecorder traces("UmoNatFlowActionSm/2");
    sw.action("", "", {{"Ethernet1", kHostA}, {"Ethernet2", kHostB}, {"Ethernet3", kHostA}});
    EXPECT_THAT(traces.messages,
                Contains("UmoNatFlowActionSm/2 Different mac (00:00:00:00:00:0a) already found in "
                         "the vlan, skip intf"));
    for (auto const &portSet : {sw.hwAction()->vlanPortSets()->ucastPortSet(1),
                                sw.hwAction()->vlanPortSets()->mcastPortSet(1)}) {
        EXPECT_EQ(portSet->intf().size(), 2U);
        EXPECT_FALSE(portSet->intf().contains(Nexo::IntfId("Ethernet2")));
    }
    EXPECT_EQ(sw.hwAction()->vlanPortSets()->mcastPortSet(1)->dmac(),
              Nexo::EthAddr::parse("01:00:5e:00:00:00"));
    EXPECT_DEATH(sw.action("", "", {{"Ethernet1", ""}}),
                 "iter->mac\\(\\) != Nexo::EthAddr::ethAddrZero\\(\\)");
}

TEST(ActionTranslations, FollowTheAddressesAndNothingElse) {
    ActionSwitch sw(kMulticast);
    sw.action(kMulticast, kSource, {{"Vlan10", kHostA}});
    sw.takeCalls();
    sw.action("239.9.9.9:7001", "10.9.9.9:5001", {{"Vlan10", kHostA}}); // ports alone
    EXPECT_THAT(sw.takeCalls(), IsEmpty());
    sw.action("239.9.9.8:7001", "10.9.9.8:5001", {{"Vlan10", kHostA}});
    EXPECT_THAT(sw.takeCalls(), ElementsAre(updatedSource(1, 1), updatedDestination(1, 1)));
    auto const match = sw.nat->natFlow("p")->match("m");
    auto flow = match->flow();
    flow.source = {Nexo::IpAddr::parse("10.1.0.0"), 16, 5000};
    match->flowIs(flow);
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre("updateNatFlowSrcTranslation(group 1, port set 1, VLAN 10, source "
                            "10.1.0.0:5000 within 16 bits becomes 10.9.9.8:5001) -> true"));
    sw.portState(10, "Ethernet2", PortState::blocking); // not looked at by a change of the flow
    flow.source.prefixLength = 24;
    match->flowIs(flow);
    EXPECT_THAT(sw.takeCalls(), ElementsAre(updatedSource(1, 1)));
    flow.source.port = 5001;
    flow.destination.port = 5001;
    match->flowIs(flow);
    EXPECT_THAT(sw.takeCalls(), ElementsAre(updatedSource(1, 1), updatedDestination(1, 1)));
    flow.destination.prefixLength = 24;
    match->flowIs(flow);
    EXPECT_THAT(sw.takeCalls(), ElementsAre(updatedDestination(1, 1)));
    sw.portState(10, "Ethernet2", PortState::forwarding);
    sw.action("", "", {{"Vlan10", kHostA}}); // still multicast, by the flow
    EXPECT_THAT(sw.takeCalls(), ElementsAre(deletedSource(1, 1), deletedDestination(1, 1)));
    EXPECT_TRUE(sw.hwAction()->srcNat().addr().isZero());
    sw.action("", "", {{"Vlan10", kHostA}});
    EXPECT_THAT(sw.takeCalls(), IsEmpty());
}

TEST(ActionTranslations, OfUnicastAlwaysHaveADestinationForTheirMac) {
    ActionSwitch sw(kUnicast);
    sw.takeCalls();
    auto const noDestination = "destination 10.0.0.9:7000 within 32 bits becomes 0.0.0.0:0, dmac "
                               "00:00:00:00:00:0a) -> true";
    sw.action("", "", {{"Vlan10", kHostA}});
    EXPECT_THAT(sw.takeCalls(), Contains(EndsWith(noDestination)));
    sw.action(kUnicast, "", {{"Vlan10", kHostA}});
    sw.takeCalls();
    sw.action("", "", {{"Vlan10", kHostA}}); // lost, but not deleted
    EXPECT_THAT(sw.takeCalls(), ElementsAre(EndsWith(noDestination)));
}

TEST(ActionTranslations, WithoutDestinationUseTheFirstIdentifierInBothGroups) {
    ActionSwitch sw;
    sw.action("", kSource, {{"Vlan10", kHostA}});
    auto const portSets = sw.hwAction()->vlanPortSets();
    EXPECT_EQ(portSets->mcastPortSet(10)->portSetId(), 2U);
    EXPECT_EQ(portSets->mcastPortSet(10)->portSetId2(), 0U);
    EXPECT_TRUE(sw.chip->groups().at(1).portSets.at(1).source);
    EXPECT_TRUE(sw.chip->groups().at(2).portSets.at(2).source);
    // The flow names no destination and none is recorded: for the destination nothing changed.
    EXPECT_THAT(sw.takeCalls(), Not(Contains(HasSubstr("updateNatFlowDstTranslation"))));
}

TEST(ActionLifecycle, WaitsForItsVersionAndKeepsItsRecordIfItNeverGotOne) {
    ActionSwitch sw(kMulticast);
    TestSupport::TraceRecorder traces("UmoNatFlowActionSm/2");
    sw.nat->natFlow("p")->match("m")->actionIs("a");
    EXPECT_THAT(traces.messages, Contains(EndsWith("Version not initialized yet, skip update")));
    EXPECT_EQ(sw.chip->calls(UmoAgent::SoftSwitch::Operation::updatePortSet), 0U);
    sw.removeAction("p", "m", "a");
    EXPECT_TRUE(sw.hwAction());
    sw.action("", "", {});
    sw.removeAction("p", "m", "a");
    EXPECT_FALSE(sw.hwAction());
}

TEST(ActionLifecycle, TakesItselfOutOfGroupsThatOthersGoOnUsing) {
    ActionSwitch sw(kUnicast);
    sw.action("", kSource, {{"Vlan10", kHostA}});
    sw.NatSwitch::action("p", "m", "b", "", "", {{"Vlan10", kHostA}});
    sw.takeCalls();
    TestSupport::TraceRecorder traces("UmoNatFlowMcastTopologySm/4");
    sw.removeAction("p", "m", "a");
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre(deletedPortSet(1, 1), deletedSource(1, 1), deletedDestination(1, 1)));
    EXPECT_THAT(traces.messages,
                ElementsAre(EndsWith("delActionSm, policy: p, match: m, action: a")));
}

TEST(ActionLifecycle, ResetsByTheOldFlowTypeBeforeTheNewIsRecorded) {
    ActionSwitch sw(kMulticast);
    sw.action("", kSource, {{"Vlan10", kHostA}});
    sw.takeCalls();
    sw.match("p", "m", kUnicast);
    EXPECT_THAT(sw.takeCalls(),
                ElementsAre(deletedPortSet(1, 1), deletedSource(1, 1), updatedPortSet(1, 0),
                            updatedSource(1, 2), updatedDestination(1, 2)));
    EXPECT_EQ(sw.hwAction()->flowType(), Ip::Nat::natFlowTypeUnicast);
}

TEST(ActionLifecycle, AsksForAnotherNumberOfGroupsOnceAndIsCalledBack) {
    ActionSwitch sw;
    auto const status = sw.action(kMulticast, "", {{"Vlan10", kHostA}});
    auto const before = sw.matchSm("p", "m").matchSmStatus()->groupNumUpdate();
    status->dstIs({});
    sw.repeatPass(); // what is not seen does not count
    EXPECT_EQ(sw.matchSm("p", "m").matchSmStatus()->groupNum(), 1U);
    status->versionIs(status->version() + 1);
    EXPECT_EQ(sw.matchSm("p", "m").matchSmStatus()->groupNumUpdate(), before + 1);
    EXPECT_EQ(sw.matchSm("p", "m").matchSmStatus()->groupNum(), 2U);
    EXPECT_EQ(sw.hwAction()->flowType(), Ip::Nat::natFlowTypeNone);
    EXPECT_EQ(sw.hwAction()->vlanPortSets()->ucastPortSet().size(), 1U);
}

TEST(ActionLifecycle, NothingRefersToAMachineThatEndsWhileIncomplete) {
    ActionSwitch sw(kMulticast);
    auto const status = sw.action("", "", {{"Vlan10", kHostA}, {"Ethernet3", kHostA}});
    status->versionIs(0);
    sw.portState(20, "Ethernet3", PortState::blocking); // queues it
    auto const &topologySm = *sw.root->topologySm();
    EXPECT_EQ(topologySm.actionSmUpdateBacklog().size(), 1U);
    TestSupport::TraceRecorder traces("UmoNatFlowMcastTopologySm/4");
    sw.removeAction("p", "m", "a");
    EXPECT_TRUE(topologySm.actionSmUpdateBacklog().empty());
    EXPECT_TRUE(topologySm.actionIntf().empty());
    EXPECT_TRUE(topologySm.actionVlan().empty());
    EXPECT_TRUE(topologySm.actionMac().empty());
    EXPECT_THAT(traces.messages, IsEmpty());
    sw.runFor(1);
}
