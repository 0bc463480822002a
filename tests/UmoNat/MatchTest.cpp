#include "Mox/LogEvent.h"
#include "tests/support/NatSwitch.h"

#include <random>
#include <stdexcept>

using testing::StartsWith;

using namespace TestSupport;

namespace {

/// A chip of one group, which match "holder" has.
struct FullSwitch : NatSwitch {
    explicit FullSwitch(std::initializer_list<char const *> waiting) : NatSwitch({.groups = 1}) {
        oneGroup("holder");
        start();
        for (char const *const name : waiting) {
            oneGroup(name);
        }
        takeCalls();
    }
    void oneGroup(char const *name) const {
        match(name, kMulticast);
        action(name, "a");
    }
    void freeHolder() {
        removeAction("holder", "a");
        takeCalls();
    }
};

} // namespace

TEST(Retry, WorksOnlyInARunWhichYieldsWhenItsTimeSliceIsOverAndGoesOnAtOnce) {
    FullSwitch sw({"m1", "m2"});
    sw.chip->capacityIs({.groups = 2});
    sw.freeHolder();
    sw.checked->logIs([&](auto const &) { // a slow chip
        sw.clock->advanceTo(sw.clock->now() + std::chrono::milliseconds(20));
    });
    sw.clock->advanceTo(std::chrono::seconds(10));
    TraceRecorder traces("UmoNatFlowMcastSm/9");
    sw.root->handleUnprogrammedGroup();
    EXPECT_EQ(sw.takeCalls() + storyOf(traces.messages), "Task not running|");
    EXPECT_EQ(sw.scheduler->runDueTasks(), 1U);
    EXPECT_EQ(storyOf(traces.messages), "Yielding. Scheduled unprogrammed group task|"
                                        "Entries checked: 1, remaining: 1|");
    EXPECT_EQ(sw.scheduler->runDueTasks(), 1U);
    EXPECT_EQ(storyOf(traces.messages), "Entries checked: 1, remaining: 0|");
    EXPECT_EQ(sw.scheduler->runDueTasks(), 0U);
    EXPECT_EQ(sw.root->unprogrammedGroupTask()->taskWorkCount(), 2U);
    sw.checked->logIs(nullptr);
}

TEST(Retry, KeepsAMatchWhoseNumberChangesInItAndIsRefused) {
    FullSwitch sw({});
    sw.match("m", NatSwitch::kNone);
    sw.action("m", "a", "239.9.9.9:1").dstIs({}); // not seen before the next pass
    sw.freeHolder();
    sw.runFor(10);
    EXPECT_EQ(sw.takeCalls(), "create m, unicast false -> 2|delete m, group 2|"
                              "create m, unicast true -> 3|create m, unicast false -> 0|");
    EXPECT_FALSE(sw.root->unprogrammedGroup().empty());
    sw.groupsLeft = 1; // half of the pair
    EXPECT_DEATH(sw.matchSm("m").createNatFlowGroups(3), "groups == 2");
}

TEST(Tree, StaleStatusIsWipedDownToThePortSetsBeforeAnyPolicyIsSeen) {
    NatSwitch sw;
    struct {
        Mox::Ptr<Ip::Nat::HwNatFlowPolicyStatus> policy;
        Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus> match;
        Mox::Ptr<Ip::Nat::NatFlowVlanPortSets> portSets;
    } held[8]; // what is in no tree any more is empty, too
    for (int i = 0; auto &[policy, match, portSets] : held) {
        policy = sw.hw->natFlowIs(i / 4 == 0 ? "p" : "q");
        match = policy->matchIs(i / 2 % 2 == 0 ? "m" : "n");
        portSets = Ip::Nat::natFlowVlanPortSetsFactory();
        portSets->ucastPortSetIs(10);
        portSets->mcastPortSetIs(10);
        match->actionIs(i++ % 2 == 0 ? "a" : "b")->vlanPortSetsIs(portSets);
    }
    sw.match("new", kMulticast);
    sw.start();
    for (auto const &[policy, match, portSets] : held) {
        EXPECT_TRUE(policy->match().empty() && match->action().empty() &&
                    portSets->ucastPortSet().empty() && portSets->mcastPortSet().empty());
    }
    EXPECT_TRUE(sw.hw->natFlow().size() == 1 && sw.hw->natFlow("p")->match().size() == 1);
    EXPECT_EQ(sw.takeCalls(), "");
}

