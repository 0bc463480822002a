#pragma once

#include "Mox/Trace.h"

#include <iosfwd>

namespace UmoAgent {

/// While it lives, traces go to a stream, one line each, flushed at once. Names are made printable,
/// so that they cannot control the reader's terminal.
class TraceOutput final : public Mox::TraceSink {
  public:
    /// `out` must outlive it.
    explicit TraceOutput(std::ostream &out);
    ~TraceOutput() override;
    TraceOutput(TraceOutput const &) = delete;
    TraceOutput &operator=(TraceOutput const &) = delete;

    void message(std::string_view handle, int level, std::string_view text) override;

  private:
    std::ostream &out_;
    Mox::TraceSink *before_;
};

} // namespace UmoAgent
