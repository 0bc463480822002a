#include "tests/live/Faults.h"

#include <algorithm>
#include <string>
#include <thread>

using namespace LiveTest;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

TEST_F(Faults, AKilledAgentIsReplacedInOneBundleAndTheStreamLosesNothing) {
    start();
    for (bool const changed : {false, true}) {
        auto const before = groups();
        send(20);
        agent.reset();
        send(20);
        if (changed) {
            feeds(customer(1) + customer(2, 7) + customer(3));
        }
        agent.emplace(ovs.directory(), Arguments());
        ASSERT_TRUE(sendUntilProgrammed(0));
        send(20);
        auto all = groups();
        EXPECT_EQ(all.size(), before.size() + (changed ? 1 : 0));
        all.insert(before.begin(), before.end());
        EXPECT_EQ(all.size(), groups().size() + before.size()); // so none is an old one
        EXPECT_EQ(copies("p2", 1), range(seen + 1, sent));
        Numbers second = copies("p2", 2);
        Numbers const renamed = copies("p2", 7);
        EXPECT_EQ(renamed.empty(), !changed);
        second.insert(second.end(), renamed.begin(), renamed.end());
        EXPECT_EQ(second, range(seen + 1, sent));
        seen = sent;
        EXPECT_THAT(agent->ask("audit"), StartsWith(kInStep));
        EXPECT_EQ(agent->counter("bundles"), 1);
    }
}

TEST_F(Faults, AgentsThatAreKilledAtAnyMomentLoseNoPacketOfOthers) {
    start();
    for (int round = 0; round < 12; ++round) {
        agent.reset();
        feeds(customer(1) + customer(2) + (round % 2 == 0 ? customer(3) : customer(0)));
        agent.emplace(ovs.directory(), Arguments());
        std::this_thread::sleep_for(milliseconds(2 * round));
        send(10);
    }
    feeds(customer(1) + customer(2));
    start({"--audit", "100ms"}); // for what a bundle of a dead agent did afterwards
    ASSERT_TRUE(sendUntil([&] { return groups().size() == 2; }));
    expectAll();
}

TEST_F(Faults, AnAgentThatIsToldToEndTakesOnlyItsOwnOutOfTheSwitch) {
    ofctl({"add-group", "br0", "group_id=5,type=all,bucket=output:2"});
    for (char const *const flow :
         {"cookie=0x99,priority=9,ip,nw_dst=239.9.9.9,actions=group:5",
          "cookie=0x98,table=201,priority=7,reg14=0x5,actions=drop", "table=9,actions=drop"}) {
        ofctl({"add-flow", "br0", flow});
    }
    auto const foreign = dump();
    auto const end = [&] {
        agent->signal(SIGTERM);
        EXPECT_EQ(agent->end(), 0) << agent->log();
    };
    start({"--leave"});
    auto const programmed = dump();
    send(5);
    end();
    EXPECT_EQ(dump(), programmed);
    send(5);
    expectAll();
    start();
    end();
    EXPECT_EQ(dump(), foreign);
    static_cast<void>(copies("p3", 1, 1));
    send(5);
    EXPECT_EQ(copies("p3", 1, 1), range(seen + 1, sent));
    EXPECT_THAT(copies("p2", 1), IsEmpty());
}

TEST_F(Faults, WhatSomebodyElseDidIsFoundAndMended) {
    start({"--audit", "0"});
    auto programmed = dump();
    std::string const group = *groups().begin();
    ofctl({"del-groups", "br0", "group_id=" + group});
    Arguments const flowGoes{"--strict", "del-flows", "br0", "table=200,priority=0"};
    ofctl(flowGoes);
    ofctl({"add-flow", "br0", "table=201,priority=1,reg15=0,reg14=0,cookie=0x756d6f,actions=drop"});
    ofctl({"add-group", "br0", "group_id=100500,type=all,bucket=output:1"});
    auto const wrong = AllOf(HasSubstr("group " + group + " was missing\n"),
                             HasSubstr("flow table=200,priority=0 was missing\n"),
                             HasSubstr("flow table=201,priority=1,reg14=0,reg15=0 was changed\n"),
                             HasSubstr("group 100500 was not the agent's\n"));
    EXPECT_THAT(agent->ask("audit"), AllOf(wrong, ContainsRegex("\nmended: .*\n$")));
    EXPECT_EQ(dump(), programmed);
    EXPECT_THAT(agent->log(), wrong);
    send(20);
    expectAll();

    start({"--audit", "300ms"});
    programmed = dump();
    ofctl(flowGoes);
    EXPECT_TRUE(eventually([&] { return dump() == programmed; })) << agent->log();
    EXPECT_THAT(agent->log(), HasSubstr("audit: flow table=200,priority=0 was missing\n"));
    EXPECT_TRUE(eventually([&] { return agent->counter("audits") > 2; }));
    EXPECT_EQ(agent->counter("groups and flows that they mended"), 1);
    send(20);
    expectAll();
}

