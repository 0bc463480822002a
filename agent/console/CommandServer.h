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

namespace UmoAgent {

/// Answers the clients of a Unix stream socket, many at a time, on the event loop: a client sends
/// one line, gets the answer, and the connection closes.
///
/// No client can hold up the loop or the others. One that does not send its line, or does not
/// take its answer, within the server's patience is dropped; so is one that goes away. A line that
/// ends with the connection is not answered: half of a command is another command.
///
/// The end of a connection says that the answer was whole. To a client that has sent anything
/// behind its line, a connection that ends before that ends in an error instead.
class CommandServer {
  public:
    static constexpr std::chrono::milliseconds kPatience{10'000};
    static constexpr std::size_t kMaxClients = 64; // the others wait to be accepted

    /// Says that an answer is written, or that it cannot be. Not to be called when the server is
    /// no more.
    using Done = std::function<void(bool whole)>;

    /// Writes the answer of a line to the descriptor, and then calls `done`, at once or later. The
    /// client waits for it as long as it takes.
    using Answer =
        std::function<void(std::uint32_t socket, std::string const &line, Done const &done)>;

    /// Listens at `path`, and answers while the loop runs, which must outlive it. Throws
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
        std::optional<AnswerFile> answer; // when the line is whole
        std::size_t sent = 0;             // bytes of the answer
    };

    void listen();
    void acceptClients();
    void receive(Client &client);
    void answer(Client &client);
    void answered(Client &client, bool whole);
    void send(Client &client);
    void drop(Client const &client);

    EventLoop &loop_;
    Answer answer_;
    std::chrono::milliseconds patience_;
    ListeningSocket socket_;
    std::map<int, Client> clients_; // by descriptor
};

} // namespace UmoAgent
