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
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

using Arguments = TestSupport::ChildProcess::Arguments;
using Numbers = std::vector<std::uint32_t>;

constexpr milliseconds kPatience(10'000);

/// The numbers from `first` to `last`.
Numbers range(std::uint32_t first, std::uint32_t last) {
    Numbers all(last + 1 - first);
    std::iota(all.begin(), all.end(), first);
    return all;
}

std::string inNumber(char const *before, int number, char const *after = "") {
    return before + std::to_string(number) + after;
}

std::string joined(std::string const &separator, std::vector<std::string> const &pieces) {
    std::string text;
    for (std::string const &piece : pieces) {
        text += (text.empty() ? "" : separator) + piece;
    }
    return text;
}

/// A match for packets to the customer's group, with copies to group 239.2.2.`to`.
std::string customer(int number, int to) {
    return inNumber("m", number, ": {flow: {destination: 239.1.1.") +
           inNumber("", number, ", destination-port: 5}, actions: {a: {source: 10.9.9.9, ") +
           inNumber("destination: \"239.2.2.", to, ":8\", egress: [Vlan20]}}}");
}
std::string customer(int number) {
    return customer(number, number);
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
    Agent(TestSupport::VirtualSwitch const &ovs, Arguments const &options = {})
        : socket_(ovs.directory() + "/agent.sock"),
          process_(command(ovs, options), {}, output_.number(), output_.number()) {}

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
        return milliseconds(
            1000 / sysconf(_SC_CLK_TCK) *
            std::accumulate(fields.begin() + 13, fields.begin() + 17, 0L,
                            [](long sum, auto const &ticks) { return sum + std::stol(ticks); }));
    }

  private:
    static Arguments command(TestSupport::VirtualSwitch const &ovs, Arguments const &options) {
        std::string const &folder = ovs.directory();
        Arguments all{UMO_AGENT,
                      "--bridge",
                      "br0",
                      "--ovsdb",
                      folder + "/db.sock",
                      "--socket",
                      folder + "/agent.sock"};
        all.insert(all.end(), options.begin(), options.end());
        all.push_back(folder + "/feeds.yaml");
        return all;
    }

    UmoAgent::Descriptor output_{memfd_create("agent", MFD_CLOEXEC)};
    std::string socket_;
    TestSupport::ChildProcess process_;
};

bool has(std::string const &text, std::string const &piece) {
    return text.find(piece) != std::string::npos;
}

template <class Condition>
bool eventually(Condition const &condition, milliseconds patience = kPatience) {
    auto const deadline = steady_clock::now() + patience;
    while (!condition()) {
        if (steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds(5));
    }
    return true;
}

/// Waits until it is in step with the switch, which has taken more than `bundles`.
bool programs(Agent const &agent, int bundles = 0, milliseconds patience = kPatience) {
    return eventually(
        [&] {
            return agent.counter("bundles") > bundles && !has(agent.ask("showBacklog"), "note:");
        },
        patience);
}

/// A switch with a source in VLAN 10, at p1, and receivers in VLAN 20, at p2. Each customer has a
/// group: packets to 239.1.1.N become copies to 239.2.2.N.
struct Faults : testing::Test {
    Faults() { makeBridge(); }

    void makeBridge() {
        ovs.bridge("br0");
        ovs.port("br0", "p1", {"tag=10"}, {"ofport_request=1"});
        ovs.port("br0", "p2", {"tag=20"}, {"ofport_request=2"});
        ovs.port("br0", "p3", {"tag=10"}, {"ofport_request=3"});
        ovs.vsctl(
            {"add-port", "br0", "v20", "tag=20", "--", "set", "interface", "v20", "type=internal"});
    }

