#pragma once

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
#include <fstream>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

/// A switch, its agent and two customers, for tests of what happens when one of them fails.
namespace LiveTest {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Arguments = TestSupport::ChildProcess::Arguments;
using Numbers = std::vector<std::uint32_t>;

constexpr milliseconds kPatience(10'000);
constexpr char const *kInStep = "the switch has what it should have"; // the audit's answer

/// The numbers from `first` to `last`.
inline Numbers range(std::uint32_t first, std::uint32_t last) {
    Numbers all(last + 1 - first);
    std::iota(all.begin(), all.end(), first);
    return all;
}

inline bool has(std::string const &text, std::string const &piece) {
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
inline std::string customer(int number, int to = 0) {
    std::string const name = std::to_string(number);
    return "m" + name + ": {flow: {destination: 239.1.1." + name +
           ", destination-port: 5}, actions: {a: {source: 10.9.9.9, destination: \"239.2.2." +
           (to == 0 ? name : std::to_string(to)) + ":8\", egress: [Vlan20]}}}, ";
}

/// A UDP packet from 10.1.1.1:4000 to 239.1.1.`group`, port 5, with the number as its payload.
inline TestSupport::VirtualSwitch::Frame packet(int group, std::uint32_t number) {
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
    /// The processor time of the agent so far, without that of the programs that it ran.
    [[nodiscard]] milliseconds busy() const {
        std::ifstream stat("/proc/" + std::to_string(process_.id()) + "/stat");
        std::vector<std::string> const fields{std::istream_iterator<std::string>(stat), {}};
        long ticks = 0;
        for (std::size_t field = 13; field < 15; ++field) {
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

} // namespace LiveTest
