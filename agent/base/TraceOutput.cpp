#include "agent/base/TraceOutput.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <string>

namespace UmoAgent {

TraceOutput::TraceOutput() : before_(Mox::traceSinkIs(this)) {}

TraceOutput::~TraceOutput() {
    Mox::traceSinkIs(before_);
}

/// Writable means room for PIPE_BUF bytes; what is longer is cut.
void TraceOutput::message(std::string_view handle, int level, std::string_view text) {
    pollfd standardError{STDERR_FILENO, POLLOUT, 0};
    if (poll(&standardError, 1, 0) != 1) {
        ++dropped_;
        return;
    }
    std::string line;
    if (dropped_ != 0) {
        line = "(" + std::to_string(dropped_) + " trace messages dropped)\n";
        dropped_ = 0;
    }
    line.append(handle).append("/").append(std::to_string(level)).append(" ").append(text);
    line.resize(std::min<std::size_t>(line.size(), PIPE_BUF - 1));
    std::fprintf(stderr, "%s\n", line.c_str());
}

} // namespace UmoAgent
