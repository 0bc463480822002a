#pragma once

#include "agent/LiveSwitch.h"
#include "agent/Player.h"
#include "agent/base/OutputQueue.h"
#include "agent/switch/Changes.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace UmoAgent {

struct LiveOptions {
    LiveSwitch::Options live{};          // no bridge: none
    bool leave = false;                  // what is in the switch, at the end
    bool showCalls = false;              // of the library
    std::string socket{};                // where to answer commands; empty: none
    std::string metricsFile{};           // to be kept up to date; empty: none
    std::string file{};                  // of the feeds, to be read again
    std::vector<OutputQueue *> queues{}; // the buffers of the output streams
};

/// Follows a bridge of Open vSwitch and programs the feeds' flows into it, until SIGINT or SIGTERM.
/// SIGHUP reads the file of the feeds again. `feeds` are changes that make the policies and IP
/// interfaces of the file.
///
/// `out` receives what a user wants to know of a good run, `errors` what went wrong.
ExitStatus follow(Changes const &feeds, LiveOptions const &options, std::ostream &out,
                  std::ostream &errors);

} // namespace UmoAgent
