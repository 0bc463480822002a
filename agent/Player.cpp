#include "agent/Player.h"

#include "agent/EventLoop.h"
#include "agent/ForwardingAgent.h"
#include "agent/Printers.h"

#include <algorithm>
#include <ostream>
#include <string>

namespace UmoAgent {

namespace {

/// Plays the events at their times, until the scenario's end or until the loop is stopped.
void playEvents(Scenario const &scenario, EventLoop &loop, ForwardingAgent &agent,
                std::ostream &out) {
    for (Event const &event : scenario.events) {
        loop.runUntil(event.at);
        if (loop.stopped()) {
            return;
        }
        agent.carryOut(event, out);
        out.flush();
    }
    loop.runUntil(std::max(scenario.end.value_or(Vyr::Time{}), loop.now()));
}

} // namespace

ExitStatus play(Scenario const &scenario, PlayOptions options, std::ostream &out,
                std::ostream &errors) {
    EventLoop loop;
    ForwardingAgent agent(loop, [&](std::string const &line) {
        errors << stamp(loop.now()) << " contract error: " << line << '\n';
    });
    if (options.realTime) {
        loop.wallTime();
    }
    if (options.showCalls) {
        agent.chip().callLogIs([&](std::string const &line) {
            out << stamp(loop.now()) << ' ' << line << std::endl; // seen even if it is the last
        });
    }
    agent.start(scenario.initial);
    playEvents(scenario, loop, agent, out);
    agent.shutDown();
    out << stamp(loop.now()) << " end of the scenario, NAT is shut down\n";
    printChip(out, agent.chip());
    out.flush();
    return agent.clean() ? ExitStatus::good : ExitStatus::faulty;
}

} // namespace UmoAgent
