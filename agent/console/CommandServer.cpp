#include "agent/console/CommandServer.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

/// The most bytes received or sent before the loop continues.
constexpr std::size_t kPortion = 65536;

/// After a failure to accept.
constexpr std::chrono::milliseconds kPause{100};

bool tryAgain(int error) {
    return error == EAGAIN || error == EINTR;
}

} // namespace

CommandServer::CommandServer(EventLoop &loop, std::string path, Answer answer,
                             std::chrono::milliseconds patience)
    : loop_(loop), answer_(std::move(answer)), patience_(patience), socket_(std::move(path)) {
    listen();
}

CommandServer::~CommandServer() {
    loop_.unwatch(socket_.number());
    for (auto const &[descriptor, client] : clients_) {
        loop_.unwatch(descriptor);
    }
}

void CommandServer::listen() {
    loop_.watch(socket_.number(), POLLIN, [this](short) { acceptClients(); });
}

void CommandServer::acceptClients() {
    while (clients_.size() < kMaxClients) {
        Descriptor accepted(
            accept4(socket_.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!accepted) {
            if (!tryAgain(errno)) {
                // Out of descriptors or memory: trying again at once would make the loop spin.
                loop_.watch(
                    socket_.number(), 0, [this](short) { listen(); }, kPause);
            }
            return;
        }
        int const descriptor = accepted.number();
        Client &client = clients_[descriptor];
        client.socket = std::move(accepted);
        loop_.watch(
            descriptor, POLLIN,
            [this, &client](short events) { events != 0 ? receive(client) : drop(client); },
            patience_);
    }
    loop_.unwatch(socket_.number());
}

/// Leaves everything after the line unread, see `drop`.
void CommandServer::receive(Client &client) {
    std::array<char, kPortion> bytes{};
    int const socket = client.socket.number();
    ssize_t const seen = recv(socket, bytes.data(), bytes.size(), MSG_PEEK);
    if (seen <= 0) {
        if (seen == 0 || !tryAgain(errno)) {
            drop(client);
        }
        return;
    }
    std::string_view const text(bytes.data(), static_cast<std::size_t>(seen));
    std::size_t const end = text.find('\n');
    std::size_t const taken = end == std::string_view::npos ? text.size() : end + 1;
    recv(socket, bytes.data(), taken, 0);
    if (client.reader.add(text.substr(0, taken)) != LineReader::State::reading) {
        answer(client);
    }
}

void CommandServer::answer(Client &client) {
    int const descriptor = client.socket.number();
    loop_.unwatch(descriptor);
    if (handover_ && client.reader.state() == LineReader::State::whole &&
        handover_(client.reader.line(), client.socket)) {
        forget(descriptor);
        return;
    }
    try {
        client.answer.emplace();
        if (client.reader.state() != LineReader::State::whole) {
            client.answer->write("% a line of more than " + std::to_string(LineReader::kMaxLength) +
                                 " bytes\n");
        }
    } catch (std::system_error const &) {
        drop(client); // no room for the answer
        return;
    }
    if (client.reader.state() != LineReader::State::whole) {
        answered(client, true);
        return;
    }
    answer_(client.answer->socket(), client.reader.line(),
            [this, &client](bool whole) { answered(client, whole); });
}

void CommandServer::answered(Client &client, bool whole) {
    if (!whole) {
        drop(client);
        return;
    }
    loop_.watch(
        client.socket.number(), POLLOUT,
        [this, &client](short events) { events != 0 ? send(client) : drop(client); }, patience_);
}

void CommandServer::send(Client &client) {
    std::string const portion = client.answer->read(client.sent, kPortion);
    if (portion.empty()) {
        std::array<char, kPortion> rest{};
        recv(client.socket.number(), rest.data(), rest.size(), 0);
        drop(client); // it has received the whole answer
        return;
    }
    ssize_t const sent =
        ::send(client.socket.number(), portion.data(), portion.size(), MSG_NOSIGNAL);
    if (sent >= 0) {
        client.sent += static_cast<std::size_t>(sent);
    } else if (!tryAgain(errno)) {
        drop(client);
    }
}

/// If a client sent bytes that nobody read, the system ends its connection in an error. After a
/// complete answer `send` reads those bytes. So a client that sends something after its line can
/// distinguish a complete answer from one that was cut off, even by the agent's death.
void CommandServer::drop(Client const &client) {
    int const descriptor = client.socket.number();
    loop_.unwatch(descriptor);
    forget(descriptor);
}

void CommandServer::forget(int descriptor) {
    bool const wereFull = clients_.size() == kMaxClients;
    clients_.erase(descriptor);
    if (wereFull) {
        listen();
    }
}

} // namespace UmoAgent
