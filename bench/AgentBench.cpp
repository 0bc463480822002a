#include "AgentProcess.h"
#include "BenchSwitch.h"
#include "HeapCount.h"
#include "ScenarioText.h"
#include "Timing.h"
#include "agent/base/EventLoop.h"
#include "agent/console/ApplyCommand.h"
#include "agent/scenario/ScenarioReader.h"
#include "agent/switch/ForwardingAgent.h"

#include <benchmark/benchmark.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <unistd.h>

/// The costs of the agent itself: loading a scenario, against a bare parse of its text; an event
/// with one change; applying a file over the socket; and memory.
namespace {

namespace Table = UmoAgent::Table;
using Bench::Shape;

[[noreturn]] void fail(std::string const &what) {
    std::cerr << "benchmark: " << what << '\n';
    std::abort();
}

UmoAgent::SoftSwitch::LineSink contractErrors() {
    return [](std::string const &error) { fail(error); };
}

std::size_t sizeOf(benchmark::State const &state) {
    return static_cast<std::size_t>(state.range(0));
}

/// A handler that ignores what the parser finds.
struct NoHandler final : YAML::EventHandler {
    using Mark = YAML::Mark;
    using Anchor = YAML::anchor_t;
    using Style = YAML::EmitterStyle::value;
    void OnDocumentStart(Mark const & /*mark*/) override {}
    void OnDocumentEnd() override {}
    void OnNull(Mark const & /*mark*/, Anchor /*anchor*/) override {}
    void OnAlias(Mark const & /*mark*/, Anchor /*anchor*/) override {}
    void OnScalar(Mark const & /*mark*/, std::string const & /*tag*/, Anchor /*anchor*/,
                  std::string const & /*value*/) override {}
    void OnSequenceStart(Mark const & /*mark*/, std::string const & /*tag*/, Anchor /*anchor*/,
                         Style /*style*/) override {}
    void OnSequenceEnd() override {}
    void OnMapStart(Mark const & /*mark*/, std::string const & /*tag*/, Anchor /*anchor*/,
                    Style /*style*/) override {}
    void OnMapEnd() override {}
};

void parse(benchmark::State &state, Shape shape) {
    std::string const text = Bench::scenarioText(sizeOf(state), shape);
    for (auto _ : state) {
        std::istringstream in(text);
        Bench::timed(state, [&] {
            YAML::Parser parser(in);
            NoHandler handler;
            parser.HandleNextDocument(handler);
        });
    }
    Bench::elementsAre(state, sizeOf(state));
}

/// From the text to the programmed chip.
void load(benchmark::State &state, Shape shape) {
    std::string const text = Bench::scenarioText(sizeOf(state), shape);
    for (auto _ : state) {
        UmoAgent::EventLoop loop;
        UmoAgent::ForwardingAgent agent(loop, contractErrors());
        Bench::timed(state, [&] {
            auto read = UmoAgent::readScenario("bench", text);
            agent.start(std::get<UmoAgent::Scenario>(read).initial);
        });
        if (agent.chip().groupsInUse() == 0) {
            fail("nothing is programmed");
        }
        agent.shutDown();
    }
    Bench::elementsAre(state, sizeOf(state));
}

/// An agent with that many actions on a chip that has room for them.
struct RunningAgent {
    explicit RunningAgent(std::size_t size) : actions(size) {
        constexpr std::uint32_t kNoLimit = ~0U;
        auto changes = Bench::benchChanges(actions, Bench::BenchSwitch::Kind::mixed);
        changes.push_back(
            UmoAgent::Change<Table::Chip>{{}, UmoAgent::ChipCapacity{kNoLimit, kNoLimit}});
        agent.start(changes);
    }

