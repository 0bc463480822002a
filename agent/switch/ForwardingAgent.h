#pragma once

#include "HelperKit/CheckedHelper.h"
#include "Mox/Ptr.h"
#include "UmoNat/UmoNatFlowMcastSm.h"
#include "agent/base/EventLoop.h"
#include "agent/chip/SoftSwitch.h"
#include "agent/packet/Forwarder.h"
#include "agent/switch/Changes.h"
#include "agent/switch/Draft.h"
#include "agent/switch/Meter.h"
#include "agent/switch/Observers.h"
#include "agent/switch/SwitchState.h"

#include <vector>

namespace UmoAgent {

/// A switch's forwarding agent: the mounted state, the root of the NAT state machines that follow
/// it, and the software switch chip with its forwarding of packets.
class ForwardingAgent {
  public:
    /// `loop` runs the tasks of the state machines, and outlives the agent. `errors` receives
    /// contract errors of the chip; it must not call back.
    ForwardingAgent(EventLoop const &loop, SoftSwitch::LineSink errors);

    /// Mounts the initial state, whose changes must be valid, and loads the NAT library. Called
    /// once, before anything else.
    void start(Changes const &initial);

    /// Whether the NAT library is loaded.
    [[nodiscard]] bool started() const { return bool(root_); }

    /// Makes all of the changes, or returns what is wrong with them and makes none.
    std::vector<Fault> apply(Changes const &changes);

    /// Drops the root, which removes everything from the chip. Afterwards only the contents of the
    /// chip can be read.
    void shutDown() { root_ = nullptr; }

    /// Calls and results that broke the chip's contract, but for port sets that the chip refused:
    /// the software chip does so knowingly when a group is full.
    [[nodiscard]] std::uint64_t contractErrors() const;

    /// Whether there was no contract error so far; after the shut-down also whether the chip is
    /// empty.
    [[nodiscard]] bool clean() const;

    [[nodiscard]] EventLoop const &loop() const { return loop_; }
    [[nodiscard]] SoftSwitch &chip() { return *chip_; }
    [[nodiscard]] SoftSwitch const &chip() const { return *chip_; }
    /// What the NAT library has for the chip.
    [[nodiscard]] UmoHelper::CheckedHelper const &helper() const { return *helper_; }
    /// Writes every call of the chip with its result to `log` as it happens; an empty `log` ends
    /// that.
    void callLogIs(SoftSwitch::LineSink log);
    [[nodiscard]] Forwarder &forwarder() { return forwarder_; }
    [[nodiscard]] Forwarder const &forwarder() const { return forwarder_; }
    [[nodiscard]] SwitchState const &state() const { return state_; }
    [[nodiscard]] UmoNatFlowMcastSm const &root() const { return *root_; }
    [[nodiscard]] Meter const &meter() const { return meter_; }
    /// Those who are told what the library does.
    [[nodiscard]] Observers &observers() { return observers_; }

  private:
    void tune();

    EventLoop const &loop_;
    Mox::Ptr<SoftSwitch> chip_;
    Mox::Ptr<UmoHelper::CheckedHelper> helper_; // around the chip
    SwitchState state_;
    Forwarder forwarder_{*chip_, state_.hwStatus(), state_.bridgingConfig()};
    Meter meter_{loop_};
    Observers observers_;
    Mox::Ptr<UmoNatFlowMcastSm> root_; // last: its end calls all others
};

} // namespace UmoAgent