TEST(Tree, GoesFromTheLeavesUpAndWhoeverHoldsARecordSeesNothingInItAnyMore) {
    RunningSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    sw.match("m", NatSwitch::kNone).flowIs({{Nexo::IpAddr(1), 16, 1}, {{}, 24, 2}});
    sw.action("m", "a", NatSwitch::kNone, "10.9.9.9:5000", {{"Vlan10", kMac}});
    sw.action("m", "b", kMulticast, "10.9.9.9:5000", {{"Vlan10", kMac}});
    auto const policy = sw.hw->natFlow("p");
    auto const match = policy->match("m");
    std::pair<Mox::Ptr<Ip::Nat::HwNatFlowActionStatus>, Mox::Ptr<Ip::Nat::NatFlowVlanPortSets>>
        held[] = {{match->action("a"), {}}, {match->action("b"), {}}};
    for (auto &[action, portSets] : held) {
        portSets = action->vlanPortSets();
        EXPECT_EQ(action->srcLen() + action->dstLen(), 40U);
    }
    auto const tell = [&](char const *what) { return [&, what] { sw.calls.push_back(what); }; };
    OnChange const ofTree(*sw.hw, tell("tree")), ofPolicy(*policy, tell("policy")),
        ofMatch(*match, tell("match"));
    sw.hw->natFlowIs("of somebody else");
    sw.takeCalls();
    sw.stop();
    EXPECT_EQ(sw.takeCalls(),
              "delete Vlan 1/1|delete Src 1/1|delete Dst 1/1|delete Vlan 2/2|delete Src 2/2|match|"
              "delete Vlan 1/3|delete Src 1/3|delete Dst 1/3|"
              "delete Vlan 2/4|delete Src 2/4|delete Dst 2/4|match|"
              "delete m, group 1|delete m, group 2|match|match|policy|tree|tree|");
    Nexo::IpAndPort const none;
    for (auto const &[action, portSets] : held) {
        EXPECT_TRUE(action->srcNat() == none && action->srcFlow() == none &&
                    action->dstNat() == none && action->dstFlow() == none &&
                    action->srcLen() + action->dstLen() == 0 && !action->vlanPortSets() &&
                    portSets->ucastPortSet().empty() && portSets->mcastPortSet().empty());
    }
}

TEST(Tree, AStartThatFailsLeavesNothingBehind) {
    NatSwitch sw;
    sw.vlan(10, {"Ethernet1"});
    sw.match("m", kMulticast);
    sw.action("m", "good", NatSwitch::kNone, NatSwitch::kNone, {{"Vlan10", kMac}});
    sw.action("m", "bad").intfIs(et1, {5000, Nexo::EthAddr()}); // a next hop in no VLAN
    EXPECT_THAT([&] { sw.start(); }, testing::ThrowsMessage<std::range_error>(kRange));
    EXPECT_THAT(sw.takeCalls(), StartsWith("create m, unicast false -> 1|update Vlan 1/0|"));
    EXPECT_EQ(sw.chip->groupsInUse(), 0U);
    sw.nat->natFlowIs("q"); // nobody listens any more
    EXPECT_TRUE(sw.hw->natFlow().empty());
    EXPECT_EQ(sw.ipStatus->references(), 1U);
}

TEST(Root, NeedsItsTreeAndItsHelperButNoPoliciesAndGivesAMachineOneSetOfInputs) {
    NatSwitch sw;
    auto const hw = std::exchange(sw.hw, nullptr);
    EXPECT_DEATH(sw.start(), "hwStatus\\(\\)");
    sw.hw = hw;
    sw.helper = nullptr;
    EXPECT_DEATH(sw.start(), "helper\\(\\)");
    sw.helper = sw.checked;
    sw.match("m", kMulticast);
    auto const nat = std::exchange(sw.nat, nullptr);
    sw.start();
    sw.root->handleNatFlowPolicy("p");
    EXPECT_TRUE(sw.root->policySm().empty());
    EXPECT_DEATH(sw.root->policySmIs({}), "policyStatus\\(\\), .*UmoNatFlowMcastSm.cpp");
    EXPECT_DEATH(UmoNatFlowPolicySmIs({}), "policyStatus\\(\\), .*UmoNatFlowPolicySm.cpp");
    UmoNatFlowPolicySm::Inputs inputs{nat->natFlow("p"), sw.hw, sw.root->topologySm().ptr(),
                                      sw.chip,           {},    sw.root.ptr()};
    sw.root->policySmIs(inputs);
    sw.root->policySmIs(inputs); // the one that is there
    inputs.helper = nullptr;
    EXPECT_THROW(sw.root->policySmIs(inputs), Mox::MutatorReinstantiatingException);
    Vyr::Task const &retry = *sw.root->unprogrammedGroupTask(),
                    &backlog = *sw.sm().actionSmUpdateBacklogTask();
    EXPECT_EQ(retry.nameString() + " " + backlog.nameString(),
              "unprogrammedGroupTask actionSmUpdateBacklogTask");
    EXPECT_EQ(retry.priority() * 10 + backlog.priority(), 44U);
    EXPECT_EQ(sw.root->unprogrammedGroupTaskDelay(), Mox::Seconds(10));
    EXPECT_EQ(sw.sm().actionSmUpdateBacklogTaskInterval(), Mox::Seconds(0.1));
    EXPECT_EQ(sw.sm().actionSmUpdateBacklogTaskLimit(), 100U);
}

