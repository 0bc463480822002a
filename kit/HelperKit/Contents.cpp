#include "HelperKit/Contents.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace UmoHelper {

namespace {

std::string_view differingPart(PortSet const &expected, PortSet const &found) {
    if (expected.vlan != found.vlan) {
        return "VLAN";
    }
    if (!std::is_permutation(expected.interfaces.begin(), expected.interfaces.end(),
                             found.interfaces.begin(), found.interfaces.end())) {
        return "interfaces";
    }
    if (expected.dmac != found.dmac) {
        return "destination MAC address";
    }
    if (expected.source != found.source) {
        return "source translation";
    }
    return expected.destination != found.destination ? "destination translation" : "";
}

/// The first key that only one of them has, or for which `compare` finds something.
template <class Values, class Compare>
std::string firstDifference(std::string const &what, Values const &expected, Values const &found,
                            Compare const &compare) {
    for (auto const &[id, value] : expected) {
        auto const at = found.find(id);
        if (at == found.end()) {
            return what + std::to_string(id) + " is missing";
        }
        if (std::string const inside = compare(id, value, at->second); !inside.empty()) {
            return inside;
        }
    }
    for (auto const &[id, value] : found) {
        if (expected.find(id) == expected.end()) {
            return what + std::to_string(id) + " is left";
        }
    }
    return "";
}

} // namespace

PortSet PortSet::of(Ip::Nat::NatFlowPortSet const &portSet) {
    PortSet result;
    result.vlan = portSet.vlan();
    result.dmac = portSet.dmac();
    result.interfaces.reserve(portSet.intf().size());
    for (Nexo::IntfId const intf : portSet.intf()) {
        result.interfaces.push_back(intf);
    }
    return result;
}

Group *ContentsTable::group(std::uint32_t id) {
    if (last_ == contents_.end() || last_->first != id) {
        last_ = contents_.find(id);
    }
    return last_ == contents_.end() ? nullptr : &last_->second;
}

PortSet *ContentsTable::portSet(Group &group, std::uint32_t id) {
    auto const at = group.portSets.find(id);
    return at == group.portSets.end() ? nullptr : &at->second;
}

std::pair<Group *, bool> ContentsTable::add(std::uint32_t id, Group group) {
    std::size_t const before = contents_.size();
    last_ = contents_.try_emplace(contents_.end(), id, std::move(group));
    return {&last_->second, contents_.size() != before};
}

bool ContentsTable::addPortSet(Group &group, std::uint32_t id, PortSet portSet) {
    std::size_t const before = group.portSets.size();
    group.portSets.try_emplace(group.portSets.end(), id, std::move(portSet));
    return group.portSets.size() != before;
}

std::optional<Group> ContentsTable::take(std::uint32_t id) {
    Group *const found = group(id);
    if (found == nullptr) {
        return std::nullopt;
    }
    std::optional<Group> taken(std::move(*found));
    contents_.erase(std::exchange(last_, contents_.end()));
    return taken;
}

std::string difference(Contents const &expected, Contents const &found) {
    return firstDifference(
        "group ", expected, found,
        [](std::uint32_t id, Group const &wanted, Group const &there) -> std::string {
            std::string const group = "group " + std::to_string(id);
            if (wanted.policy != there.policy || wanted.match != there.match) {
                return group + ": it is of another match";
            }
            if (wanted.unicast != there.unicast) {
                return group + ": it is of the other kind";
            }
            return firstDifference(group + ", port set ", wanted.portSets, there.portSets,
                                   [&](std::uint32_t portSet, PortSet const &one,
                                       PortSet const &other) -> std::string {
                                       auto const part = differingPart(one, other);
                                       return part.empty() ? ""
                                                           : group + ", port set " +
                                                                 std::to_string(portSet) +
                                                                 ": another " + std::string(part);
                                   });
        });
}

} // namespace UmoHelper
