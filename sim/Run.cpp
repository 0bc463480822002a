#include "sim/Run.h"

#include "agent/base/EventLoop.h"
#include "agent/show/CarryOut.h"
#include "agent/show/Printers.h"
#include "sim/Broken.h"
#include "sim/Checker.h"
#include "sim/Packets.h"

#include <chrono>
#include <sstream>
#include <string_view>

namespace Sim {

namespace {

std::uint64_t hashed(std::uint64_t hash, std::string_view text) {
    for (char const c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    }
    return hash;
}

/// Ends the call log of a chip that outlives the log's reader when a step is rejected.
class LogEnd {
  public:
    explicit LogEnd(UmoAgent::ForwardingAgent &agent) : agent_(agent) {}
    ~LogEnd() { agent_.callLogIs(nullptr); }
    LogEnd(LogEnd const &) = delete;
    LogEnd &operator=(LogEnd const &) = delete;

  private:
    UmoAgent::ForwardingAgent &agent_;
};

} // namespace

Figures run(std::string const &initial, NextStep const &next) {
    Figures figures;
    auto const hash = [&](std::string_view text) { figures.hash = hashed(figures.hash, text); };
    hash(initial);
    UmoAgent::EventLoop loop;
    std::ostringstream printed;
    UmoAgent::ForwardingAgent agent(
        loop, [](std::string const &error) { require(false, "contract error: ", error); });
    auto const &state = agent.state();
    Checker checker(agent);
    agent.callLogIs([&](std::string const &call) {
        ++figures.calls;
        hash(call);
        checker.called(call);
    });
    LogEnd const logEnd(agent);
    Packets packets(agent, checker, [&](UmoAgent::FrameView frame) {
        hash({reinterpret_cast<char const *>(frame.data()), frame.size()});
    });
    auto const carryOut = [&](Step const &step) {
        hash(step.text);
        std::uint64_t const seed = hashed(1, step.text); // whatever the steps before
        if (step.event.at > loop.now()) {
            loop.runUntil(step.event.at);
            checker.timePassed();
            packets.sendOne(seed);
        }
        UmoAgent::carryOut(agent, step.event, printed);
        checker.changed(step.event.changes);
        packets.sendOne(seed + 1);
    };
    auto const requireNothingScheduled = [] {
        require(!Vyr::TaskSchedulerRoot::findOrCreateScheduler()->nextDue(),
                "nothing is left to do, but a task is scheduled");
    };

    UmoAgent::Changes const changes = readInitial(initial);
    agent.start(changes);
    checker.started(changes);
    while (auto const step = next(state, checker.inputs())) {
        carryOut(*step);
    }
    figures.packets = packets.compared();
    UmoAgent::printTree({printed}, *state.hwStatus());
    UmoAgent::printChip(printed, agent);
    UmoAgent::printGroups({printed}, agent.root(), *state.hwStatus());
    hash(printed.str());
    if (figures.hash % 2 == 0) {
        std::string names;
        for (auto const &[name, policy] : checker.inputs().policies) {
            names += name + ", ";
        }
        carryOut(readStep("{remove: {policies: [" + names + "]}}", state));
        loop.runUntil(loop.now() + std::chrono::minutes(1));
        checker.timePassed();
        requireNothingScheduled();
    }
    agent.shutDown();
    require(state.hwStatus()->natFlow().empty(), "shut down, but the tree is not empty");
    checkChip(agent.chip(), *state.hwStatus(), agent.helper().mayHold());
    requireNothingScheduled();
    return figures;
}

} // namespace Sim
