#include "agent/events/EventFeed.h"

#include "agent/base/Text.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

namespace UmoAgent {

/// What a client has sent is read only here: left unread, it resets the connection, which tells
/// the client of an agent that died.
EventFeed::~EventFeed() {
    std::array<char, 4096> bytes{};
    for (auto const &[descriptor, client] : clients_) {
        loop_.unwatch(descriptor);
        while (recv(descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
        }
    }
}

bool EventFeed::add(Descriptor &socket, bool json, Line const &first) {
    if (clients_.size() == kMaxClients) {
        return false;
    }
    int const descriptor = socket.number();
    Client &client = clients_[descriptor];
    client.socket = std::move(socket);
    client.json = json;
    queue(client, first);
    return true;
}

void EventFeed::tell(Line const &line) {
    for (auto &[descriptor, client] : clients_) {
        queue(client, line);
    }
}

/// Once a line is lost, so are the next ones until the queue is empty: the count has its place.
void EventFeed::queue(Client &client, Line const &line) {
    std::string const &form = client.json ? line.json : line.text;
    if (client.lost > 0 || client.queued.size() + form.size() > kMostQueued) {
        ++client.lost;
        return;
    }
    client.queued.append(form).append(1, '\n');
    await(client);
}

/// That a client has gone is told without being asked for.
void EventFeed::await(Client &client) {
    short const events = client.queued.empty() ? 0 : POLLOUT;
    loop_.watch(client.socket.number(), events,
                [this, &client](short came) { serve(client, came); });
}

void EventFeed::serve(Client &client, short events) {
    if ((events & (POLLHUP | POLLERR)) != 0) {
        drop(client);
    } else if ((events & POLLOUT) != 0) {
        send(client);
    }
}

void EventFeed::send(Client &client) {
    ssize_t const sent =
        ::send(client.socket.number(), client.queued.data(), client.queued.size(), MSG_NOSIGNAL);
    if (sent < 0) {
        if (errno != EAGAIN && errno != EINTR) {
            drop(client);
        }
        return;
    }
    client.queued.erase(0, static_cast<std::size_t>(sent));
    if (client.queued.empty() && client.lost > 0) {
        std::size_t const lost = std::exchange(client.lost, 0);
        queue(client, {"(" + counted(lost, "line", "lines") + " lost)",
                       "{\"lost\":" + std::to_string(lost) + "}"});
    }
    await(client);
}

void EventFeed::drop(Client const &client) {
    int const descriptor = client.socket.number();
    loop_.unwatch(descriptor);
    clients_.erase(descriptor);
}

} // namespace UmoAgent
