#include "agent/live/JsonRpc.h"

#include <nlohmann/json.hpp>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

/// The most bytes received before the loop continues.
constexpr std::size_t kPortion = 65536;

Descriptor connectTo(std::string const &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::system_error(std::make_error_code(std::errc::filename_too_long));
    }
    std::copy(path.begin(), path.end(), static_cast<char *>(address.sun_path));
    Descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!made ||
        connect(made.number(), reinterpret_cast<sockaddr const *>(&address), sizeof address) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    return made;
}

bool tryAgain(int error) {
    return error == EAGAIN || error == EINTR;
}

} // namespace

JsonRpc::JsonRpc(EventLoop &loop, std::string const &path, Callbacks callbacks)
    : loop_(loop),
      callbacks_(std::make_shared<Callbacks>(std::move(callbacks))),
      socket_(connectTo(path)) {
    watch();
}

JsonRpc::~JsonRpc() {
    if (socket_) {
        loop_.unwatch(socket_.number());
    }
}

void JsonRpc::watch() {
    int const events = POLLIN | (unsent_.empty() ? 0 : POLLOUT);
    loop_.watch(socket_.number(), static_cast<short>(events),
                [this](short occurred) { serve(occurred); });
}

void JsonRpc::send(nlohmann::json const &message) {
    bool const wasEmpty = unsent_.empty();
    unsent_ += message.dump();
    if (wasEmpty) {
        write();
    }
}

/// An error is left to the reader, who will find the end of the connection.
void JsonRpc::write() {
    bool const watched = !unsent_.empty();
    while (!unsent_.empty()) {
        ssize_t const sent = ::send(socket_.number(), unsent_.data(), unsent_.size(), MSG_NOSIGNAL);
        if (sent < 0 && tryAgain(errno)) {
            break;
        }
        if (sent < 0) {
            shutdown(socket_.number(), SHUT_RDWR);
            unsent_.clear();
            break;
        }
        unsent_.erase(0, static_cast<std::size_t>(sent));
    }
    if (watched) {
        watch();
    }
}

void JsonRpc::serve(short events) {
    if ((events & POLLOUT) != 0) {
        write();
    }
    if ((events & ~POLLOUT) != 0) {
        read();
    }
}

void JsonRpc::read() {
    std::array<char, kPortion> bytes; // NOLINT(cppcoreguidelines-pro-type-member-init): filled next
    ssize_t const got = recv(socket_.number(), bytes.data(), bytes.size(), 0);
    if (got <= 0) {
        if (got == 0 || !tryAgain(errno)) {
            close(got == 0 ? "closed by the server" : std::generic_category().message(errno));
        }
        return;
    }
    splitter_.add({bytes.data(), static_cast<std::size_t>(got)});
    auto const callbacks = callbacks_;
    while (auto const text = splitter_.next()) {
        auto const message = nlohmann::json::parse(*text, nullptr, false);
        if (message.is_discarded()) {
            close("the server sent something else than JSON");
            return;
        }
        try {
            if (message.value("method", nlohmann::json()) == "echo") {
                send({{"id", message.at("id")},
                      {"result", message.at("params")},
                      {"error", nullptr}});
            } else {
                callbacks->received(message);
            }
        } catch (nlohmann::json::exception const &error) {
            if (callbacks.use_count() > 1) {
                close(std::string("the server sent an unexpected message: ") + error.what());
            }
            return;
        }
        if (callbacks.use_count() == 1) {
            return; // the call has destroyed this
        }
    }
    if (splitter_.broken()) {
        close("the server sent something else than JSON");
    }
}

void JsonRpc::close(std::string const &reason) {
    loop_.unwatch(std::exchange(socket_, Descriptor()).number());
    auto const callbacks = callbacks_;
    callbacks->closed(reason);
}

} // namespace UmoAgent
