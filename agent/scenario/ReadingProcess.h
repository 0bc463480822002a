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
/// stalls, as one on a network may, or that takes more memory than there is, stops the child alone;
/// the agent's loop goes on, kills a child that takes too long, and has another one for the next
/// file.
class ReadingProcess {
  public:
    /// How long a file may take to be read, and then to be parsed and handed over.
    struct Patience {
        std::chrono::milliseconds read{5'000};
        std::chrono::milliseconds parse{60'000};
    };

    /// Given the document, or what is wrong with the file.
    using Done = std::function<void(std::variant<Document, ScenarioFaults> read)>;

    /// Starts the child, best while the agent is small. `loop` outlives it. Throws
    /// std::system_error.
    ReadingProcess(EventLoop &loop, Patience patience);
    explicit ReadingProcess(EventLoop &loop) : ReadingProcess(loop, Patience{}) {}
    /// Reads that have not ended are forgotten.
    ~ReadingProcess();
    ReadingProcess(ReadingProcess const &) = delete;
    ReadingProcess &operator=(ReadingProcess const &) = delete;

    /// Reads the regular file at `path`, after those asked for before, and calls `done` from the
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
    std::vector<pid_t> killed_; // whose end is to be waited for
    Descriptor channel_;
    std::deque<Request> requests_; // the first is being read
    AnswerReader answer_;          // to the first
};

} // namespace UmoAgent
