#pragma once

#include "agent/base/AnswerFile.h"
#include "agent/base/EventLoop.h"
#include "agent/console/CommandSocket.h"
#include "agent/console/LineReader.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace UmoAgent {

/// Serves many clients of a Unix stream socket at a time, on the event loop: a client sends one
/// line, gets the answer, and the connection closes.
///
/// No client can block the loop or the others. A client that does not send its line, or does not
/// take its answer, within the server's patience is dropped, and so is one that disconnects. A line
/// cut off by the end of the connection is not answered, because half a command is a different
/// command.
///
/// The end of a connection means that the answer is complete. If the client sent anything after its
/// line, a connection that closes earlier ends in an error instead.
class CommandServer {
  public:
    static constexpr std::chrono::milliseconds kPatience{10'000};
    static constexpr std::size_t kMaxClients = 64; // others wait to be accepted

    /// Reports that an answer is written, or that it cannot be. Must not be called after the server
    /// is destroyed.
    using Done = std::function<void(bool whole)>;

    /// Writes the answer to a line to the descriptor, then calls `done`, at once or later. The
    /// client waits without limit.
    using Answer =
        std::function<void(std::uint32_t socket, std::string const &line, Done const &done)>;

    /// Takes over the connection of a client whose line asks for something that goes on, if it
    /// returns true.
    using Handover = std::function<bool(std::string const &line, Descriptor &socket)>;

    void handoverIs(Handover handover) { handover_ = std::move(handover); }

    /// Listens at `path`, and answers while the loop runs. The loop must outlive the server. Throws
    /// SocketError.
    CommandServer(EventLoop &loop, std::string path, Answer answer,
                  std::chrono::milliseconds patience = kPatience);
    ~CommandServer();
    CommandServer(CommandServer const &) = delete;
    CommandServer &operator=(CommandServer const &) = delete;

    [[nodiscard]] std::string const &path() const { return socket_.path(); }

  private:
    struct Client {
        Descriptor socket;
        LineReader reader;
        std::optional<AnswerFile> answer; // when the line is complete
        std::size_t sent = 0;             // bytes of the answer sent
    };

    void listen();
    void acceptClients();
    void receive(Client &client);
    void answer(Client &client);
    void answered(Client &client, bool whole);
    void send(Client &client);
    void drop(Client const &client);
    void forget(int descriptor);

    EventLoop &loop_;
    Answer answer_;
    Handover handover_;
    std::chrono::milliseconds patience_;
    ListeningSocket socket_;
    std::map<int, Client> clients_; // by descriptor
};

} // namespace UmoAgent