    [[nodiscard]] std::string write(std::string const &file, std::string const &text) const {
        std::string path = ovs.directory() + "/" + file;
        std::ofstream(path) << text;
        return path;
    }
    /// Writes the file of the feeds.
    void feeds(std::vector<std::string> const &customers) const {
        static_cast<void>(write("feeds.yaml", "ip-interfaces: {Vlan20: {address: 10.0.20.1/24}}\n"
                                              "policies: {feed: {matches: {" +
                                                  joined(", ", customers) + "}}}\n"));
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
        return eventually([&] {
            send(5);
            return condition();
        });
    }
    bool sendUntilProgrammed(Agent const &agent, int bundles = 0) {
        return sendUntil([&] { return programs(agent, bundles, milliseconds(0)); });
    }
    /// The numbers of the packets that have left by the port to that group since the last call.
    Numbers copies(std::string const &port, int group) {
        for (auto const &frame : ovs.sent(port)) {
            auto const number = std::accumulate(
                frame.begin() + 42, frame.begin() + 46, std::uint32_t{0},
                [](std::uint32_t sum, std::uint8_t byte) { return sum << 8U | byte; });
            arrived[port][inNumber("239.", frame.at(31), ".") + inNumber("", frame.at(32), ".") +
                          std::to_string(frame.at(33))]
                .push_back(number);
        }
        return std::exchange(arrived[port][inNumber("239.2.2.", group)], {});
    }
    /// Expects each packet once, as a copy for each customer, since the last call.
    void expectAll() {
        EXPECT_EQ(copies("p2", 1), range(seen + 1, sent));
        EXPECT_EQ(copies("p2", 2), range(seen + 1, sent));
        seen = sent;
    }
    /// Forgets what was sent up to now.
    void forget() {
        copies("p2", 1);
        copies("p2", 2);
        seen = sent;
    }

    /// The flows and groups of the switch, in order.
    [[nodiscard]] std::set<std::string> dump() const {
        std::set<std::string> lines;
        std::istringstream text(ovs.ofctl({"-O", "OpenFlow15", "dump-groups", "br0"}) +
                                ovs.ofctl({"-O", "OpenFlow15", "--no-stats", "dump-flows", "br0"}));
        for (std::string line; std::getline(text, line);) {
            if (line.find("reply") == std::string::npos) {
                lines.insert(line);
            }
        }
        return lines;
    }
    [[nodiscard]] std::set<std::string> groups() const {
        auto lines = dump();
        std::set<std::string> ids;
        for (std::string const &line : lines) {
            if (auto const at = line.find("group_id="); at != std::string::npos) {
                ids.insert(line.substr(at + 9, line.find(',', at) - at - 9));
            }
        }
        return ids;
    }

    TestSupport::VirtualSwitch ovs;
    std::uint32_t sent = 0, seen = 0;
    std::map<std::string, std::map<std::string, Numbers>> arrived; // by port and group
};

TEST_F(Faults, AKilledAgentIsReplacedInOneBundleAndTheStreamLosesNothing) {
    feeds({customer(1), customer(2)});
    std::optional<Agent> agent(std::in_place, ovs);
    ASSERT_TRUE(programs(*agent));
    for (bool const changed : {false, true}) {
        auto const before = groups();
        send(20);
        agent.reset();
        send(20);
        if (changed) {
            feeds({customer(1), customer(2, 7), customer(3)});
        }
        agent.emplace(ovs);
        ASSERT_TRUE(sendUntilProgrammed(*agent));
        send(20);
        auto after = groups();
        EXPECT_EQ(after.size(), before.size() + (changed ? 1 : 0));
        after.insert(before.begin(), before.end());
        EXPECT_EQ(after.size(), groups().size() + before.size()); // none is an old one
        EXPECT_EQ(copies("p2", 1), range(seen + 1, sent));
        Numbers second = copies("p2", 2);
        Numbers const renamed = copies("p2", 7);
        EXPECT_EQ(renamed.empty(), !changed);
        second.insert(second.end(), renamed.begin(), renamed.end());
        EXPECT_EQ(second, range(seen + 1, sent));
        seen = sent;
        EXPECT_THAT(agent->ask("audit"), StartsWith("the switch has what it should have"));
        EXPECT_EQ(agent->counter("bundles"), 1);
    }
}

TEST_F(Faults, AnAgentThatIsToldToEndTakesOnlyItsOwnOutOfTheSwitch) {
    feeds({customer(1), customer(2)});
    ovs.ofctl({"-O", "OpenFlow15", "add-group", "br0", "group_id=5,type=all,bucket=output:2"});
    for (char const *const flow :
         {"cookie=0x99,priority=9,ip,nw_dst=239.9.9.9,actions=group:5",
          "cookie=0x98,table=201,priority=7,reg14=0x5,actions=drop", "table=9,actions=drop"}) {
        ovs.ofctl({"-O", "OpenFlow15", "add-flow", "br0", flow});
    }
    auto const foreign = dump();
    auto const run = [&](Arguments const &options) {
        Agent agent(ovs, options);
        EXPECT_TRUE(programs(agent));
        auto const programmed = dump();
        EXPECT_TRUE(
            std::includes(programmed.begin(), programmed.end(), foreign.begin(), foreign.end()));
        forget();
        send(5);
        agent.signal(SIGTERM);
        EXPECT_EQ(agent.end(), 0) << agent.log();
        return programmed;
    };
    auto const left = run({"--leave"});
    EXPECT_EQ(dump(), left);
    send(5);
    expectAll();
    run({});
    EXPECT_EQ(dump(), foreign);
    expectAll();
    copies("p3", 1);
    arrived.clear();
    send(5);
    EXPECT_THAT(copies("p2", 1), IsEmpty());
    copies("p3", 1);
    EXPECT_EQ(arrived["p3"]["239.1.1.1"], range(seen + 1, sent));
}

