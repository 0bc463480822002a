#pragma once

#include "agent/LiveAgent.h"
#include "agent/capture/Captures.h"

namespace CLI {
class App;
}

namespace UmoAgent {

/// Adds the options for captures to umo-agent's, of which `--check` excludes them. Their values go
/// to `captures`, which outlives `app`.
void declareCaptures(CLI::App &app, CaptureOptions &captures);

/// Adds the options for a real switch to umo-agent's. Their values go to `options`, which outlives
/// `app`.
void declareLive(CLI::App &app, LiveOptions &options);

} // namespace UmoAgent
