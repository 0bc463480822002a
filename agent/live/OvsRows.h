#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// The rows of the database of Open vSwitch, as far as the agent follows them. Names are those of
/// its tables and columns.
namespace UmoAgent::Ovs {

/// What identifies a row, also after a restart of the database server.
using Uuid = std::string;

struct Bridge {
    std::string name;
    std::vector<Uuid> ports{};
    std::vector<Uuid> mirrors{};
    std::string datapathType;
    bool stp = false;
    bool rstp = false;
    std::string hwaddr{}; // the MAC address that the user has given it

    bool operator==(Bridge const &) const = default;
};

struct Port {
    std::string name;
    std::vector<Uuid> interfaces{};
    std::string vlanMode{}; // empty: none
    std::optional<std::int64_t> tag{};
    std::set<std::int64_t> trunks{};
    std::string stpState{};  // empty: none, that is, STP does not run on the port
    std::string rstpState{}; // the same

    bool operator==(Port const &) const = default;
};

struct Interface {
    std::string name;
    std::string type{};
    std::optional<std::int64_t> ofport{}; // negative: ovs-vswitchd could not add it
    std::string linkState{};
    std::string adminState{};
    std::string mac{};

    bool operator==(Interface const &) const = default;
};

struct Mirror {
    std::string name;

    bool operator==(Mirror const &) const = default;
};

/// A copy of the database.
struct Rows {
    std::map<Uuid, Bridge> bridges{};
    std::map<Uuid, Port> ports{};
    std::map<Uuid, Interface> interfaces{};
    std::map<Uuid, Mirror> mirrors{};

    bool operator==(Rows const &) const = default;
};

} // namespace UmoAgent::Ovs
