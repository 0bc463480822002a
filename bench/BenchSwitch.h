#pragma once

#include "UmoNat/UmoNatFlowMcastSm.h"
#include "Vyr/Clock.h"
#include "Vyr/TaskScheduler.h"
#include "agent/switch/Changes.h"
#include "agent/switch/SwitchState.h"

#include <cstddef>
#include <vector>

namespace Bench {

/// A switch of 64 ports and 50 VLANs, each with eight forwarding ports, and the requested number of
/// NAT actions, ten per match. The actions of a match alternate between VLAN interfaces and ports,
/// and between unicast copies to a learned host and multicast copies.
///
/// kFlapActions further actions use a port of their own, which can flap. Time is virtual.
class BenchSwitch {
  public:
    static constexpr std::size_t kActionsPerMatch = 10;
    static constexpr std::size_t kFlapActions = 100;

    enum class Kind {
        mixed,
        floodedVlans, // VLANs of four ports, one VLAN interface per action, no flapping port
        oneMatch,     // all actions in match 0, whose flow names no destination; no flapping port
    };

    using Helper = Mox::Ptr<UmoHelper::UmoNatFlowMcastHelper>;

    explicit BenchSwitch(std::size_t actions, Kind kind = Kind::mixed);
    ~BenchSwitch();
    BenchSwitch(BenchSwitch const &) = delete;
    BenchSwitch &operator=(BenchSwitch const &) = delete;

    /// Makes the library program everything through `helper`.
    void start(Helper const &helper);
    /// Makes it remove everything.
    void stop() { root = nullptr; }
    [[nodiscard]] std::size_t actionCount() const { return actions_; }

    /// The inputs of the ten actions of a match, or of the actions of the flapping port.
    [[nodiscard]] std::vector<Mox::Ptr<Ip::Nat::NatFlowActionStatus>>
    actionsOfMatch(std::size_t match) const;
    /// The machines of the match.
    [[nodiscard]] std::vector<UmoNatFlowActionSm *> machinesOfMatch(std::size_t match) const;

    /// Sets the state of the flapping port, and evaluates everything that depends on it.
    void flapPortIs(bool forwarding);

    Mox::Ptr<Vyr::VirtualClock> clock = Mox::make<Vyr::VirtualClock>();
    Mox::Ptr<Vyr::TaskScheduler> scheduler = Mox::make<Vyr::TaskScheduler>(clock);
    UmoAgent::SwitchState state;
    Mox::Ptr<Ip::Nat::HwNatFlowStatus> const hw = state.hwStatus();
    Mox::Ptr<UmoNatFlowMcastSm> root;

  private:
    std::size_t const actions_;
};

/// The changes that make such a switch.
UmoAgent::Changes benchChanges(std::size_t actions, BenchSwitch::Kind kind);

} // namespace Bench
