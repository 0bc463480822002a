#pragma once

#include "UmoNat/UmoNatFlowMcastSm.h"
#include "Vyr/Clock.h"
#include "Vyr/TaskScheduler.h"
#include "agent/SoftSwitch.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace TestSupport {

/// A whole switch for tests: everything that the library follows, a strict chip in software, a
/// virtual clock, and the root. Its end takes the root down and fails the test if the chip saw
/// the contract broken, if groups are left in it, or if a task is left scheduled.
class NatSwitch {
  public:
    explicit NatSwitch(UmoAgent::ChipCapacity capacity = {});
    ~NatSwitch();
    NatSwitch(NatSwitch const &) = delete;
    NatSwitch &operator=(NatSwitch const &) = delete;

    /// Creates the root through the exported factory.
    void start();
    /// Drops the root.
    void stop() { root = nullptr; }
    /// Lets virtual time pass; due tasks run.
    void runFor(double seconds);

    /// The helper calls since the last time they were taken, a line each.
    std::vector<std::string> takeCalls() { return std::exchange(calls, {}); }

    // NAT configuration. A destination or source is text such as 239.1.1.1:5000; empty is none.

    Mox::Ptr<Ip::Nat::NatFlowMatchStatus> match(std::string const &policy, std::string const &name,
                                                std::string_view flowDestination = {});
    /// Sets the action as a whole and raises its version, which is what makes it seen. Egress
    /// interfaces are pairs of name and next-hop MAC.
    Mox::Ptr<Ip::Nat::NatFlowActionStatus>
    action(std::string const &policy, std::string const &match, std::string const &name,
           std::string_view destination = {}, std::string_view source = {},
           std::initializer_list<std::pair<std::string_view, std::string_view>> egress = {});
    void removeAction(std::string const &policy, std::string const &match, std::string const &name);

    // Topology.

    /// Makes the VLAN usable: status with trunk members that forward, a topology named as the
    /// VLAN, an L3 interface that is up.
    void vlan(std::uint16_t number, std::initializer_list<std::string_view> members);
    void portState(std::uint16_t vlan, std::string_view intf, Bridging::Topology::PortState state);

    // What came of it.

    [[nodiscard]] UmoNatFlowMatchSm &matchSm(std::string const &policy, std::string const &name);
    [[nodiscard]] UmoNatFlowActionSm &actionSm(std::string const &policy, std::string const &match,
                                               std::string const &name);
    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus> hwMatch(std::string const &policy,
                                                                  std::string const &name) const;
    [[nodiscard]] Mox::Ptr<Ip::Nat::HwNatFlowActionStatus>
    hwAction(std::string const &policy, std::string const &match, std::string const &name) const;

    /// A match in one word: "wanted:unicast id/multicast id", and "*" while it is to be retried.
    [[nodiscard]] std::string groups(std::string const &policy, std::string const &match);

    Mox::Ptr<Vyr::VirtualClock> clock = Mox::make<Vyr::VirtualClock>();
    Mox::Ptr<Vyr::TaskScheduler> scheduler = Mox::make<Vyr::TaskScheduler>(clock);

    Mox::Ptr<Ip::Nat::Status> nat = Mox::make<Ip::Nat::Status>();
    Mox::Ptr<Ip::Nat::HwNatFlowStatus> hw = Mox::make<Ip::Nat::HwNatFlowStatus>();
    Mox::Ptr<Bridging::Config> bridgingConfig = Mox::make<Bridging::Config>();
    Mox::Ptr<Bridging::Status> bridgingStatus = Mox::make<Bridging::Status>();
    Mox::Ptr<Bridging::VlanStatusDir> vlanStatusDir = Mox::make<Bridging::VlanStatusDir>();
    Mox::Ptr<Bridging::Topology::Config> topology = Mox::make<Bridging::Topology::Config>();
    Mox::Ptr<UmoL3Intf::Table> l3Table = Mox::make<UmoL3Intf::Table>();
    Mox::Ptr<Ip::Status> ipStatus = Mox::make<Ip::Status>();

    std::vector<std::string> calls;
    Mox::Ptr<UmoAgent::SoftSwitch> chip;
    Mox::Ptr<UmoNatFlowMcastSm> root;

    /// Groups that are allowed to be left in the chip: halves of pairs that failed.
    std::size_t groupsLeft = 0;
};

} // namespace TestSupport