TEST_F(Faults, ASwitchThatComesBackIsProgrammedAgainAlsoWithOtherPortNumbers) {
    feeds({customer(1), customer(2)});
    Agent const agent(ovs);
    ASSERT_TRUE(programs(agent));
    for (char const *const number : {"2", "9"}) {
        send(20);
        expectAll();
        int const bundles = agent.counter("bundles");
        ovs.killSwitch();
        ASSERT_TRUE(eventually(
            [&] { return has(agent.ask("showChip"), "note: the switch is not there"); }));
        ovs.vsctl({"set", "interface", "p2", std::string("ofport_request=") + number});
        auto const started = steady_clock::now();
        ovs.startSwitch();
        forget();
        ASSERT_TRUE(sendUntilProgrammed(agent, bundles)) << agent.log();
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
        EXPECT_THAT(agent.ask("audit"), StartsWith("the switch has what it should have"));
    }
    EXPECT_THAT(ovs.vsctl({"get", "interface", "p2", "ofport"}), StartsWith("9"));
}

TEST_F(Faults, ADatabaseThatComesBackCostsNoCopyAndChangesArriveAgain) {
    feeds({customer(1), customer(2)});
    ovs.port("br0", "p4", {"tag=30"});
    Agent const agent(ovs, {"--audit", "100ms"});
    ASSERT_TRUE(programs(agent));
    send(20);
    expectAll();
    ovs.killDatabase();
    auto const busy = agent.busy();
    send(20);
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_LT(agent.busy() - busy, milliseconds(200));
    EXPECT_THAT(agent.log(), HasSubstr("db.sock: connection lost"));
    ovs.startDatabase();
    auto const started = steady_clock::now();
    int const audits = agent.counter("audits");
    ASSERT_TRUE(eventually([&] { return agent.counter("audits") > audits + 1; }));
    auto const time = std::chrono::ceil<milliseconds>(steady_clock::now() - started);
    RecordProperty("milliseconds", static_cast<int>(time.count()));
    EXPECT_LT(time, milliseconds(3000)); // the switch itself takes 1 s, or 3 s at worst
    send(20);
    expectAll();
    EXPECT_EQ(agent.counter("groups and flows that they mended"), 0) << agent.log();
    EXPECT_EQ(agent.counter("bundles"), 1);
    ovs.vsctl({"set", "port", "p4", "tag=20"});
    ASSERT_TRUE(programs(agent, 1)) << agent.log();
    send(20);
    EXPECT_EQ(copies("p4", 1), range(seen + 1, sent));
    expectAll();
}

TEST_F(Faults, ABridgeThatIsDeletedOrLosesBothProcessesIsFollowedAgain) {
    feeds({customer(1), customer(2)});
    Agent const agent(ovs);
    ASSERT_TRUE(programs(agent));
    auto const before = dump();
    for (bool const deleted : {true, false}) {
        send(20);
        expectAll();
        int const bundles = agent.counter("bundles");
        if (deleted) {
            ovs.vsctl({"del-br", "br0"});
            ASSERT_TRUE(eventually([&] { return has(agent.log(), "it was deleted"); }));
            makeBridge();
        } else {
            ovs.killSwitch();
            ovs.killDatabase();
            ovs.startDatabase();
            ovs.startSwitch();
        }
        ASSERT_TRUE(programs(agent, bundles)) << agent.log();
        ASSERT_TRUE(eventually([&] { return dump().size() == before.size(); }));
        forget();
        send(20);
        expectAll();
        EXPECT_THAT(agent.ask("audit"), StartsWith("the switch has what it should have"));
    }
}

