#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/EventLoop.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <streambuf>
#include <string>

namespace UmoAgent {

/// What is behind a stream that prints to a descriptor: writes whole lines while the descriptor
/// takes them, and queues them else, so that a reader who has stopped reading does not stop the
/// switch. Lines for which the queue has no room are dropped as a whole; "(N lines dropped)" stands
/// where they are missing.
///
/// A line goes to the queue when it ends, and to the descriptor when the stream is flushed, the
/// queue has grown long, or the event loop finds room. The descriptor stays as it is: it is shared
/// with other programs, for whom it must go on to block.
class OutputQueue final : public std::streambuf {
  public:
    using Patience = EventLoop::Patience;

    /// The most bytes that wait for their reader; a single line may be longer.
    static constexpr std::size_t kMostQueued = std::size_t{1} << 20U;

    /// Writes to `descriptor`, which must outlive it, and waits for its reader for ever.
    explicit OutputQueue(int descriptor);
    ~OutputQueue() override { detach(); }
    OutputQueue(OutputQueue const &) = delete;
    OutputQueue &operator=(OutputQueue const &) = delete;

    /// From now on `loop` writes what is queued while it runs, and waiting for ever ends when
    /// `interrupt` is readable; negative: never. Both must be there until `detach`.
    void attach(EventLoop &loop, int interrupt);
    void detach();

    /// How long a reader who takes nothing is waited for before lines are queued; none: for ever.
    /// A wait that was in vain is the last one until this is called again.
    void patienceIs(Patience patience) { patience_ = patience; }

    /// What is still there goes out now, as far as patience reaches; the rest is lost.
    void finish();

    /// Why lines are lost; empty if none is.
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

    Descriptor terminal_; // none if the descriptor is none
    int descriptor_;
    EventLoop *loop_ = nullptr;
    int interrupt_ = -1;
    Patience patience_;

    std::string line_;          // the one that has not ended
    std::string queue_;         // whole lines
    std::size_t sent_ = 0;      // bytes of the queue
    std::uint64_t dropped_ = 0; // lines, since the last one that was queued
    bool lost_ = false;         // lines
    int error_ = 0;             // of the system, after which nothing is written any more
    bool watching_ = false;
};

} // namespace UmoAgent
