#pragma once

#include "agent/base/OutputQueue.h"
#include "agent/capture/Captures.h"
#include "agent/scenario/Scenario.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace UmoAgent {

/// The result of a run of the agent.
enum class ExitStatus {
    good = 0,
    faulty = 1,  // a contract error, groups left in the chip, a damaged capture, or lost output
    refused = 2, // nothing was run: bad command line, scenario or capture, or no socket
};

struct PlayOptions {
    bool realTime = false;     // in real time, else in virtual time
    bool showCalls = false;    // print each call of the switch chip
    std::string socket{};      // where to answer commands; empty: none
    std::string metricsFile{}; // to be kept up to date; empty: none
    CaptureOptions captures{};

    /// The buffers of the output streams, where output may have to wait for a reader: in virtual
    /// time it waits until a signal comes, in real time it does not.
    std::vector<OutputQueue *> queues{};
};

/// Plays a scenario: mounts its initial state, creates the root of the NAT state machines on a
/// software switch chip, carries out the events at their times, and drops the root at the end.
/// Tasks that are due at the time of an event run before it, and the frames of captures that arrive
/// at that time come after it.
///
/// With a socket the agent answers commands, and keeps running in real time after the scenario.
/// SIGINT, SIGTERM and SIGHUP end the agent, or the scenario between two events, in the same
/// orderly way.
///
/// Printouts go to `out`, and in virtual time are the same in every run. `errors` receives contract
/// errors, reports of full groups, captures that cannot be read or written, and the reason if
/// nothing is run.
ExitStatus play(Scenario scenario, PlayOptions const &options, std::ostream &out,
                std::ostream &errors);

} // namespace UmoAgent