TEST_F(Faults, WhatSomebodyElseDidIsFoundAndMended) {
    feeds({customer(1), customer(2)});
    std::optional<Agent> agent(std::in_place, ovs, Arguments{"--audit", "0"});
    ASSERT_TRUE(programs(*agent));
    auto const damage = [&] { // returns what was wrong
        auto const ids = groups();
        for (std::vector<std::string> command :
             {std::vector<std::string>{"del-groups", "br0", "group_id=" + *ids.begin()},
              {"--strict", "del-flows", "br0", "table=200,priority=0"},
              {"add-flow", "br0",
               "table=201,priority=1,reg15=0,reg14=0,cookie=0x756d6f,actions=drop"},
              {"add-group", "br0", "group_id=100500,type=all,bucket=output:1"}}) {
            command.insert(command.begin(), {"-O", "OpenFlow15"});
            ovs.ofctl(command);
        }
        return AllOf(HasSubstr("group " + *ids.begin() + " was missing\n"),
                     HasSubstr("flow table=200,priority=0 was missing\n"),
                     HasSubstr("flow table=201,priority=1,reg14=0,reg15=0 was changed\n"),
                     HasSubstr("group 100500 was not the agent's\n"));
    };
    auto before = dump();
    auto const wrong = damage();
    EXPECT_THAT(agent->ask("audit"), AllOf(wrong, ContainsRegex("\nmended: .*\n$")));
    EXPECT_EQ(dump(), before);
    EXPECT_THAT(agent->log(), wrong);
    send(20);
    expectAll();
    agent.reset();
    agent.emplace(ovs, Arguments{"--audit", "300ms"});
    ASSERT_TRUE(programs(*agent));
    before = dump();
    auto const wrongAgain = damage();
    EXPECT_TRUE(eventually([&] { return dump() == before; })) << agent->log();
    EXPECT_THAT(agent->log(), wrongAgain);
    EXPECT_GE(agent->counter("groups and flows that they mended"), 4);
}

TEST_F(Faults, ARefusedBundleChangesNothingIsReportedAndTriedAgain) {
    feeds({customer(1), customer(2)});
    Agent const agent(ovs);
    ASSERT_TRUE(programs(agent));
    auto const before = dump();
    std::size_t const flows = std::count_if(before.begin(), before.end(), [](auto const &line) {
        return line.find("actions=") < line.find("bucket=") && line.find("table=") > line.size();
    });
    auto const limit = [&] {
        ovs.vsctl({"--", "--id=@ft", "create", "Flow_Table", "flow_limit=" + std::to_string(flows),
                   "overflow_policy=refuse", "--", "set", "Bridge", "br0", "flow_tables:0=@ft"});
    };
    auto const refused = [&] {
        int const refusals = agent.counter("refused bundles");
        feeds({customer(1), customer(2), customer(3)});
        agent.signal(SIGHUP);
        ASSERT_TRUE(sendUntil([&] {
            return has(agent.ask("showBacklog"), "note: the switch is not pro");
        })) << agent.log();
        EXPECT_EQ(agent.counter("refused bundles"), refusals + 3);
        EXPECT_EQ(dump(), before);
    };
    limit();
    refused();
    std::string const words = "OFPFMFC_TABLE_FULL";
    EXPECT_THAT(agent.log(), AllOf(HasSubstr("it refuses a bundle"), HasSubstr(words),
                                   HasSubstr("it is tried again every 10 s\n")));
    EXPECT_THAT(agent.ask("showCounters"), AllOf(HasSubstr("last refusal: "), HasSubstr(words)));
    EXPECT_THAT(agent.ask("audit"), AllOf(StartsWith("%"), HasSubstr(words)));
    feeds({customer(1), customer(2)}); // what it refuses is given up
    agent.signal(SIGHUP);
    EXPECT_TRUE(
        eventually([&] { return !has(agent.ask("showChip"), "note:"); }, milliseconds(3000)));
    refused();
    ovs.vsctl({"clear", "Bridge", "br0", "flow_tables"});
    EXPECT_THAT(agent.ask("audit"), HasSubstr(" 3 groups, "));
    EXPECT_THAT(agent.ask("showChip"), Not(HasSubstr("note:")));
    EXPECT_EQ(groups().size(), 3U);
    send(20);
    expectAll();
}

TEST_F(Faults, AMatchWithoutAGroupWaitsForOneAndAllGroupsCanChangeHands) {
    feeds({customer(1), customer(2), customer(3)});
    Arguments const options{"--group-range", "100000-100001"};
    std::optional<Agent> agent(std::in_place, ovs, options);
    ASSERT_TRUE(programs(*agent));
    EXPECT_THAT(agent->ask("showNatFlowGroup"), ContainsRegex(" m3 .* waiting\n"));
    send(20);
    agent.reset();
    feeds({customer(2), customer(3, 9), customer(4, 1)});
    agent.emplace(ovs, options); // it has no other groups than those in use
    ASSERT_TRUE(sendUntilProgrammed(*agent));
    EXPECT_THAT(agent->ask("showNatFlowGroup"), ContainsRegex(" m4 .* waiting\n"));
    feeds({customer(2), customer(5, 8)});
    agent->signal(SIGHUP);
    ASSERT_TRUE(sendUntilProgrammed(*agent, 1));
    EXPECT_THAT(agent->ask("showNatFlowGroup"), ContainsRegex(" m5 .* programmed\n"));
    EXPECT_EQ(copies("p2", 2), range(1, sent));
    ovs.receive("p1", packet(5, 77));
    EXPECT_EQ(copies("p2", 8), range(77, 77));
}

