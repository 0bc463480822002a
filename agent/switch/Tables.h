#pragma once

#include "Bridging/Config.h"
#include "Bridging/Topology.h"
#include "Bridging/VlanId.h"
#include "Ip/NatFlow.h"
#include "Ip/NatStatus.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAddrWithMask.h"
#include "Nexo/IpAndPort.h"
#include "Pelo/String.h"
#include "Vyr/Clock.h"
#include "agent/chip/SoftSwitch.h"

#include <chrono>
#include <compare>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

/// The tables of a switch: everything that the NAT library follows, and the size of the chip. A
/// table has a key, a value, and the name of a row in messages. The rows of a table that is `In`
/// another table belong to a row of that table: they need it, and are removed with it.
namespace UmoAgent::Table {

/// The value of a row that merely exists.
struct Present {
    bool operator==(Present const &) const = default;
};

/// The key of a table with exactly one row.
struct Only {
    auto operator<=>(Only const &) const = default;
};

/// The key of a row that belongs to a row of another table.
template <class Outer, class Inner>
struct RowIn {
    Outer in;
    Inner row;
};

struct Chip {
    static constexpr std::string_view kOne = "the chip's size";
    using Key = Only;
    using Value = ChipCapacity;
};

/// How the NAT library paces its work.
struct Tuning {
    static constexpr std::string_view kOne = "the tuning";
    using Key = Only;
    static constexpr std::uint32_t kLargestLimit = 1'000'000;
    struct Value {                        // the defaults are the library's
        std::uint32_t backlogLimit = 100; // actions evaluated in a run; 0: all that were queued
        /// From the first queued action to the run, and between runs.
        Vyr::Time backlogInterval = std::chrono::milliseconds(100);
        Vyr::Time retryDelay = std::chrono::seconds(10); // from freed groups to the retry

        bool operator==(Value const &) const = default;
    };
};

/// The switch's own MAC address.
struct BridgeMac {
    static constexpr std::string_view kOne = "the bridge's MAC address";
    using Key = Only;
    using Value = Nexo::EthAddr;
};

struct Interface {
    static constexpr std::string_view kOne = "an interface";
    using Key = Nexo::IntfId;
    using Value = Bridging::SwitchportModeAndNativeVlan;
};

struct Vlan {
    static constexpr std::string_view kOne = "a VLAN";
    using Key = Bridging::VlanId;
    using Value = Present;
};

struct VlanMember {
    static constexpr std::string_view kOne = "an interface";
    using In = Vlan;
    using Key = RowIn<Vlan::Key, Nexo::IntfId>;
    using Value = Present;
};

struct Topology {
    static constexpr std::string_view kOne = "a topology";
    using Key = Pelo::String;
    using Value = Present;
};

struct TopologyPort {
    static constexpr std::string_view kOne = "an interface";
    using In = Topology;
    using Key = RowIn<Topology::Key, Nexo::IntfId>;
    using Value = Bridging::Topology::PortState;
};

/// The topology of a VLAN. Removed with the topology.
struct VlanTopology {
    static constexpr std::string_view kOne = "a VLAN of the topology";
    using Key = Bridging::VlanId;
    using Value = Pelo::String;
};

/// The forwarding database of a VLAN; it may be empty.
struct Fdb {
    static constexpr std::string_view kOne = "a VLAN with learned MAC addresses";
    using Key = Bridging::VlanId;
    using Value = Present;
};

struct LearnedMac {
    static constexpr std::string_view kOne = "a learned MAC address";
    using In = Fdb;
    using Key = RowIn<Fdb::Key, Nexo::EthAddr>;
    using Value = Nexo::IntfId;
};

struct IpInterface {
    static constexpr std::string_view kOne = "an interface";
    using Key = Nexo::IntfId;
    struct Value {
        Nexo::IpAddrWithMask address{};
        bool routing = true;
    };
};

/// The L3 ids of interfaces, which are VLAN numbers. They are unique; that of a VLAN interface is
/// its VLAN.
struct L3Interface {
    static constexpr std::string_view kOne = "an interface";
    using Key = Nexo::IntfId;
    using Value = Bridging::VlanId;
};

struct Policy {
    static constexpr std::string_view kOne = "a policy";
    using Key = Pelo::String;
    using Value = Present;
};

/// A match with its flow. If a list of changes removes and sets a policy, match or action, the
/// result is a new one of the same name.
struct Match {
    static constexpr std::string_view kOne = "a match";
    struct Key {
        Pelo::String policy;
        Pelo::String match;

        auto operator<=>(Key const &) const = default;
    };
    using Value = Ip::Nat::NatFlow;
};

struct Action {
    static constexpr std::string_view kOne = "an action";
    struct Key {
        Pelo::String policy;
        Pelo::String match;
        Pelo::String action;

        auto operator<=>(Key const &) const = default;
    };
    struct Value {
        Nexo::IpAndPort source{};
        Nexo::IpAndPort destination{};
        /// Each interface once. New ones are added to the action in this order.
        std::vector<std::pair<Nexo::IntfId, Ip::Nat::NatFlowNextHop>> egress{};
        /// 0: incomplete. A change of an action takes effect only with a change of its version.
        std::uint32_t version = 1;
    };
};

} // namespace UmoAgent::Table
