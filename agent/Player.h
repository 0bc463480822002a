#pragma once

#include "agent/base/OutputQueue.h"
#include "agent/scenario/Scenario.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace UmoAgent {

/// With what a run of the agent ends.
enum class ExitStatus {
    good = 0,
    faulty = 1,  // the chip's contract was broken, groups were left in it, or output is lost
    refused = 2, // nothing was run: bad command line, bad scenario, or no socket to be had
};

struct PlayOptions {
    bool realTime = false;  // on the wall clock, else in virtual time
    bool showCalls = false; // print each call of the switch chip
    std::string socket{};   // where to answer commands; empty: nowhere

    /// What is behind the streams that are printed to, where that may have to wait for a reader:
    /// in virtual time it does, until a signal comes; on the wall clock it does not.
    std::vector<OutputQueue *> queues{};
};

/// Plays a scenario: mounts its initial state, creates the root of the NAT state machines on a
/// software switch chip, carries out the events at their times, and at the end drops the root.
/// A task that is due at the time of an event runs before it.
///
/// With a socket the agent answers commands, and goes on after the scenario, on the wall clock.
/// SIGINT, SIGTERM and SIGHUP end it, and the scenario between two events, in the same order.
///
/// Printouts go to `out`, and in virtual time are the same in every run; contract errors and a
/// group of the chip that is full are told to `errors`, and so is the reason if there can be no
/// socket and nothing is run.
ExitStatus play(Scenario scenario, PlayOptions const &options, std::ostream &out,
                std::ostream &errors);

} // namespace UmoAgent
