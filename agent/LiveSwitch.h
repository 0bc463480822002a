#pragma once

#include "Vyr/Clock.h"
#include "agent/base/EventLoop.h"
#include "agent/live/BridgeFollower.h"
#include "agent/live/Feeds.h"
#include "agent/openflow/GroupIds.h"
#include "agent/openflow/OpenFlowRenderer.h"
#include "agent/openflow/SwitchProgrammer.h"
#include "agent/switch/ForwardingAgent.h"

#include <functional>
#include <string>

namespace UmoAgent {

/// A forwarding agent of a real switch: mounts the state of a bridge of Open vSwitch, and programs
/// what the NAT library makes of the user's feeds into it.
class LiveSwitch {
  public:
    struct Options {
        std::string bridge;
        std::string ovsdb = "/run/openvswitch/db.sock"; // the Unix socket of ovsdb-server
        GroupRange groups{};                            // ids that nobody else uses on the bridge
        Vyr::Time audit = std::chrono::seconds(10);     // between two audits; 0: none
    };
    /// Receives lines for the user, during any operation and from the loop.
    struct Log {
        std::function<void(std::string const &line)> news;    // of a good run
        std::function<void(std::string const &line)> trouble; // what went wrong
    };

    /// Begins to follow the bridge. `loop` outlives the switch, which takes its idle work and needs
    /// wall-clock time. Throws std::system_error if the system refuses.
    LiveSwitch(EventLoop &loop, Options options, Feeds feeds, Log log);
    ~LiveSwitch() { loop_.idleWorkIs(nullptr); }
    LiveSwitch(LiveSwitch const &) = delete;
    LiveSwitch &operator=(LiveSwitch const &) = delete;

    /// Whether the bridge was read and the feeds are mounted.
    [[nodiscard]] bool following() const { return following_; }

    /// Replaces the feeds: mounts what differs, all of it or nothing. Returns the number of changes
    /// of policies, matches, actions, IP interfaces and tuning; none if the log says why it cannot
    /// be.
    std::optional<std::size_t> feedsAre(Feeds feeds);

    /// Ends the NAT library. If `leave`, the switch keeps what was programmed; else it is taken
    /// out. Returns whether the switch is as wanted. Nothing can be done with it afterwards.
    bool shutDown(bool leave);

    [[nodiscard]] ForwardingAgent &agent() { return agent_; }
    [[nodiscard]] SwitchProgrammer &programmer() { return programmer_; }

  private:
    bool apply(Changes changes);
    void bridgeChanged(BridgeState const &state);
    [[nodiscard]] Changes withoutFileAddresses(Changes changes) const;
    void idle();

    EventLoop &loop_;
    Options options_;
    Log log_;
    Feeds feeds_;
    bool following_ = false;
    BridgeState bridge_; // as mounted
    ForwardingAgent agent_;
    OpenFlowRenderer renderer_;
    SwitchProgrammer programmer_;
    std::optional<BridgeFollower> follower_;
};

} // namespace UmoAgent
