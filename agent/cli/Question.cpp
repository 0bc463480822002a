#include "agent/cli/Question.h"

#include "agent/base/Descriptor.h"
#include "agent/console/CommandSocket.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

namespace UmoAgent {

namespace {

using std::chrono::steady_clock;

/// The connection for one question, and the time left for all of it.
class Connection {
  public:
    Connection(std::string const &path, std::chrono::seconds patience)
        : patience_(patience), socket_(connectTo(path, patience)) {}

    void send(std::string_view text);
    [[nodiscard]] std::string receive();

  private:
    void await(short event);

    std::chrono::seconds patience_;
    steady_clock::time_point end_ = steady_clock::now() + patience_;
    Descriptor socket_;
};

/// Returns when the event has occurred, or an error that the awaited call will report.
void Connection::await(short event) {
    using std::chrono::milliseconds;
    pollfd polled{socket_.number(), event, 0};
    while (polled.revents == 0) {
        auto const left = std::chrono::ceil<milliseconds>(end_ - steady_clock::now());
        if (left <= milliseconds(0)) {
            throw std::runtime_error("the agent has not answered within " +
                                     std::to_string(patience_.count()) +
                                     " s, and may yet carry the command out");
        }
        poll(&polled, 1, static_cast<int>(left.count()));
    }
}

void Connection::send(std::string_view text) {
    while (!text.empty()) {
        await(POLLOUT);
        ssize_t const sent =
            ::send(socket_.number(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno != EINTR && errno != EAGAIN) {
            throw std::system_error(errno, std::generic_category(), "the agent does not listen");
        }
        text.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
}

/// Reads everything before any of it is printed: the agent does not wait for a reader with a pager.
std::string Connection::receive() {
    std::string text;
    std::vector<char> bytes(65536);
    for (;;) {
        await(POLLIN);
        ssize_t const got = recv(socket_.number(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (got == 0) {
            return text;
        }
        if (got < 0 && errno != EINTR && errno != EAGAIN) {
            throw std::system_error(errno, std::generic_category(),
                                    "the agent broke off, perhaps with the command carried out");
        }
        text.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        if (text.size() > kMaxAnswer) {
            throw std::runtime_error("the answer has more than " +
                                     std::to_string(kMaxAnswer >> 20U) + " MiB");
        }
    }
}

} // namespace

std::string ask(std::string const &path, std::string const &line, std::chrono::seconds patience) {
    Connection connection(path, patience);
    connection.send(line + "\n\n"); // more than the line: see CommandServer
    return connection.receive();
}

void follow(std::string const &path, std::string const &line, std::chrono::seconds patience,
            std::function<void(std::string_view piece)> const &take) {
    Descriptor const socket = connectTo(path, patience);
    writeAll(socket.number(), line + "\n\n"); // more than the line, as above
    std::vector<char> bytes(65536);
    for (;;) {
        ssize_t const got = recv(socket.number(), bytes.data(), bytes.size(), 0);
        if (got == 0) {
            return;
        }
        if (got < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "the agent broke off");
        }
        take({bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0))});
    }
}

} // namespace UmoAgent
