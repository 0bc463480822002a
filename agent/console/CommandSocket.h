#pragma once

#include "agent/base/Descriptor.h"

#include <sys/types.h>

#include <chrono>
#include <stdexcept>
#include <string>

namespace UmoAgent {

/// Where a switch's agent answers commands unless told otherwise.
inline constexpr char const *kDefaultSocketPath = "/run/umo-agent.sock";

/// Says which socket cannot be had, and why.
class SocketError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A Unix stream socket that listens at a path, for its owner alone, until it is destroyed; then
/// it takes its file away.
class ListeningSocket {
  public:
    /// A socket file on which nobody listens any more is replaced. Throws SocketError if somebody
    /// does, if the path is something else, or if the system refuses.
    explicit ListeningSocket(std::string path);
    ~ListeningSocket();
    ListeningSocket(ListeningSocket const &) = delete;
    ListeningSocket &operator=(ListeningSocket const &) = delete;

    /// Does not block.
    [[nodiscard]] int number() const { return socket_.number(); }
    [[nodiscard]] std::string const &path() const { return path_; }

  private:
    std::string path_;
    Descriptor socket_;
    ino_t inode_ = 0; // of the file that is this socket's
};

/// Nobody listens at the path.
class NobodyAnswers : public SocketError {
  public:
    using SocketError::SocketError;
};

/// A connection to whoever listens at the path. Throws NobodyAnswers if nobody does, and another
/// SocketError for other reasons, such as one who has not accepted it within `patience`; 0: for
/// ever.
Descriptor connectTo(std::string const &path,
                     std::chrono::microseconds patience = std::chrono::microseconds(0));

} // namespace UmoAgent