    std::size_t const actions;
    UmoAgent::EventLoop loop;
    UmoAgent::ForwardingAgent agent{loop, contractErrors()};
};

/// One at a time: a process has one scheduler.
RunningAgent &running(benchmark::State const &state) {
    static std::unique_ptr<RunningAgent> made;
    if (!made || made->actions != sizeOf(state)) {
        made.reset();
        made = std::make_unique<RunningAgent>(sizeOf(state));
    }
    return *made;
}

constexpr std::size_t kEvents = 1000;

/// An event that changes the source of one action: by the agent, counting its allocations, which
/// must not depend on the size of the switch; or by hand, which is the library's share.
void actionEvent(benchmark::State &state, bool byHand) {
    RunningAgent &sw = running(state);
    std::size_t const number = sw.actions / 2;
    Table::Action::Key const key{
        "bench", "match-" + std::to_string(number / Bench::BenchSwitch::kActionsPerMatch),
        "action-" + std::to_string(number)};
    auto const status =
        sw.agent.state().natStatus()->natFlow(key.policy)->match(key.match)->action(key.action);
    auto value = *sw.agent.state().find<Table::Action>(key);
    std::uint32_t source = 0;
    auto const next = [&] {
        value.source = {Nexo::IpAddr(0x0c000001U + ++source % 2), 5000};
        ++value.version;
    };
    std::size_t allocations = 0;
    for (auto _ : state) {
        std::size_t const before = Bench::allocations();
        Bench::timed(state, [&] {
            for (std::size_t i = 0; i < kEvents; ++i) {
                next();
                if (byHand) {
                    status->versionIs(0);
                    status->srcIs(value.source);
                    status->versionIs(value.version);
                } else if (!sw.agent.apply({UmoAgent::Change<Table::Action>{key, value}}).empty()) {
                    fail("a change is refused");
                }
            }
        });
        allocations = (Bench::allocations() - before) / kEvents;
    }
    Bench::elementsAre(state, kEvents);
    state.counters["allocations"] = static_cast<double>(allocations);
}

/// Moves a host in a VLAN that no action depends on.
void macEvent(benchmark::State &state) {
    RunningAgent &sw = running(state);
    Table::LearnedMac::Key const key{Bridging::VlanId(100), Nexo::EthAddr(0x02ff00000001U)};
    std::size_t moves = 0, allocations = 0;
    for (auto _ : state) {
        std::size_t const before = Bench::allocations();
        Bench::timed(state, [&] {
            for (std::size_t i = 0; i < kEvents; ++i) {
                Nexo::IntfId const port(++moves % 2 == 0 ? "Ethernet1" : "Ethernet2");
                if (!sw.agent.apply({UmoAgent::Change<Table::LearnedMac>{key, port}}).empty()) {
                    fail("a change is refused");
                }
            }
        });
        allocations = (Bench::allocations() - before) / kEvents;
    }
    Bench::elementsAre(state, kEvents);
    state.counters["allocations"] = static_cast<double>(allocations);
}

/// The processor time from connect to answer, of the agent and of its reading process.
void applyOverSocket(benchmark::State &state) {
    Bench::AgentProcess const agent(Bench::scenarioText(sizeOf(state), Shape::policies));
    agent.awaitEndOfScenario();
    constexpr std::size_t kFiles = 100;
    std::vector<std::string> commands;
    for (std::size_t i = 0; i < kFiles; ++i) {
        commands.push_back(
            "apply " + agent.file("change-" + std::to_string(i) + ".yaml",
                                  Bench::oneActionEvents(sizeOf(state), Shape::policies, i, 1)));
    }
    for (auto _ : state) {
        double const before = agent.seconds();
        for (std::string const &command : commands) {
            if (agent.ask(command) != "applied 1 event\n") {
                fail(command + " is refused");
            }
        }
        state.SetIterationTime(agent.seconds() - before);
    }
    Bench::elementsAre(state, kFiles);
}

/// Runs every millisecond, and records its longest wait.
class Ticker {
  public:
    explicit Ticker(UmoAgent::EventLoop &loop)
        : loop_(loop),
          task_(Mox::make<Vyr::TimerTask>(Vyr::TaskSchedulerRoot::findOrCreateScheduler(), 4,
                                          "ticker")) {
        task_->notifier().subscriberAdd(subscriber_);
        task_->hasNotificationActiveIs(true);
        last_ = loop_.now();
        task_->scheduleTaskDelay(Mox::Seconds(0.001));
    }
    ~Ticker() {
        task_->notifier().subscriberRemove(subscriber_);
        task_->stopTimerTask();
    }
    Ticker(Ticker const &) = delete;
    Ticker &operator=(Ticker const &) = delete;

