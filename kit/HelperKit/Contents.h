#pragma once

#include "Ip/NatPortSets.h"
#include "Mox/Ptr.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAndPort.h"
#include "Pelo/String.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace UmoHelper {

/// How the copies of a port set differ from the packet in their source or destination.
struct Translation {
    Nexo::IpAndPort nat;  // written into the copies
    Nexo::IpAndPort flow; // matched within prefixLength bits
    std::uint32_t prefixLength = 0;
    Nexo::EthAddr dmac{}; // of a destination translation

    bool operator==(Translation const &) const = default;
};

/// A port set as last programmed, its interfaces in order. One without a name is recirculation.
struct PortSet {
    std::uint16_t vlan = 0;
    std::vector<Nexo::IntfId> interfaces{};
    Nexo::EthAddr dmac{};
    std::optional<Translation> source{};
    std::optional<Translation> destination{};

    /// Without translations.
    static PortSet of(Ip::Nat::NatFlowPortSet const &portSet);

    /// The destination MAC address of unicast copies. A next hop's new one is programmed with the
    /// translation only.
    [[nodiscard]] Nexo::EthAddr nextHopMac() const {
        return destination ? destination->dmac : dmac;
    }

    bool operator==(PortSet const &) const = default;
};

struct Group {
    Pelo::String policy; // the owner
    Pelo::String match;
    bool unicast = false;
    std::map<std::uint32_t, PortSet> portSets{}; // by identifier

    bool operator==(Group const &) const = default;
};

/// What a chip holds: its groups by id.
using Contents = std::map<std::uint32_t, Group>;

/// Contents that calls of a helper change. Most calls are for the group of the call before, which
/// is found at once, and most new identifiers are the highest so far.
class ContentsTable {
  public:
    ContentsTable() = default;
    ContentsTable(ContentsTable const &) = delete;
    ContentsTable &operator=(ContentsTable const &) = delete;

    [[nodiscard]] Contents const &contents() const { return contents_; }
    /// Null: there is none. Valid until the group is taken.
    [[nodiscard]] Group *group(std::uint32_t id);
    /// Null: there is none.
    [[nodiscard]] static PortSet *portSet(Group &group, std::uint32_t id);

    /// Adds the group, and returns true; or the group that has this identifier, and false.
    std::pair<Group *, bool> add(std::uint32_t id, Group group);
    /// Adds the port set unless the group has one of this identifier.
    static bool addPortSet(Group &group, std::uint32_t id, PortSet portSet);
    /// Removes and returns the group; nothing if there is none.
    std::optional<Group> take(std::uint32_t id);

  private:
    Contents contents_;
    Contents::iterator last_ = contents_.end(); // what was found last
};

/// Where two contents differ: the first difference, in words; empty: nowhere.
std::string difference(Contents const &expected, Contents const &found);

} // namespace UmoHelper
