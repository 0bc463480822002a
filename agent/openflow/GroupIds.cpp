#include "agent/openflow/GroupIds.h"

namespace UmoAgent {

std::optional<std::uint32_t> GroupIds::take() {
    auto const takeFrom = [](std::set<std::uint32_t> &ids) {
        return ids.extract(ids.begin()).value();
    };
    if (!free_.empty()) {
        return takeFrom(free_);
    }
    while (next_ <= range_.last) {
        auto const id = static_cast<std::uint32_t>(next_++);
        if (lastResort_.count(id) == 0) {
            return id;
        }
    }
    // Those below `next_` that were passed over; the others have been taken by counting.
    return lastResort_.empty() ? std::nullopt : std::optional(takeFrom(lastResort_));
}

} // namespace UmoAgent
