#pragma once

#include "sim/Run.h"

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Sim {

/// A scenario as texts: the initial state, and the events in their order.
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
    Script script;         // as far as it was played
    std::string fault;     // empty: all was well
    bool rejected = false; // the fault is a text that the reader did not accept
};

/// A simulation in a process of its own: it begins like umo-agent itself, and one that crashes
/// is a fault like another.
struct Child {
    pid_t process;
    int log;
};

Child start(Task const &task);

/// What a child told, with the status that the wait for its end gave. Once only.
Result resultOf(Child const &child, int status);

/// Runs a simulation to its end.
Result simulate(Task const &task);

/// Leaves out of a script that fails what it does not need to fail.
Script shrunk(Script script);

/// The scenario file of a script, with what was wrong at its end.
std::string scenario(Script const &script, std::string const &fault);

} // namespace Sim
