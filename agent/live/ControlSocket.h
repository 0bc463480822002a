#pragma once

#include "agent/base/EventLoop.h"
#include "agent/base/Timer.h"
#include "agent/live/JsonRpc.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace UmoAgent {

/// A lasting connection to the control socket of ovs-vswitchd. Its end shows at once that the
/// process has ended; a new process is found within a second.
class ControlSocket {
  public:
    /// Called from the loop.
    struct Callbacks {
        std::function<void()> came;
        std::function<void(std::string const &reason)> went; // also if the first try fails, once
    };

    /// Receives the result, or the error if it is not `good`.
    using Answer = std::function<void(bool good, std::string const &text)>;

    /// `runDirectory` is where ovs-vswitchd has its pid file and control socket; `loop` must
    /// outlive this.
    ControlSocket(EventLoop &loop, std::string runDirectory, Callbacks callbacks);

    [[nodiscard]] bool connected() const { return connection_.has_value(); }

    /// Has ovs-vswitchd carry out a command, such as `fdb/show br0`. Requests are answered in
    /// order. If the connection ends first, or there is none, there is no answer.
    void request(std::string const &method, std::vector<std::string> const &params, Answer answer);

  private:
    void connect();
    [[nodiscard]] std::string findSocket() const;
    void lost(std::string const &reason);
    void receive(nlohmann::json const &message);

    EventLoop &loop_;
    std::string runDirectory_;
    Callbacks callbacks_;
    bool goneTold_ = false;
    std::uint64_t lastId_ = 0;
    std::map<std::uint64_t, Answer> waiting_; // by request
    std::optional<JsonRpc> connection_;
    Retries retries_;
};

} // namespace UmoAgent
