#pragma once

#include "sim/Run.h"

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Sim {

/// A scenario as texts: the initial state, and the events in order.
struct Script {
    std::string initial;
    std::vector<std::string> events;
};

/// What to simulate: the stream of a seed, or a given script.
struct Task {
    std::uint64_t seed = 0;
    std::size_t events = 0; // to generate
    bool faults = false;
    Script const *script = nullptr; // to play instead
};

struct Result : Figures {
    Script script;         // the part that was played
    std::string fault;     // empty: none
    bool rejected = false; // the fault is a text that the reader rejected
};

/// A simulation in its own process: it starts like umo-agent itself, and a crash is a fault like
/// any other.
struct Child {
    pid_t process;
    int log;
};

Child start(Task const &task);

/// The result of a child, given its exit status. Called once.
Result resultOf(Child const &child, int status);

/// Runs a simulation to its end.
Result simulate(Task const &task);

/// Removes from a failing script the events that it does not need to fail.
Script shrunk(Script script);

/// The scenario file of a script, with the fault at its end.
std::string scenario(Script const &script, std::string const &fault);

} // namespace Sim
