#pragma once

#include "Nexo/IntfId.h"
#include "Nexo/IpAddrWithMask.h"
#include "agent/base/EventLoop.h"
#include "agent/base/Timer.h"
#include "agent/live/AddressWatch.h"
#include "agent/live/BridgeState.h"
#include "agent/live/ControlSocket.h"
#include "agent/live/OvsDatabase.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace UmoAgent {

/// Follows a bridge of a running Open vSwitch: its ports and VLANs in the database, the MAC
/// addresses that it learns, and the kernel's addresses of its VLAN interfaces. Lost connections
/// come back by themselves; what was read last stays until then.
class BridgeFollower {
  public:
    struct Options {
        std::string bridge;
        std::string ovsdb; // the Unix socket of ovsdb-server; ovs-vswitchd has its own beside it
    };

    /// All are called from the loop, never from a function of the follower. None may destroy it.
    struct Callbacks {
        /// Something differs from the state of the last call. First called when everything was read
        /// once. Whether the links of ports are up may be missing, if the database does not say so
        /// within 5 s.
        std::function<void(BridgeState const &state)> changed;
        /// ovs-vswitchd runs and knows the bridge.
        std::function<void()> switchCame;
        /// It has ended, or the bridge was deleted.
        std::function<void()> switchWent;
        /// A line for the user: something that cannot be rendered, a loss, a recovery.
        std::function<void(std::string const &line)> log;
        /// Something was written to the database, perhaps by an ovs-vswitchd that had lost it, and
        /// was deaf until then. May be null.
        std::function<void()> databaseWritten{};
    };

    /// `loop` must outlive this. Throws std::system_error if the kernel refuses a socket.
    BridgeFollower(EventLoop &loop, Options options, Callbacks callbacks);

  private:
    void readRows();
    void bridgeIsMissing();
    void log(std::string const &line) const;
    void logLeftOut(std::vector<std::string> const &lines);
    void askLearned();
    void learned(bool good, std::string const &text);
    bool nowReady();
    void tellIfDifferent();
    void thereIs(bool there);
    void controlCame();
    void controlWent(std::string const &reason);

    Options options_;
    std::string runDirectory_;
    Callbacks callbacks_;
    BridgeState read_;
    std::optional<Ovs::Uuid> bridge_; // none while it is not in the database
    BridgeState state_;               // of the last call of `changed`
    std::set<std::string> leftOut_;   // logged lines that still hold
    bool linksUnknown_ = false;
    bool patient_ = true;   // waits for what the database does not say of links
    bool ready_ = false;    // everything was read once
    bool answered_ = false; // ovs-vswitchd did once
    bool there_ = false;    // `switchCame` was called last
    bool asking_ = false;
    bool askAgain_ = false;
    bool missingLogged_ = false;
    bool controlLossLogged_ = false;
    Timer poll_;
    Timer patience_;
    OvsDatabase database_;
    ControlSocket control_;
    AddressWatch kernel_;
};

} // namespace UmoAgent
