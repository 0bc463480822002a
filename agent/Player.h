#pragma once

#include "agent/ScenarioModel.h"

#include <iosfwd>

namespace UmoAgent {

/// With what a run of the agent ends.
enum class ExitStatus {
    good = 0,
    faulty = 1,      // the contract of the chip was broken, or groups were left in it
    badScenario = 2, // nothing was run: bad command line, or scenario unreadable or with errors
};

struct PlayOptions {
    bool realTime = false;  // on the wall clock, else in virtual time
    bool showCalls = false; // print each call of the switch chip
};

/// Plays a scenario: mounts its initial state, creates the root of the NAT state machines on a
/// software switch chip, carries out the events at their times, and at the end drops the root.
/// A task that is due at the time of an event runs before it.
///
/// Printouts go to `out`, and in virtual time are the same in every run; contract errors go to
/// `errors`.
ExitStatus play(Scenario const &scenario, PlayOptions options, std::ostream &out,
                std::ostream &errors);

} // namespace UmoAgent
