#pragma once

#include "Mox/Trace.h"

/// The trace handle shared by the sources of the topology machine.
extern Mox::TraceHandle const topologySmTrace;
