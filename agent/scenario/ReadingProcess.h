#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/EventLoop.h"
#include "agent/scenario/Document.h"
#include "agent/scenario/DocumentChannel.h"

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <sys/types.h>

namespace UmoAgent {

/// A child process that reads and parses files for the agent, one after the other. A file that
/// stalls, for example on a network, or that needs too much memory, stops only the child. The
/// agent's loop keeps running, kills a child that takes too long, and starts another for the next
/// file.
class ReadingProcess {
  public:
    /// The time limits for reading a file, and for parsing and transferring it.
    struct Patience {
        std::chrono::milliseconds read{5'000};
        std::chrono::milliseconds parse{60'000};
    };

    /// Receives the document, or the errors of the file.
    using Done = std::function<void(std::variant<Document, ScenarioFaults> read)>;

    /// Starts the child, best while the agent is small. `loop` must outlive it. Throws
    /// std::system_error.
    ReadingProcess(EventLoop &loop, Patience patience);
    explicit ReadingProcess(EventLoop &loop) : ReadingProcess(loop, Patience{}) {}
    /// Unfinished reads are dropped.
    ~ReadingProcess();
    ReadingProcess(ReadingProcess const &) = delete;
    ReadingProcess &operator=(ReadingProcess const &) = delete;

    /// Reads the regular file at `path` after those requested before, and calls `done` from the
    /// loop.
    void read(std::string path, Done done);

  private:
    struct Request {
        std::string path;
        Done done;
    };

    void start();
    void kill();
    void reap();
    void ask();
    void await(std::chrono::milliseconds patience);
    void receive(short events);
    bool take(std::optional<std::variant<Document, ScenarioFaults>> &answer);
    void finish(std::variant<Document, ScenarioFaults> read);
    void fail(std::string const &reason);

    EventLoop &loop_;
    Patience patience_;
    pid_t child_ = -1;
    std::vector<pid_t> killed_; // not yet reaped
    Descriptor channel_;
    std::deque<Request> requests_; // the first is in progress
    AnswerReader answer_;          // to the first request
};

} // namespace UmoAgent
