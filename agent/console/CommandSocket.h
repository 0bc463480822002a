#pragma once

#include "agent/base/Descriptor.h"

#include <sys/types.h>

#include <chrono>
#include <stdexcept>
#include <string>

namespace UmoAgent {

/// The socket at which the agent answers by default.
inline constexpr char const *kDefaultSocketPath = "/run/umo-agent.sock";

/// Names the socket that cannot be used, and why.
class SocketError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A Unix stream socket that listens at a path, for its owner only. Its destructor removes the
/// file.
class ListeningSocket {
  public:
    /// Replaces a socket file that nobody listens on. Throws SocketError if another program listens
    /// there, if the path is another kind of file, or on a system error.
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
    ino_t inode_ = 0; // of this socket's file
};

/// Nobody listens at the path.
class NobodyAnswers : public SocketError {
  public:
    using SocketError::SocketError;
};

/// A connection to the listener at the path. Throws NobodyAnswers if there is none, and another
/// SocketError for other reasons, such as a listener that does not accept within `patience`; 0
/// waits without limit.
Descriptor connectTo(std::string const &path,
                     std::chrono::microseconds patience = std::chrono::microseconds(0));

} // namespace UmoAgent
