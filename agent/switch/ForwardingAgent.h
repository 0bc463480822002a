#pragma once

#include "Mox/Ptr.h"
#include "UmoNat/UmoNatFlowMcastSm.h"
#include "agent/base/EventLoop.h"
#include "agent/chip/SoftSwitch.h"
#include "agent/switch/Changes.h"
#include "agent/switch/Draft.h"
#include "agent/switch/SwitchState.h"

#include <vector>

namespace UmoAgent {

/// A switch's forwarding agent: the mounted state, the root of the NAT state machines that follow
/// it, and the software switch chip below them.
class ForwardingAgent {
  public:
    /// `loop` runs the tasks of the state machines; it outlives the agent. Breaks of the chip's
    /// contract are told to `errors`, which must not call back.
    ForwardingAgent(EventLoop const &loop, SoftSwitch::LineSink errors);

    /// Mounts the initial state, whose changes must be right, and loads the NAT library. To be
    /// called once, first.
    void start(Changes const &initial);

    /// Makes all of the changes, or gives what is wrong with them and makes none.
    std::vector<Fault> apply(Changes const &changes);

    /// Drops the root, which takes everything back out of the chip. Nothing but what is left in
    /// the chip can be looked at afterwards.
    void shutDown() { root_ = nullptr; }

    /// Whether the chip's contract was kept so far; after the shut-down also that the chip is
    /// empty.
    [[nodiscard]] bool clean() const;

    [[nodiscard]] EventLoop const &loop() const { return loop_; }
    [[nodiscard]] SoftSwitch &chip() { return *chip_; }
    [[nodiscard]] SoftSwitch const &chip() const { return *chip_; }
    [[nodiscard]] SwitchState const &state() const { return state_; }
    [[nodiscard]] UmoNatFlowMcastSm const &root() const { return *root_; }

  private:
    EventLoop const &loop_;
    Mox::Ptr<SoftSwitch> chip_;
    SwitchState state_;
    Mox::Ptr<UmoNatFlowMcastSm> root_;
};

} // namespace UmoAgent