    [[nodiscard]] double longestWait() const {
        return std::chrono::duration<double>(longest_).count();
    }

  private:
    void tick() {
        Vyr::Time const now = loop_.now();
        longest_ = std::max(longest_, now - last_);
        last_ = now;
        task_->scheduleTaskDelay(Mox::Seconds(0.001));
    }

    UmoAgent::EventLoop &loop_;
    Mox::Ptr<Vyr::TimerTask> task_;
    Pelo::Subscriber subscriber_{
        [](void *ticker, Pelo::Change const &) { static_cast<Ticker *>(ticker)->tick(); }, this};
    Vyr::Time last_{}, longest_{};
};

/// How long a timer waits while a file of that many new actions is read. An error at its end keeps
/// it from being carried out.
void waitDuringApply(benchmark::State &state) {
    UmoAgent::EventLoop loop;
    UmoAgent::ForwardingAgent agent(loop, contractErrors());
    agent.start({});
    UmoAgent::ApplyCommand apply(agent, loop, UmoAgent::Scope::wholeSwitch);
    std::string text = "events:\n- set:\n";
    std::istringstream lines(Bench::scenarioText(sizeOf(state), Shape::policies));
    for (std::string line; std::getline(lines, line);) {
        text += "    " + line + "\n";
    }
    std::string const file =
        std::filesystem::temp_directory_path() / ("umo-bench-" + std::to_string(getpid()));
    std::ofstream(file) << text << "- remove: {policies: [nobody]}\n";
    loop.wallTime();
    double longest = 0;
    for (auto _ : state) {
        Ticker const ticker(loop);
        bool answered = false;
        apply.apply(file, [&](std::string const &answer) {
            if (answer.find("a policy that is there") == std::string::npos) {
                fail(answer);
            }
            answered = true;
        });
        while (!answered) {
            loop.runUntil(loop.now() + std::chrono::milliseconds(1));
        }
        longest = std::max(longest, ticker.longestWait());
        state.SetIterationTime(ticker.longestWait());
    }
    std::filesystem::remove(file);
    state.counters["longestWait"] = longest;
}

/// A scenario with as many events as actions, each of which changes one action.
void memoryOfEvents(benchmark::State &state) {
    for (auto _ : state) {
        Bench::AgentProcess const agent(
            Bench::scenarioText(sizeOf(state), Shape::policies) +
            Bench::oneActionEvents(sizeOf(state), Shape::policies, 0, sizeOf(state)));
        agent.awaitEndOfScenario();
        state.counters["resident"] = agent.mostResident();
        state.SetIterationTime(1); // nothing is timed
    }
}

void sizes(benchmark::internal::Benchmark *bench) {
    bench->RangeMultiplier(10)->Range(1000, 100000)->UseManualTime();
}
BENCHMARK_CAPTURE(parse, policies, Shape::policies)->Name("load-parse/policies")->Apply(sizes);
BENCHMARK_CAPTURE(load, policies, Shape::policies)->Name("load/policies")->Apply(sizes);
BENCHMARK_CAPTURE(parse, onePolicy, Shape::onePolicy)->Name("load-parse/one-policy")->Apply(sizes);
BENCHMARK_CAPTURE(load, onePolicy, Shape::onePolicy)->Name("load/one-policy")->Apply(sizes);
BENCHMARK_CAPTURE(parse, oneMatch, Shape::oneMatch)->Name("load-parse/one-match")->Apply(sizes);
BENCHMARK_CAPTURE(load, oneMatch, Shape::oneMatch)->Name("load/one-match")->Apply(sizes);
BENCHMARK_CAPTURE(actionEvent, agent, false)->Name("event-action/agent")->Apply(sizes);
BENCHMARK_CAPTURE(actionEvent, hand, true)->Name("event-action/by-hand")->Apply(sizes);
BENCHMARK(macEvent)->Name("event-mac/agent")->Apply(sizes);
BENCHMARK(applyOverSocket)->Name("apply/socket")->Apply(sizes)->Iterations(5);
BENCHMARK(waitDuringApply)->Name("apply/wait")->Apply(sizes)->Iterations(3);
BENCHMARK(memoryOfEvents)->Name("memory/events")->Arg(10000)->UseManualTime()->Iterations(1);

} // namespace
