#pragma once

#include <cstdint>
#include <optional>
#include <set>

namespace UmoAgent {

/// The OpenFlow group ids that the agent may use. Nobody else uses them on its bridge.
struct GroupRange {
    std::uint32_t first = 100'000;
    std::uint32_t last = 165'535;

    [[nodiscard]] std::uint32_t size() const { return last - first + 1; }
    [[nodiscard]] bool contains(std::uint32_t id) const { return first <= id && id <= last; }
};

/// Hands out the ids of a range, the lowest free one first.
class GroupIds {
  public:
    explicit GroupIds(GroupRange range) : next_(range.first), range_(range) {}

    /// Uses `ids` only when no others are left: groups of an earlier agent have them, and packets
    /// go through those until the flows have changed over.
    void lastResortIs(std::set<std::uint32_t> ids) { lastResort_ = std::move(ids); }

    /// None if all are in use.
    [[nodiscard]] std::optional<std::uint32_t> take();
    void giveBack(std::uint32_t id) { free_.insert(id); }

  private:
    std::uint64_t next_; // those from here on were never taken
    GroupRange range_;
    std::set<std::uint32_t> free_;
    std::set<std::uint32_t> lastResort_;
};

} // namespace UmoAgent
