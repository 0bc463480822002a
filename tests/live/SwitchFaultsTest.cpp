#include "tests/live/Faults.h"

#include <filesystem>
#include <string>
#include <thread>

using namespace LiveTest;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

TEST_F(Faults, ASwitchThatComesBackIsProgrammedAgainAlsoWithOtherPortNumbers) {
    start();
    for (char const *const number : {"2", "9"}) {
        send(20);
        expectAll();
        int const bundles = agent->counter("bundles");
        ovs.killSwitch();
        ASSERT_TRUE(eventually(
            [&] { return has(agent->ask("showChip"), "note: the switch is not there"); }));
        ovs.vsctl({"set", "interface", "p2", std::string("ofport_request=") + number});
        auto const started = steady_clock::now();
        ovs.startSwitch();
        forgetAll();
        ASSERT_TRUE(sendUntilProgrammed(bundles)) << agent->log();
        auto const time = std::chrono::ceil<milliseconds>(steady_clock::now() - started);
        EXPECT_LT(time, milliseconds(2000));
        RecordProperty(std::string("milliseconds-to-") + number, static_cast<int>(time.count()));
        send(20);
        for (int const group : {1, 2}) {
            Numbers const after = copies("p2", group); // none is missing from the first one on
            ASSERT_THAT(after, Not(IsEmpty()));
            EXPECT_EQ(after, range(after.front(), sent));
        }
        seen = sent;
        EXPECT_THAT(agent->ask("audit"), StartsWith(kInStep));
    }
    EXPECT_EQ(ovs.vsctl({"get", "interface", "p2", "ofport"}), "9\n");
}

TEST_F(Faults, ADatabaseThatComesBackCostsNoCopyAndChangesArriveAgain) {
    ovs.port("br0", "p4", {"tag=30"});
    start({"--audit", "100ms"});
    send(20);
    expectAll();
    ovs.killDatabase();
    auto const busy = agent->busy();
    send(20);
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_LT(agent->busy() - busy, milliseconds(200));
    EXPECT_THAT(agent->log(), HasSubstr("db.sock: connection lost"));
    ovs.startDatabase();
    auto const started = steady_clock::now();
    int const audits = agent->counter("audits");
    ASSERT_TRUE(eventually([&] { return agent->counter("audits") > audits + 1; }));
    auto const time = std::chrono::ceil<milliseconds>(steady_clock::now() - started);
    RecordProperty("milliseconds", static_cast<int>(time.count()));
    EXPECT_LT(time, milliseconds(4000)); // the switch tries after 1 and 3 s
    send(20);
    expectAll();
    EXPECT_EQ(agent->counter("groups and flows that they mended"), 0) << agent->log();
    EXPECT_EQ(agent->counter("bundles"), 1);
    ovs.vsctl({"set", "port", "p4", "tag=20"});
    // The switch drops the paths that it has cached a moment after it has taken the change.
    ASSERT_TRUE(sendUntil([&] { return !copies("p4", 1).empty(); })) << agent->log();
    std::uint32_t const before = sent;
    send(20);
    EXPECT_EQ(copies("p4", 1), range(before + 1, sent));
    expectAll();
}

TEST_F(Faults, AFreshAgentKeepsTheCopiesWhileTheDatabaseDoesNotKnowTheLinksYet) {
    start();
    send(20);
    agent.reset();
    ovs.killDatabase();
    ovs.startDatabase(); // the switch says how its ports are 1 s after the loss
    agent.emplace(ovs.directory(), Arguments());
    ASSERT_TRUE(sendUntilProgrammed(0)) << agent->log();
    expectAll();
    EXPECT_EQ(agent->counter("bundles"), 1);
    agent.reset();
    ovs.vsctl({"--no-wait", "clear", "interface", "p3", "link_state", "admin_state"});
    auto const started = steady_clock::now();
    agent.emplace(ovs.directory(), Arguments());
    ASSERT_TRUE(sendUntilProgrammed(0)) << agent->log();
    EXPECT_GT(steady_clock::now() - started, milliseconds(4500));
    expectAll();
}

TEST_F(Faults, ABridgeThatIsDeletedOrLosesBothProcessesIsFollowedAgain) {
    start();
    auto const before = dump();
    for (bool const deleted : {true, false}) {
        int const bundles = agent->counter("bundles");
        if (deleted) {
            ovs.vsctl({"del-br", "br0"});
            ASSERT_TRUE(eventually([&] { return has(agent->log(), "it was deleted"); }));
            makeBridge();
        } else {
            ovs.killSwitch();
            ovs.killDatabase();
            ovs.startDatabase();
            ovs.startSwitch();
        }
        ASSERT_TRUE(eventually([&] { return programmed(bundles); })) << agent->log();
        ASSERT_TRUE(eventually([&] { return dump().size() == before.size(); }));
        forgetAll();
        send(20);
        expectAll();
        EXPECT_THAT(agent->ask("audit"), StartsWith(kInStep));
    }
}

TEST(Beginnings, TheAgentWaitsForWhatDoesNotExistYetAndSaysSoOnce) {
    TestSupport::VirtualSwitch ovs;
    ovs.killSwitch();
    ovs.killDatabase();
    std::filesystem::remove(ovs.directory() + "/db.sock");
    std::ofstream(ovs.directory() + "/feeds.yaml") << "policies: {}\n";
    Agent const agent(ovs.directory(), {});
    std::this_thread::sleep_for(milliseconds(400)); // for some tries
    ovs.startDatabase();
    ovs.startSwitch();
    ASSERT_TRUE(eventually([&] { return has(agent.log(), "it is not in the database yet"); }));
    ovs.bridge("br0");
    ovs.vsctl({"add-bond", "br0",       "bond0",     "b1",         "b2",
               "--",       "set",       "interface", "b1",         "type=dummy",
               "--",       "set",       "interface", "b2",         "type=dummy",
               "--",       "add-port",  "br0",       "patch0",     "--",
               "set",      "interface", "patch0",    "type=patch", "options:peer=nobody"});
    ASSERT_TRUE(eventually([&] { return agent.counter("bundles") > 0; })) << agent.log();
    ovs.port("br0", "p1");
    ASSERT_TRUE(eventually([&] { return agent.counter("bundles") > 1; })) << agent.log();
    for (char const *const line :
         {"db.sock: cannot be read: ", "db.sock: connected\n",
          ": cannot be asked: ", "\"br0\": it is not in the database yet\n", "\"br0\": found\n",
          "\"br0\": port \"bond0\" is left out: it is a bond\n",
          "\"br0\": port \"patch0\" is left out: it leads to another bridge\n"}) {
        std::string const log = agent.log();
        EXPECT_THAT(log, HasSubstr(line));
        EXPECT_EQ(log.find(line), log.rfind(line)) << log;
    }
}

} // namespace
