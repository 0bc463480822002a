#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/EventLoop.h"

#include <cstddef>
#include <map>
#include <string>

namespace UmoAgent {

/// Clients that follow what happens, each with a connection of its own. The agent never waits for
/// one: a client that reads too slowly loses lines, and is told how many.
class EventFeed {
  public:
    static constexpr std::size_t kMaxClients = 16;
    static constexpr std::size_t kMostQueued = std::size_t{64} << 10U; // bytes for one client

    /// The loop outlives the feed.
    explicit EventFeed(EventLoop &loop) : loop_(loop) {}
    ~EventFeed();
    EventFeed(EventFeed const &) = delete;
    EventFeed &operator=(EventFeed const &) = delete;

    /// An event in both forms, without the end of a line.
    struct Line {
        std::string text;
        std::string json;
    };

    /// Takes over the connection, which does not block, until the client closes it, and sends it
    /// the first line. Returns false, and takes nothing, if there are too many clients.
    bool add(Descriptor &socket, bool json, Line const &first);

    [[nodiscard]] bool followed() const { return !clients_.empty(); }

    /// Sends every client the line in its form.
    void tell(Line const &line);

  private:
    struct Client {
        Descriptor socket;
        bool json = false;
        std::string queued{};
        std::size_t lost = 0; // lines since the queue was full
    };

    void queue(Client &client, Line const &line);
    void await(Client &client);
    void serve(Client &client, short events);
    void send(Client &client);
    void drop(Client const &client);

    EventLoop &loop_;
    std::map<int, Client> clients_; // by descriptor
};

} // namespace UmoAgent
