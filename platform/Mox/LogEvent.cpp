#include "Mox/LogEvent.h"

namespace Mox {

namespace {
std::vector<LogHandle const *> &catalogue() {
    static std::vector<LogHandle const *> handles;
    return handles;
}
} // namespace

LogHandle::LogHandle(LogEvent const &event) : event_(event) {
    catalogue().push_back(this);
}

LogHandle::~LogHandle() {
    std::erase(catalogue(), this);
}

std::vector<LogHandle const *> const &logHandles() {
    return catalogue();
}

} // namespace Mox
