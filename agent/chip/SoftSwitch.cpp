#include "agent/chip/SoftSwitch.h"

#include "agent/base/Text.h"

#include <optional>

namespace UmoAgent {

using UmoHelper::Group;
using UmoHelper::Operation;
using UmoHelper::PortSet;
using UmoHelper::Translation;

SoftSwitch::SoftSwitch(ChipCapacity capacity) : CallingHelper("SoftSwitch"), capacity_(capacity) {}

UmoHelper::Call::Result SoftSwitch::called(Call const &call) {
    switch (call.operation) {
    case Operation::createGroup:
        return createGroup(call);
    case Operation::deleteGroup:
        deleteGroup(call);
        return {};
    case Operation::updatePortSet:
        return updatePortSet(call);
    case Operation::deletePortSet:
        deletePortSet(call);
        return {};
    default:
        break;
    }
    PortSet *const portSet = portSetOf(call);
    bool const update =
        call.operation == Operation::updateSource || call.operation == Operation::updateDestination;
    bool const ofSource =
        call.operation == Operation::updateSource || call.operation == Operation::deleteSource;
    bool const done =
        portSet != nullptr && (!update || (portSet->vlan == call.vlan &&
                                           call.prefixLength <= UmoHelper::kMaxPrefixLength));
    if (done) {
        auto &translation = ofSource ? portSet->source : portSet->destination;
        translation =
            update ? std::optional(Translation{call.nat, call.flow, call.prefixLength, call.dmac})
                   : std::nullopt;
        changed(groups_.at(call.group));
    }
    return update ? Call::Result(done) : Call::Result();
}

void SoftSwitch::changed(Group const &group) const {
    if (changeSink_) {
        changeSink_(group.policy, group.match);
    }
}

PortSet *SoftSwitch::portSetOf(Call const &call) {
    auto const group = groups_.find(call.group);
    if (group == groups_.end()) {
        return nullptr;
    }
    auto const at = group->second.portSets.find(call.portSet);
    return at == group->second.portSets.end() ? nullptr : &at->second;
}

std::uint32_t SoftSwitch::createGroup(Call const &call) {
    bool const refused = refuseGroups_ > 0;
    refuseGroups_ -= refused ? 1 : 0;
    if (refused || groups_.size() >= capacity_.groups) {
        ++refusals_;
        return 0;
    }
    Group const &group =
        groups_.emplace(++lastGroupId_, Group{call.policy, call.match, call.unicast, {}})
            .first->second;
    changed(group);
    return lastGroupId_;
}

void SoftSwitch::deleteGroup(Call const &call) {
    auto const group = groups_.find(call.group);
    if (group == groups_.end() || group->second.policy != call.policy ||
        group->second.match != call.match) {
        return;
    }
    if (!traffic_.empty()) {
        for (auto const &[id, portSet] : group->second.portSets) {
            traffic_.portSetDel(id);
        }
        traffic_.groupDel(call.group);
    }
    auto const deleted = groups_.extract(group);
    changed(deleted.mapped());
}

std::uint32_t SoftSwitch::updatePortSet(Call const &call) {
    auto const at = groups_.find(call.group);
    if (at == groups_.end() || !call.ps) {
        return 0;
    }
    Group &group = at->second;
    PortSet programmed = PortSet::of(*call.ps);
    if (call.portSet != 0) {
        PortSet *const old = portSetOf(call);
        if (old == nullptr) {
            return 0;
        }
        programmed.source = old->source;
        programmed.destination = old->destination;
        *old = std::move(programmed);
        changed(group);
        return call.portSet;
    }
    if (group.portSets.size() >= capacity_.portSetsPerGroup) {
        ++refusals_;
        if (fullGroupLog_) {
            fullGroupLog_("group " + std::to_string(call.group) + " of policy " +
                          printable(group.policy) + ", match " + printable(group.match) +
                          " has no room for a port set: " + std::to_string(group.portSets.size()) +
                          " of " + std::to_string(capacity_.portSetsPerGroup) + " in use");
        }
        return 0;
    }
    group.portSets.emplace(++lastPortSetId_, std::move(programmed));
    changed(group);
    return lastPortSetId_;
}

void SoftSwitch::deletePortSet(Call const &call) {
    if (portSetOf(call) != nullptr) {
        Group &group = groups_.at(call.group);
        group.portSets.erase(call.portSet);
        changed(group);
        if (!traffic_.empty()) {
            traffic_.portSetDel(call.portSet);
        }
    }
}

} // namespace UmoAgent