TEST_F(Faults, OtherCustomersLoseNothingWhenFeedsChange) {
    feeds({customer(1), customer(2)});
    Agent const agent(ovs);
    ASSERT_TRUE(programs(agent));
    auto const change = [&](std::vector<std::string> const &customers) {
        feeds(customers);
        agent.signal(SIGHUP);
    };
    change({customer(1), customer(2), customer(3)});
    ASSERT_TRUE(sendUntilProgrammed(agent, 1));
    EXPECT_THAT(agent.log(), HasSubstr("with 2 changes of policies, matches and actions\n"));
    change({customer(3, 9), customer(2), customer(1), customer(4)});
    ASSERT_TRUE(sendUntilProgrammed(agent, 2));
    change({customer(1), customer(2)});
    ASSERT_TRUE(sendUntilProgrammed(agent, 3));
    auto const before = dump();
    change({"m1: {flow: {destination: nowhere}}"});
    ASSERT_TRUE(sendUntil([&] { return has(agent.log(), "SIGHUP: nothing was changed\n"); }));
    EXPECT_THAT(agent.log(), ContainsRegex("/feeds.yaml:2:[0-9]+: .*nowhere"));
    EXPECT_EQ(dump(), before);
    for (char const *const set : {"[Vlan20]", "[Vlan20, Vlan10]", "[Vlan20]"}) {
        std::string const file = write(
            "apply.yaml", std::string("events: [{set: {policies: {other: {matches: {m: {flow: "
                                      "{destination: 239.1.1.9}, actions: {a: {destination: "
                                      "239.3.3.3, egress: ") +
                              set + "}}}}}}}}]\n");
        EXPECT_THAT(agent.ask("apply " + file), StartsWith("applied 1 event")) << agent.log();
        send(50);
    }
    expectAll();
    ovs.appctl("revalidator/purge"); // counts all up to now
    std::string const stats = ovs.ofctl({"-O", "OpenFlow15", "dump-group-stats", "br0"});
    auto const count = inNumber(",packet_count=", static_cast<int>(sent));
    EXPECT_THAT(stats, AllOf(ContainsRegex("group_id=100000,.*" + count),
                             ContainsRegex("group_id=100001,.*" + count)));
}

TEST(Beginnings, TheAgentWaitsForWhatDoesNotExistYetAndSaysSoOnce) {
    TestSupport::VirtualSwitch ovs;
    ovs.killSwitch();
    ovs.killDatabase();
    std::filesystem::remove(ovs.directory() + "/db.sock");
    std::ofstream(ovs.directory() + "/feeds.yaml") << "policies: {}\n";
    Agent const agent(ovs);
    std::this_thread::sleep_for(milliseconds(400)); // for some tries
    ovs.startDatabase();
    ovs.startSwitch();
    ASSERT_TRUE(eventually([&] { return has(agent.log(), "it is not in the database yet"); }));
    std::this_thread::sleep_for(milliseconds(100));
    ovs.bridge("br0");
    ovs.vsctl({"add-bond", "br0",       "bond0",     "b1",         "b2",
               "--",       "set",       "interface", "b1",         "type=dummy",
               "--",       "set",       "interface", "b2",         "type=dummy",
               "--",       "add-port",  "br0",       "patch0",     "--",
               "set",      "interface", "patch0",    "type=patch", "options:peer=nobody"});
    ASSERT_TRUE(programs(agent)) << agent.log();
    ovs.port("br0", "p1");
    ASSERT_TRUE(programs(agent, 1)) << agent.log();
    for (char const *const line :
         {"db.sock: cannot be read: ", "db.sock: connected\n",
          ": cannot be asked: ", "\"br0\": it is not in the database yet\n", "\"br0\": found\n",
          "\"br0\": port \"bond0\" is left out: it is a bond\n",
          "\"br0\": port \"patch0\" is left out: it leads to another bridge\n"}) {
        EXPECT_THAT(agent.log(), ContainsRegex(line));
        EXPECT_FALSE(has(agent.log().substr(agent.log().find(line) + 1), line)) << line;
    }
}

} // namespace
