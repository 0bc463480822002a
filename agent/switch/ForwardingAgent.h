#pragma once

#include "Mox/Ptr.h"
#include "UmoNat/UmoNatFlowMcastSm.h"
#include "agent/base/EventLoop.h"
#include "agent/chip/SoftSwitch.h"
#include "agent/switch/ScenarioModel.h"
#include "agent/switch/SwitchState.h"

#include <iosfwd>
#include <string>

namespace UmoAgent {

/// `[   10.000 s]`, as lines that tell of something happening begin.
std::string stamp(Vyr::Time time);

/// A switch's forwarding agent: the mounted state, the root of the NAT state machines that follow
/// it, and the software switch chip below them.
class ForwardingAgent {
  public:
    /// `loop` runs the tasks of the state machines; it outlives the agent. Breaks of the chip's
    /// contract are told to `errors`, which must not call back.
    ForwardingAgent(EventLoop const &loop, SoftSwitch::LineSink errors);

    /// Mounts the initial state and loads the NAT library. To be called once, first.
    void start(SwitchModel const &initial);

    /// Carries out an event: makes the change, and prints its heading and printouts to `out`. Its
    /// time is the caller's affair.
    void carryOut(Event const &event, std::ostream &out);

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
    void mount(SwitchModel const &model);
    void print(Printout printout, std::ostream &out) const;

    EventLoop const &loop_;
    Mox::Ptr<SoftSwitch> chip_;
    SwitchState state_;
    Mox::Ptr<UmoNatFlowMcastSm> root_;
};

} // namespace UmoAgent
