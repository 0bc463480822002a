#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/EventLoop.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <streambuf>
#include <string>

namespace UmoAgent {

/// A stream buffer over a descriptor. It writes whole lines while the descriptor accepts them, and
/// queues them otherwise, so that a reader that stops reading does not stop the switch. When the
/// queue is full it drops whole lines, and "(N lines dropped)" marks the gap.
///
/// A line enters the queue when it ends. It goes to the descriptor when the stream is flushed, the
/// queue has grown long, or the event loop finds room. The descriptor stays in blocking mode,
/// because other programs share it and rely on that.
class OutputQueue final : public std::streambuf {
  public:
    using Patience = EventLoop::Patience;

    /// The most bytes that are queued; a single line may be longer.
    static constexpr std::size_t kMostQueued = std::size_t{1} << 20U;

    /// How long to wait at the end of a program for a reader that takes nothing.
    static constexpr std::chrono::milliseconds kLastPatience{3000};

    /// Writes to `descriptor`, which must outlive it, and waits for the reader without limit.
    explicit OutputQueue(int descriptor);
    ~OutputQueue() override { detach(); }
    OutputQueue(OutputQueue const &) = delete;
    OutputQueue &operator=(OutputQueue const &) = delete;

    /// From now on `loop` writes the queue while it runs, and an unlimited wait ends when
    /// `interrupt` is readable; negative: never. Both must exist until `detach`.
    void attach(EventLoop &loop, int interrupt);
    void detach();

    /// How long to wait for a reader that takes nothing before lines are queued; none: without
    /// limit. After a wait in vain there is no further wait until this is called again.
    void patienceIs(Patience patience) { patience_ = patience; }

    /// Writes what is still queued, as far as patience allows; the rest is lost.
    void finish();

    /// Why lines were lost; empty if none were.
    [[nodiscard]] std::string loss() const;

  protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(char const *text, std::streamsize size) override;
    int sync() override;

  private:
    void lineEnds();
    void tellDropped();
    void send();
    void watchIfQueued();
    [[nodiscard]] bool hasRoom();
    [[nodiscard]] bool descriptorTakes();
    [[nodiscard]] std::size_t queued() const { return queue_.size() - sent_; }

    Descriptor terminal_; // none if the descriptor is not a terminal
    int descriptor_;
    EventLoop *loop_ = nullptr;
    int interrupt_ = -1;
    Patience patience_;

    std::string line_;          // the unfinished line
    std::string queue_;         // whole lines
    std::size_t sent_ = 0;      // bytes of the queue that were written
    std::uint64_t dropped_ = 0; // lines since the last queued one
    bool lost_ = false;         // lines were lost
    int error_ = 0;             // errno; nothing is written after it
    bool watching_ = false;
};

} // namespace UmoAgent
