#pragma once

#include "agent/base/Descriptor.h"

#include <functional>

#include <sys/types.h>

namespace UmoAgent {

/// A copy of the process that has nothing of it open but its end of a channel: no output, no
/// socket, no client waits for it. It dies with the process. The owner reaps it.
struct ProcessCopy {
    pid_t number = -1;
    Descriptor channel{}; // a stream socket; the other end is the child's

    /// Starts a child that does `work` with its end of the channel and exits, also if `work`
    /// throws. Throws std::system_error; `purpose` says what the child is for.
    static ProcessCopy start(char const *purpose, std::function<void(int channel)> const &work);
};

} // namespace UmoAgent
