#include "BenchSwitch.h"
#include "ReadPipe.h"
#include "StrictChip.h"
#include "Timing.h"
#include "UmoNat/UmoNatFlowMcastSmCli.h"

#include <benchmark/benchmark.h>

#include <limits>
#include <map>
#include <memory>
#include <sstream>
#include <vector>

/// The show command into a pipe that is read, against printing the same rows with dprintf.
namespace {

struct Row {
    std::string policy, match, action, source, destination;
    int sourcePort, destinationPort;
    std::string flowType, portType;
    unsigned portSetId, portSetId2, vlan;
    std::string intf, mac;

    friend std::istream &operator>>(std::istream &in, Row &row) {
        return in >> row.policy >> row.match >> row.action >> row.source >> row.destination >>
               row.sourcePort >> row.destinationPort >> row.flowType >> row.portType >>
               row.portSetId >> row.portSetId2 >> row.vlan >> row.intf >> row.mac;
    }
    void print(int socket) const {
        dprintf(socket,
                "%-18s %-18s %-18s %-14s %-15s %-5d %-5d %-2s %-2s %-5u %-5u %-4u %-8s %-17s\n",
                policy.c_str(), match.c_str(), action.c_str(), source.c_str(), destination.c_str(),
                sourcePort, destinationPort, flowType.c_str(), portType.c_str(), portSetId,
                portSetId2, vlan, intf.c_str(), mac.c_str());
    }
};

/// A programmed switch, and the rows that the command prints for it.
struct ShownSwitch {
    explicit ShownSwitch(std::size_t actions) : sw(actions) {
        sw.start(Bench::strictChip());
        callback = umoNatFlowMcastSmCliCallbackFactory("showNatFlowActionHw", "", sw.hw);
        Bench::ReadPipe pipe;
        show(pipe.writeEnd());
        std::istringstream lines(pipe.text());
        std::string line;
        for (int heading = 0; heading < 3; ++heading) {
            std::getline(lines, line);
        }
        for (Row row; lines >> row;) {
            rows.push_back(row);
        }
    }
    void show(int socket) const {
        callback->handleCommand(static_cast<std::uint32_t>(socket), "showNatFlowActionHw");
    }

    Bench::BenchSwitch sw;
    Mox::Ptr<UmoNatFlowMcastSmCliCallback> callback;
    std::vector<Row> rows;
};

ShownSwitch const &shown(benchmark::State const &state) {
    // Never destroyed: at process exit the scheduler is destroyed first.
    static auto &made = *new std::map<std::int64_t, std::unique_ptr<ShownSwitch>>;
    auto &found = made[state.range(0)];
    if (!found) {
        found = std::make_unique<ShownSwitch>(static_cast<std::size_t>(state.range(0)));
    }
    return *found;
}

template <class Print>
void intoPipe(benchmark::State &state, Print const &print) {
    for (auto _ : state) {
        Bench::ReadPipe pipe;
        Bench::timed(state, [&] { print(pipe.writeEnd()); });
    }
    Bench::elementsAre(state, shown(state).rows.size());
}

void show(benchmark::State &state) {
    intoPipe(state, [&](int socket) { shown(state).show(socket); });
}

void printRows(benchmark::State &state) {
    intoPipe(state, [&](int socket) {
        for (Row const &row : shown(state).rows) {
            row.print(socket);
        }
    });
}

void sizes(benchmark::internal::Benchmark *bench) {
    bench->RangeMultiplier(10)->Range(1000, 10000)->UseManualTime();
}
BENCHMARK(show)->Name("show/UmoNat")->Apply(sizes);
BENCHMARK(printRows)->Name("show/dprintf")->Apply(sizes);

} // namespace
