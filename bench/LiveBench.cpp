#include "Timing.h"
#include "agent/LiveSwitch.h"
#include "agent/base/EventLoop.h"
#include "agent/openflow/SwitchText.h"
#include "agent/scenario/ScenarioReader.h"
#include "tests/support/VirtualSwitch.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>

/// How soon a real switch has what it should have: from the start of the agent, against the switch
/// tool given the same bundle; and after a port has failed, against the library's own pace. Times
/// are wall-clock times, since most of the work is another process's.
namespace {

using namespace UmoAgent;
using namespace std::chrono_literals;
using Seconds = std::chrono::duration<double>;

constexpr int kCopies = 8; // of a flow, each in a VLAN of its own with one port

std::string vlan(int number) {
    return std::to_string(10 + number);
}

std::string feeds(std::size_t flows) {
    std::ostringstream text;
    text << "ip-interfaces:\n";
    for (int i = 1; i <= kCopies; ++i) {
        text << "  Vlan" << vlan(i) << ": {address: 10.0." << i << ".1/24}\n";
    }
    text << "policies: {p: {matches: {\n";
    for (std::size_t i = 0; i < flows; ++i) {
        text << "  m" << i << ": {flow: {destination: 239.1." << i / 250 << '.' << i % 250 + 1
             << ", destination-port: 5000}, actions: {a: {source: 10.9.9.9, destination: '239.2."
             << i / 250 << '.' << i % 250 + 1 << ":6000', egress: [";
        for (int copy = 1; copy <= kCopies; ++copy) {
            text << (copy == 1 ? "" : ", ") << "Vlan" << vlan(copy);
        }
        text << "]}}},\n";
    }
    text << "}}}\n";
    return text.str();
}

/// An Open vSwitch with a bridge of nine ports.
struct Bridge : TestSupport::VirtualSwitch {
    Bridge() {
        bridge("br0", {"fail-mode=secure"});
        port("br0", "in", {"tag=10"});
        for (int i = 1; i <= kCopies; ++i) {
            port("br0", "p" + std::to_string(i), {"tag=" + vlan(i)});
            vsctl({"add-port", "br0", "v" + vlan(i), "tag=" + vlan(i), "--", "set", "interface",
                   "v" + vlan(i), "type=internal"});
        }
    }
};

/// The agent on that bridge.
class Agent {
  public:
    Agent(Bridge const &bridge, std::string const &text) {
        loop_.wallTime();
        auto read = readFeeds("feeds", text);
        switch_ = std::make_unique<LiveSwitch>(
            loop_, LiveSwitch::Options{"br0", bridge.directory() + "/db.sock", {}, 0s},
            Feeds::of(std::get<Changes>(read)),
            LiveSwitch::Log{[](std::string const &) {}, [](std::string const &) {}});
    }
    ~Agent() { switch_->shutDown(false); }
    Agent(Agent const &) = delete;
    Agent &operator=(Agent const &) = delete;

    /// Runs until the switch has what it should have, and port `name` as many copies as that.
    void runUntilCopies(std::string const &name, std::size_t copies) {
        auto const deadline = loop_.now() + 60s;
        while (!switch_->programmer().inStep() || copiesTo(Nexo::IntfId(name)) != copies) {
            loop_.runUntil(loop_.now() + 1ms);
            if (loop_.now() > deadline) {
                throw std::runtime_error("the switch is not programmed");
            }
        }
    }

  private:
    [[nodiscard]] std::size_t copiesTo(Nexo::IntfId intf) const {
        std::size_t copies = 0;
        for (auto const &[id, group] : switch_->agent().chip().groups()) {
            for (auto const &[portSetId, portSet] : group.portSets) {
                copies += static_cast<std::size_t>(
                    std::count(portSet.interfaces.begin(), portSet.interfaces.end(), intf));
            }
        }
        return copies;
    }

    EventLoop loop_;
    std::unique_ptr<LiveSwitch> switch_;
};

template <class Work>
void wallTimed(benchmark::State &state, Work const &work) {
    auto const begin = std::chrono::steady_clock::now();
    work();
    state.SetIterationTime(Seconds(std::chrono::steady_clock::now() - begin).count());
}

std::size_t flowsOf(benchmark::State const &state) {
    return static_cast<std::size_t>(state.range(0));
}

/// From the text of the feeds to the programmed switch.
void bringUp(benchmark::State &state) {
    Bridge const bridge;
    std::string const text = feeds(flowsOf(state));
    for (auto _ : state) {
        std::unique_ptr<Agent> agent;
        wallTimed(state, [&] {
            agent = std::make_unique<Agent>(bridge, text);
            agent->runUntilCopies("p1", flowsOf(state));
        });
    }
}
BENCHMARK(bringUp)->Name("live-bring-up/UmoNat")->Arg(1000)->UseManualTime()->Iterations(3);

/// The switch's own tool with the bundle of such a bring-up in a file.
void sendBundle(benchmark::State &state) {
    Bridge bridge;
    std::string const file = bridge.directory() + "/bundle";
    {
        Agent agent(bridge, feeds(flowsOf(state)));
        agent.runUntilCopies("p1", flowsOf(state));
        auto const tables = readTables(
            bridge.ofctl({"-O", "OpenFlow15", "--no-names", "dump-groups", "br0"}),
            bridge.ofctl({"-O", "OpenFlow15", "--no-names", "--no-stats", "dump-flows", "br0"}),
            GroupRange{});
        std::ofstream(file) << bundleFor({}, tables, differences({}, tables)).text;
    }
    for (auto _ : state) {
        wallTimed(state, [&] { bridge.ofctl({"-O", "OpenFlow15", "bundle", "br0", file}); });
        bridge.ofctl({"del-flows", "br0"});
        bridge.ofctl({"-O", "OpenFlow15", "del-groups", "br0"});
    }
}
BENCHMARK(sendBundle)->Name("live-bring-up/ovs-ofctl")->Arg(1000)->UseManualTime()->Iterations(3);

/// From the failure of a port to the switch without copies to it.
void portDown(benchmark::State &state) {
    Bridge bridge;
    Agent agent(bridge, feeds(flowsOf(state)));
    agent.runUntilCopies("p1", flowsOf(state));
    for (auto _ : state) {
        wallTimed(state, [&] {
            bridge.portDown("p1");
            agent.runUntilCopies("p1", 0);
        });
        bridge.portUp("p1");
        agent.runUntilCopies("p1", flowsOf(state));
    }
}
BENCHMARK(portDown)
    ->Name("live-port-down/UmoNat")
    ->Arg(1)
    ->Arg(1000)
    ->UseManualTime()
    ->Iterations(3);

} // namespace
