#pragma once

#include "agent/capture/Captures.h"

namespace CLI {
class App;
}

namespace UmoAgent {

/// Adds the options for captures to umo-agent's, of which `--check` excludes them. Their values go
/// to `captures`, which outlives `app`.
void declareCaptures(CLI::App &app, CaptureOptions &captures);

} // namespace UmoAgent
