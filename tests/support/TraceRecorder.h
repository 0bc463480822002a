#pragma once

#include "Mox/Trace.h"

#include <string>
#include <string_view>
#include <vector>

namespace TestSupport {

/// While it lives, trace messages are kept here as "HANDLE/LEVEL TEXT" instead of being printed,
/// with the levels of `setting` on. Its end switches all levels off.
class TraceRecorder final : public Mox::TraceSink {
  public:
    explicit TraceRecorder(std::string_view setting) : before_(Mox::traceSinkIs(this)) {
        Mox::traceLevelsIs(setting);
    }
    ~TraceRecorder() override {
        Mox::traceLevelsIs("");
        Mox::traceSinkIs(before_);
    }
    TraceRecorder(TraceRecorder const &) = delete;
    TraceRecorder &operator=(TraceRecorder const &) = delete;

    void message(std::string_view handle, int level, std::string_view text) override {
        messages.push_back(std::string(handle) + "/" + std::to_string(level) + " " +
                           std::string(text));
    }

    std::vector<std::string> messages;

  private:
    Mox::TraceSink *before_;
};

} // namespace TestSupport
