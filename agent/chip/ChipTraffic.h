#pragma once

#include "agent/chip/Traffic.h"

#include <cstddef>
#include <cstdint>
#include <map>

namespace UmoAgent {

/// What has passed the groups and the port sets of the chip, by their identifiers, which are never
/// reused. Holds only what packets have come to, so a chip without packets pays nothing.
class ChipTraffic {
  public:
    void addToGroup(std::uint32_t id, std::size_t frameBytes) { groups_[id].add(frameBytes); }
    void addToPortSet(std::uint32_t id, std::size_t frameBytes) { portSets_[id].add(frameBytes); }

    [[nodiscard]] Traffic ofGroup(std::uint32_t id) const { return find(groups_, id); }
    [[nodiscard]] Traffic ofPortSet(std::uint32_t id) const { return find(portSets_, id); }

    /// Called when it is deleted in the chip.
    void groupDel(std::uint32_t id) { groups_.erase(id); }
    void portSetDel(std::uint32_t id) { portSets_.erase(id); }

    [[nodiscard]] bool empty() const { return groups_.empty(); }

  private:
    using Counters = std::map<std::uint32_t, Traffic>;

    static Traffic find(Counters const &counters, std::uint32_t id) {
        auto const at = counters.find(id);
        return at == counters.end() ? Traffic{} : at->second;
    }

    Counters groups_;
    Counters portSets_;
};

} // namespace UmoAgent