TEST_F(Faults, ARefusedBundleChangesNothingIsReportedAndTriedAgain) {
    start();
    auto const before = dump();
    auto const flows = std::count_if(before.begin(), before.end(), [](auto const &line) {
        return !has(line, "group_id=") && !has(line, "table=");
    });
    ovs.vsctl({"--", "--id=@ft", "create", "Flow_Table", "flow_limit=" + std::to_string(flows),
               "overflow_policy=refuse", "--", "set", "Bridge", "br0", "flow_tables:0=@ft"});
    std::string const words = "OFPFMFC_TABLE_FULL";
    for (int const refusals : {0, 3}) {
        feeds(customer(1) + customer(2) + customer(3));
        ASSERT_TRUE(sendUntil([&] {
            return has(agent->ask("showBacklog"), "note: the switch cannot be updated: it refuses");
        })) << agent->log();
        EXPECT_EQ(dump(), before);
        EXPECT_THAT(agent->log(), AllOf(HasSubstr("it refuses a bundle: Error " + words),
                                        HasSubstr("it is tried again every 10 s\n")));
        EXPECT_THAT(agent->ask("showCounters"),
                    ContainsRegex("refused bundles +" + std::to_string(refusals + 3) +
                                  "\n(.*\n)*  last refusal: .*" + words));
        if (refusals == 0) { // what it refuses is given up
            feeds(customer(1) + customer(2));
            ASSERT_TRUE(eventually([&] { return has(agent->log(), "programmed again: "); }));
            EXPECT_FALSE(has(agent->ask("showBacklog"), "note:"));
        }
    }
    EXPECT_THAT(agent->ask("audit"), AllOf(StartsWith("%"), HasSubstr(words)));
    EXPECT_EQ(agent->counter("refused bundles"), 7);
    ovs.vsctl({"clear", "Bridge", "br0", "flow_tables"});
    EXPECT_THAT(agent->ask("audit"), AllOf(HasSubstr(": 3 groups, "), Not(HasSubstr("note:"))));
    EXPECT_EQ(groups().size(), 3U);
    expectAll();
}

TEST_F(Faults, AMatchWithoutAGroupWaitsForOneAndAllGroupsCanChangeHands) {
    Arguments const options{"--group-range", "100000-100001"};
    feeds(customer(1) + customer(2) + customer(3));
    start(options);
    EXPECT_THAT(agent->ask("showNatFlowGroup"), ContainsRegex(" m3 .* waiting\n"));
    send(20);
    agent.reset();
    feeds(customer(2) + customer(3, 9) + customer(4, 1));
    agent.emplace(ovs.directory(), options); // it has no other groups than those in use
    ASSERT_TRUE(sendUntilProgrammed(0));
    EXPECT_THAT(agent->ask("showNatFlowGroup"), ContainsRegex(" m4 .* waiting\n"));
    feeds(customer(2) + customer(5, 8));
    ASSERT_TRUE(sendUntilProgrammed(1));
    EXPECT_THAT(agent->ask("showNatFlowGroup"), ContainsRegex(" m5 .* programmed\n"));
    EXPECT_EQ(copies("p2", 2), range(1, sent));
    ovs.receive("p1", packet(5, 77));
    EXPECT_EQ(copies("p2", 8), range(77, 77));
}

TEST_F(Faults, OtherCustomersLoseNothingWhenFeedsChange) {
    start();
    feeds(customer(1) + customer(2) + customer(3));
    ASSERT_TRUE(sendUntilProgrammed(1));
    EXPECT_THAT(agent->log(), HasSubstr("with 2 changes\n"));
    feeds(customer(3, 9) + customer(2) + customer(1) + customer(4));
    ASSERT_TRUE(sendUntilProgrammed(2));
    feeds(customer(1) + customer(2));
    ASSERT_TRUE(sendUntilProgrammed(3));
    auto const before = dump();
    feeds("m1: {flow: {destination: nowhere}}");
    ASSERT_TRUE(sendUntil([&] { return has(agent->log(), "SIGHUP: nothing was changed\n"); }));
    EXPECT_THAT(agent->log(), ContainsRegex("/feeds.yaml:2:[0-9]+: .*nowhere"));
    EXPECT_EQ(dump(), before);
    for (char const *const egress : {"[Vlan20]", "[Vlan10]", "[Vlan20, Vlan10]"}) {
        std::string const file = ovs.directory() + "/apply.yaml";
        std::ofstream(file)
            << "events: [{set: {policies: {other: {matches: {m: {flow: {destination: "
            << "239.1.1.9}, actions: {a: {destination: 239.3.3.3, egress: " << egress
            << "}}}}}}}}]\n";
        EXPECT_THAT(agent->ask("apply " + file), StartsWith("applied 1 event")) << agent->log();
        send(50);
    }
    expectAll();
    ovs.appctl("revalidator/purge"); // the groups count all packets up to now
    auto const count = ",.*,packet_count=" + std::to_string(sent) + ",";
    EXPECT_THAT(
        ofctl({"dump-group-stats", "br0"}),
        AllOf(ContainsRegex("group_id=100000" + count), ContainsRegex("group_id=100001" + count)));
}

} // namespace
