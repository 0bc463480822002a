#pragma once

#include "Mox/Trace.h"

#include <cstdint>

namespace UmoAgent {

/// While it lives, traces go to standard error only while that takes them, and are counted else:
/// a terminal that stands still must not stop the switch, which would answer nobody any more.
class TraceOutput final : public Mox::TraceSink {
  public:
    TraceOutput();
    ~TraceOutput() override;
    TraceOutput(TraceOutput const &) = delete;
    TraceOutput &operator=(TraceOutput const &) = delete;

    void message(std::string_view handle, int level, std::string_view text) override;

  private:
    Mox::TraceSink *before_;
    std::uint64_t dropped_ = 0; // since the last message that was written
};

} // namespace UmoAgent
