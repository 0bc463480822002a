#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/EventLoop.h"
#include "agent/live/JsonSplitter.h"

#include <nlohmann/json_fwd.hpp>

#include <functional>
#include <memory>
#include <string>

namespace UmoAgent {

/// A connection to a server that speaks JSON-RPC 1.0 over a Unix stream socket, as the programs of
/// Open vSwitch do. Never waits for the server. Answers the server's echo requests.
class JsonRpc {
  public:
    /// Called from the loop. Either may destroy the connection.
    struct Callbacks {
        /// Any message but an echo request. A nlohmann::json::exception that it throws closes the
        /// connection.
        std::function<void(nlohmann::json const &message)> received;
        /// The last call: the connection has ended for the reason.
        std::function<void(std::string const &reason)> closed;
    };

    /// Connects to the socket at `path`. `loop` must outlive the connection. Throws
    /// std::system_error.
    JsonRpc(EventLoop &loop, std::string const &path, Callbacks callbacks);
    ~JsonRpc();
    JsonRpc(JsonRpc const &) = delete;
    JsonRpc &operator=(JsonRpc const &) = delete;

    void send(nlohmann::json const &message);

  private:
    void watch();
    void serve(short events);
    void write();
    void read();
    void close(std::string const &reason);

    EventLoop &loop_;
    std::shared_ptr<Callbacks const> callbacks_; // shared: their own calls may end the connection
    Descriptor socket_;
    JsonSplitter splitter_;
    std::string unsent_;
};

} // namespace UmoAgent