/// The number is counted, not looked for at each question, so it is compared with a look.
TEST(Match, WantsTwoGroupsWhenSomeActionHasNoDestinationWhateverBecameOfItsActions) {
    RunningSwitch sw;
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        std::string const matchName = "m" + std::to_string(round);
        auto &status = sw.match(matchName.c_str(), NatSwitch::kNone);
        auto &machine = sw.matchSm(matchName.c_str());
        std::vector<Mox::Ptr<UmoNatFlowActionSm>> held;
        Mox::Ptr<Ip::Nat::NatFlowActionStatus> gone;
        for (int step = 0; step < 60; ++step) {
            std::string const name(1, static_cast<char>('a' + random() % 3));
            auto const action = status.action(name);
            auto const *const actionSm = machine.actionSm().find(name);
            auto const what = random() % (round % 4 == 0 ? 12 : 10); // rarely a deaf machine
            if (what == 0 && gone && !status.action(gone->name())) {
                status.actionIs(gone->name(), gone);
            } else if (what < 2) {
                status.actionIs(name);
            } else if (what == 2) {
                sw.match(matchName, step % 2 == 0 ? NatSwitch::kNone : kMulticast);
            } else if (action && what == 3) {
                actionSm != nullptr ? held.push_back(*actionSm) : void();
                gone = action;
                status.actionDel(name);
            } else if (action && what == 4) {
                action->versionIs(action->version() + 1);
            } else if (action && what < 10) { // nobody evaluates it
                action->dstIs({Nexo::IpAddr(random() % 3 == 0 ? 0U : 1U), 0});
            } else if (actionSm != nullptr && what == 10) {
                (*actionSm)->hasNotificationActiveIs(step % 2 == 0);
            } else if (what == 11) {
                machine.actionSmDel(name);
            }
            bool two = false;
            for (auto const &[key, each] : status.action()) {
                two = two || each->dst().addr().isZero();
            }
            two = two && status.flow().destination.addr.isZero();
            ASSERT_EQ(machine.getGroupNum(), status.action().empty() ? 0U
                                             : two                   ? 2U
                                                                     : 1U)
                << matchName << ", step " << step;
        }
    }
}

TEST(Root, RunsWithoutHardwareByAHelperThatRefusesEveryGroup) {
    NatSwitch sw;
    sw.helper = Mox::make<UmoHelper::UmoNatFlowMcastHelper>("none");
    sw.start();
    for (char const *const destination : {kMulticast, NatSwitch::kNone}) {
        sw.match(destination, destination);
        sw.action(destination, "a");
    }
    EXPECT_EQ(sw.root->unprogrammedGroup().size(), 2U);
    EXPECT_EQ(sw.helper->nameString(), "none");
    EXPECT_EQ(sw.helper->updateNatFlowVlanPortSet(1, 2, nullptr), 0U);
    EXPECT_FALSE(sw.helper->updateNatFlowSrcTranslation(1, 2, 10, {}, {}, 0) ||
                 sw.helper->updateNatFlowDstTranslation(1, 2, 10, {}, {}, 0, {}));
}

TEST(LogEvents, AreInTheCatalogueUntilTheyGoAndAreNotLimited) {
    for (Mox::LogHandle const *const handle : Mox::logHandles()) {
        Mox::LogEvent const &event = handle->event();
        EXPECT_EQ(event.minimumInterval, Mox::Seconds(0));
        EXPECT_EQ(event.factor + event.firstLimit + event.secondLimit, 1.0);
    }
    auto passing = std::make_unique<Mox::LogHandle>(Mox::LogEvent());
    EXPECT_EQ(Mox::logHandles().back(), passing.get());
    passing.reset();
    EXPECT_EQ(Mox::logHandles().size(), 3U);
}
