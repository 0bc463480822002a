#pragma once

#include "Vyr/Clock.h"
#include "agent/base/EventLoop.h"
#include "agent/capture/CaptureDirectory.h"
#include "agent/capture/CaptureFeed.h"
#include "agent/packet/Forwarder.h"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace UmoAgent {

struct CaptureOptions {
    std::vector<CaptureFeed::Source> in;
    Vyr::Time start{}; // when the first frame of each arrives
    std::string out{}; // folder for what the interfaces send; empty: none
};

/// The captures of a run: their frames go through the switch at their times, and the copies that
/// leave are captured.
class Captures {
  public:
    /// Receives what cannot be read or written, one line each.
    using Report = std::function<void(std::string const &line)>;

    /// `ports` are all interfaces that may send. `loop` and `forwarder` outlive it. Throws
    /// CaptureError if a capture cannot be opened, or the folder not be written; then no file has
    /// changed.
    Captures(CaptureOptions const &options, std::set<Nexo::IntfId> const &ports, EventLoop &loop,
             Forwarder &forwarder, Report report);
    ~Captures();
    Captures(Captures const &) = delete;
    Captures &operator=(Captures const &) = delete;

    /// Lets the frames arrive whose time is before `until`, or all; stops when the loop is stopped.
    void playBefore(std::optional<Vyr::Time> until);

    /// Whether frames are left.
    [[nodiscard]] bool more() const { return feed_.nextAt().has_value(); }

    /// Closes the files; no copy may leave after it. Returns whether everything that was played
    /// could be read, and every copy written.
    bool finish();

  private:
    void reportErrors();

    EventLoop &loop_;
    Forwarder &forwarder_;
    Report report_;
    CaptureFeed feed_;
    std::optional<CaptureDirectory> directory_;
    bool complete_ = true;
};

} // namespace UmoAgent
