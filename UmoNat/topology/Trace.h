#pragma once

#include "Mox/Trace.h"

/// What the sources of the topology machine share for their traces.
extern Mox::TraceHandle const topologySmTrace;
