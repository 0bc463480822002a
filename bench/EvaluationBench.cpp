#include "BenchSwitch.h"
#include "HeapCount.h"
#include "StrictChip.h"
#include "Timing.h"

#include <benchmark/benchmark.h>

#include <limits>
#include <map>
#include <memory>
#include <numeric>

/// What a change costs on a running switch of N actions: evaluating one action, a port flap, a
/// withdrawal from the index, a backlog run. None may depend on N.
namespace {

struct RunningSwitch {
    explicit RunningSwitch(std::size_t actions) : sw(actions) { sw.start(chip); }

    [[nodiscard]] std::uint64_t helperCalls() const { return chip->allCalls(); }
    [[nodiscard]] std::size_t middleMatch() const {
        return sw.actionCount() / Bench::BenchSwitch::kActionsPerMatch / 2;
    }

    Mox::Ptr<UmoHelper::CheckedHelper> chip = Bench::strictChip();
    Bench::BenchSwitch sw;
};

RunningSwitch &running(benchmark::State const &state) {
    // Never destroyed: at process exit the scheduler is destroyed first.
    static auto &made = *new std::map<std::int64_t, std::unique_ptr<RunningSwitch>>;
    auto &found = made[state.range(0)];
    if (!found) {
        found = std::make_unique<RunningSwitch>(static_cast<std::size_t>(state.range(0)));
    }
    return *found;
}

/// Counts the allocations that every evaluation needs: those of port sets like the recorded ones.
std::size_t allocationsOfLike(Ip::Nat::NatFlowVlanPortSets const &recorded) {
    std::size_t const before = Bench::allocations();
    auto const made = Ip::Nat::natFlowVlanPortSetsFactory();
    auto const fill = [](auto const &from, auto const &add) {
        for (auto const &[vlan, portSet] : from) {
            auto const copy = add(vlan);
            for (Nexo::IntfId const intf : portSet->intf()) {
                copy->intfIs(intf);
            }
        }
    };
    fill(recorded.ucastPortSet(), [&](std::uint16_t vlan) { return made->ucastPortSetIs(vlan); });
    fill(recorded.mcastPortSet(), [&](std::uint16_t vlan) { return made->mcastPortSetIs(vlan); });
    return Bench::allocations() - before;
}

/// Evaluates the actions of one match in turn, which are of all kinds.
void evaluate(benchmark::State &state) {
    RunningSwitch &running = ::running(state);
    auto const actions = running.sw.actionsOfMatch(running.middleMatch());
    auto const evaluateAll = [&] {
        for (auto const &action : actions) {
            action->versionIs(action->version() + 1);
        }
    };
    auto const hwMatch =
        running.sw.hw->natFlow("bench")->match("match-" + std::to_string(running.middleMatch()));
    std::size_t freshPortSets = 0;
    for (auto const &[name, action] : hwMatch->action()) {
        freshPortSets += allocationsOfLike(*action->vlanPortSets());
    }
    evaluateAll();
    std::uint64_t const callsBefore = running.helperCalls();
    std::size_t const allocationsBefore = Bench::allocations();
    constexpr std::size_t kCounted = 1000;
    for (std::size_t i = 0; i < kCounted; ++i) {
        evaluateAll();
    }
    // Integer division, so that an occasional reorganisation of the index does not count as an
    // allocation per evaluation.
    std::size_t const allocations = (Bench::allocations() - allocationsBefore) / kCounted;
    for (auto _ : state) {
        evaluateAll();
    }
    Bench::elementsAre(state, actions.size());
    state.counters["helperCalls"] = static_cast<double>(running.helperCalls() - callsBefore);
    state.counters["extraAllocations"] =
        static_cast<double>(allocations) - static_cast<double>(freshPortSets);
}

/// The port goes down and up; each time all its actions are reprogrammed.
void portFlap(benchmark::State &state) {
    RunningSwitch &running = ::running(state);
    for (auto _ : state) {
        running.sw.flapPortIs(false);
        running.sw.flapPortIs(true);
    }
    Bench::elementsAre(state, 2 * Bench::BenchSwitch::kFlapActions);
}

/// Withdraws the ten actions of ten matches. Evaluating them afterwards registers them again.
void withdraw(benchmark::State &state) {
    RunningSwitch &running = ::running(state);
    std::vector<UmoNatFlowActionSm *> machines;
    std::vector<Mox::Ptr<Ip::Nat::NatFlowActionStatus>> actions;
    for (std::size_t match = 0; match < 10; ++match) {
        for (auto *machine : running.sw.machinesOfMatch(running.middleMatch() + match)) {
            machines.push_back(machine);
        }
        for (auto const &action : running.sw.actionsOfMatch(running.middleMatch() + match)) {
            actions.push_back(action);
        }
    }
    auto &topology = *running.sw.root->topologySm();
    for (auto _ : state) {
        Bench::timed(state, [&] {
            for (UmoNatFlowActionSm *const machine : machines) {
                topology.delActionSm(machine);
            }
        });
        for (auto const &action : actions) {
            action->versionIs(action->version() + 1);
        }
    }
    Bench::elementsAre(state, machines.size());
}

/// One backlog run with its limit of 100 actions.
void backlogRun(benchmark::State &state) {
    RunningSwitch &running = ::running(state);
    auto &topology = *running.sw.root->topologySm();
    std::vector<UmoNatFlowActionSm *> machines;
    for (std::size_t match = 0; match < 10; ++match) {
        for (auto *machine : running.sw.machinesOfMatch(running.middleMatch() + match)) {
            machines.push_back(machine);
        }
    }
    for (auto _ : state) {
        for (UmoNatFlowActionSm *const machine : machines) {
            topology.actionSmUpdateBacklogIs(machine);
        }
        topology.actionSmUpdateBacklogTask()->scheduleTask();
        Bench::timed(state, [&] { running.sw.scheduler->runDueTasks(); });
    }
    Bench::elementsAre(state, 1);
}

void sizes(benchmark::internal::Benchmark *bench) {
    bench->RangeMultiplier(10)->Range(1000, 100000);
}
BENCHMARK(evaluate)->Name("evaluate/UmoNat")->Apply(sizes);
BENCHMARK(portFlap)->Name("flap/UmoNat")->Apply(sizes);
BENCHMARK(withdraw)->Name("withdraw/UmoNat")->Apply(sizes)->UseManualTime();
BENCHMARK(backlogRun)->Name("backlog/UmoNat")->Apply(sizes)->UseManualTime();

} // namespace
