#pragma once

#include "agent/base/EventLoop.h"
#include "agent/base/Timer.h"
#include "agent/live/JsonRpc.h"
#include "agent/live/OvsRows.h"

#include <nlohmann/json_fwd.hpp>

#include <functional>
#include <optional>
#include <string>

namespace UmoAgent {

/// Follows the database of Open vSwitch (RFC 7047) and keeps a copy of the rows. Reconnects by
/// itself; until it has read the database again, the old copy stays.
class OvsDatabase {
  public:
    /// Called from the loop.
    struct Callbacks {
        std::function<void()> changed;                    // the rows, or they were read again
        std::function<void(std::string const &line)> log; // a loss or a recovery, once
    };

    /// Follows the server at the Unix socket `path`; `loop` must outlive this.
    OvsDatabase(EventLoop &loop, std::string path, Callbacks callbacks);

    /// Whether the database was ever read.
    [[nodiscard]] bool wasRead() const { return wasRead_; }
    [[nodiscard]] Ovs::Rows const &rows() const { return rows_; }

  private:
    void connect();
    void lost(std::string const &reason);
    void receive(nlohmann::json const &message);
    void replace(nlohmann::json const &tables);
    void update(nlohmann::json const &tables);
    void probe();

    EventLoop &loop_;
    std::string path_;
    Callbacks callbacks_;
    Ovs::Rows rows_;
    bool wasRead_ = false;
    bool lossLogged_ = false;
    bool probed_ = false; // nothing has arrived since the echo request
    std::optional<JsonRpc> connection_;
    Retries retries_;
    Timer probing_;
};

} // namespace UmoAgent
