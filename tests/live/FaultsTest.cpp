#include "agent/cli/Question.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/VirtualSwitch.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <thread>

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

using Arguments = TestSupport::ChildProcess::Arguments;
using Numbers = std::vector<std::uint32_t>;

constexpr milliseconds kPatience(10'000);
constexpr char const *kInStep = "the switch has what it should have";

/// The numbers from `first` to `last`.
Numbers range(std::uint32_t first, std::uint32_t last) {
    Numbers all(last + 1 - first);
    std::iota(all.begin(), all.end(), first);
    return all;
}

bool has(std::string const &text, std::string const &piece) {
    return text.find(piece) != std::string::npos;
}

template <class Condition>
bool eventually(Condition const &condition) {
    auto const deadline = steady_clock::now() + kPatience;
    while (!condition()) {
        if (steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds(5));
    }
    return true;
}

/// A match for packets to the customer's group, with copies to group 239.2.2.`to`, or the
/// same number.
std::string customer(int number, int to = 0) {
    std::string const name = std::to_string(number);
    return "m" + name + ": {flow: {destination: 239.1.1." + name +
           ", destination-port: 5}, actions: {a: {source: 10.9.9.9, destination: \"239.2.2." +
           (to == 0 ? name : std::to_string(to)) + ":8\", egress: [Vlan20]}}}, ";
}

/// A UDP packet from 10.1.1.1:4000 to 239.1.1.`group`, port 5, with the number as its payload.
TestSupport::VirtualSwitch::Frame packet(int group, std::uint32_t number) {
    TestSupport::VirtualSwitch::Frame frame{
        1, 0,  0x5e, 1, 1, 0,  2, 0, 0, 0,   0, 1, 8, 0,    0x45, 0, 0, 32, 0,  0, 0,
        0, 16, 17,   0, 0, 10, 1, 1, 1, 239, 1, 1, 0, 0x0f, 0xa0, 0, 5, 0,  12, 0, 0};
    frame[5] = frame[33] = static_cast<std::uint8_t>(group);
    for (int shift = 24; shift >= 0; shift -= 8) {
        frame.push_back(static_cast<std::uint8_t>(number >> shift));
    }
    return frame;
}

/// An agent process. Its end kills it, as the end of the test does.
class Agent {
  public:
    Agent(std::string const &folder, Arguments command)
        : socket_(folder + "/agent.sock"),
          process_((command.insert(command.begin(),
                                   {UMO_AGENT, "--bridge=br0", "--ovsdb=" + folder + "/db.sock",
                                    "--socket=" + socket_, folder + "/feeds.yaml"}),
                    command),
                   {}, output_.number(), output_.number()) {}

    void signal(int number) const { kill(process_.id(), number); }
    /// Returns the status of the process, which must end.
    int end() { return process_.endsWithin(kPatience) ? process_.status() : -1; }

    /// The answer to a command; empty if there is none yet.
    [[nodiscard]] std::string ask(std::string const &line) const {
        try {
            return UmoAgent::ask(socket_, line, std::chrono::seconds(10));
        } catch (std::runtime_error const &) {
            return "";
        }
    }
    [[nodiscard]] int counter(std::string const &name) const {
        std::string const text = ask("showCounters");
        auto const at = text.find("  " + name + ' ');
        return at == std::string::npos ? -1 : std::atoi(text.c_str() + at + name.size() + 2);
    }
    /// What it printed.
    [[nodiscard]] std::string log() const {
        std::array<char, 65536> text{};
        ssize_t const size = pread(output_.number(), text.data(), text.size(), 0);
        return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
    }
    /// The processor time of the agent and of the programs that it ran, so far.
    [[nodiscard]] milliseconds busy() const {
        std::ifstream stat("/proc/" + std::to_string(process_.id()) + "/stat");
        std::vector<std::string> const fields{std::istream_iterator<std::string>(stat), {}};
        long ticks = 0;
        for (std::size_t field = 13; field < 17; ++field) {
            ticks += std::stol(fields.at(field));
        }
        return milliseconds(1000 * ticks / sysconf(_SC_CLK_TCK));
    }

  private:
    UmoAgent::Descriptor output_{memfd_create("agent", MFD_CLOEXEC)};
    std::string socket_;
    TestSupport::ChildProcess process_;
};

/// A switch with a source in VLAN 10, at p1, and receivers in VLAN 20, at p2; its agent; and two
/// customers: packets to 239.1.1.N become copies to 239.2.2.N.
struct Faults : testing::Test {
    Faults() {
        makeBridge();
        feeds(customer(1) + customer(2));
    }

    void makeBridge() {
        ovs.bridge("br0");
        ovs.port("br0", "p1", {"tag=10"}, {"ofport_request=1"});
        ovs.port("br0", "p2", {"tag=20"}, {"ofport_request=2"});
        ovs.port("br0", "p3", {"tag=10"}, {"ofport_request=3"});
        ovs.vsctl(
            {"add-port", "br0", "v20", "tag=20", "--", "set", "interface", "v20", "type=internal"});
    }

    /// Writes the file of the feeds; a running agent reads it again.
    void feeds(std::string const &matches) const {
        std::ofstream(ovs.directory() + "/feeds.yaml")
            << "ip-interfaces: {Vlan20: {address: 10.0.20.1/24}}\n"
            << "policies: {feed: {matches: {" << matches << "}}}\n";
        if (agent) {
            agent->signal(SIGHUP);
        }
    }
    /// Starts an agent, instead of another one, and waits until it has programmed the switch.
    void start(Arguments const &options = {}) {
        agent.reset();
        agent.emplace(ovs.directory(), options);
        ASSERT_TRUE(eventually([&] { return programmed(0); })) << agent->log();
    }
    /// Whether the agent is in step with the switch, which has taken more than `bundles` from it.
    [[nodiscard]] bool programmed(int bundles) const {
        return agent->counter("bundles") > bundles && !has(agent->ask("showBacklog"), "note:");
    }

    /// Sends a number of packets to each of the two customers.
    void send(int count) {
        for (; count > 0; --count) {
            ++sent;
            ovs.receive("p1", packet(1, sent));
            ovs.receive("p1", packet(2, sent));
        }
    }
    /// Goes on sending until the condition holds.
    template <class Condition>
    bool sendUntil(Condition const &condition) {
        return eventually([&] { return send(5), condition(); });
    }
    bool sendUntilProgrammed(int bundles) {
        return sendUntil([&] { return programmed(bundles); });
    }
    /// The numbers of the packets to 239.N.N.`group` that have left by the port since the last
    /// call.
    Numbers copies(std::string const &port, int group, int n = 2) {
        for (auto const &frame : ovs.sent(port)) {
            std::uint32_t number = 0;
            for (std::size_t i = 42; i < 46; ++i) {
                number = number << 8U | frame.at(i);
            }
            arrived[port][{frame.at(32), frame.at(33)}].push_back(number);
        }
        return std::exchange(arrived[port][{n, group}], {});
    }
    /// Expects each packet since the last call once, as a copy for each customer.
    void expectAll() {
        EXPECT_EQ(copies("p2", 1), range(seen + 1, sent));
        EXPECT_EQ(copies("p2", 2), range(seen + 1, sent));
        seen = sent;
    }
    void forgetAll() {
        static_cast<void>(copies("p2", 1));
        arrived.clear();
        seen = sent;
    }

    std::string ofctl(Arguments command) const {
        command.insert(command.begin(), {"-O", "OpenFlow15"});
        return ovs.ofctl(command);
    }
    /// The flows and groups of the switch, one element each.
    [[nodiscard]] std::set<std::string> dump() const {
        std::set<std::string> lines;
        std::istringstream text(ofctl({"dump-groups", "br0"}) +
                                ofctl({"--no-stats", "dump-flows", "br0"}));
        for (std::string line; std::getline(text, line);) {
            if (!has(line, "reply")) {
                lines.insert(line);
            }
        }
        return lines;
    }
    [[nodiscard]] std::set<std::string> groups() const { // their ids
        constexpr std::string_view kId = " group_id=";
        std::set<std::string> ids;
        for (std::string const &line : dump()) {
            if (line.starts_with(kId)) {
                ids.insert(line.substr(kId.size(), line.find(',') - kId.size()));
            }
        }
        return ids;
    }

    TestSupport::VirtualSwitch ovs;
    std::optional<Agent> agent;
    std::uint32_t sent = 0, seen = 0;
    std::map<std::string, std::map<std::pair<int, int>, Numbers>> arrived; // by port and group
};

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
    ASSERT_TRUE(eventually([&] { return programmed(1); })) << agent->log();
    send(20);
    EXPECT_EQ(copies("p4", 1), range(seen + 1, sent));
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
