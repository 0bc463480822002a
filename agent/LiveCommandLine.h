#pragma once

#include "agent/LiveAgent.h"

namespace CLI {
class App;
}

namespace UmoAgent {

/// Adds the options for a real switch to `app`, whose parsing sets `options`.
void declareLive(CLI::App &app, LiveOptions &options);

} // namespace UmoAgent
