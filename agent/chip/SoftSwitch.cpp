#include "agent/chip/SoftSwitch.h"

#include "agent/base/Text.h"

#include <optional>

namespace UmoAgent {

using UmoHelper::ContentsTable;
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
    bool const update =
        call.operation == Operation::updateSource || call.operation == Operation::updateDestination;
    bool const ofSource =
        call.operation == Operation::updateSource || call.operation == Operation::deleteSource;
    Group *const group = table_.group(call.group);
    PortSet *const portSet =
        group == nullptr ? nullptr : ContentsTable::portSet(*group, call.portSet);
    bool const done =
        portSet != nullptr && (!update || (portSet->vlan == call.vlan &&
                                           call.prefixLength <= UmoHelper::kMaxPrefixLength));
    if (done) {
        auto &translation = ofSource ? portSet->source : portSet->destination;
        translation =
            update ? std::optional(Translation{call.nat, call.flow, call.prefixLength, call.dmac})
                   : std::nullopt;
        changed(*group);
    }
    return update ? Call::Result(done) : Call::Result();
}

void SoftSwitch::changed(Group const &group) const {
    if (changeSink_) {
        changeSink_(group.policy, group.match);
    }
}

std::uint32_t SoftSwitch::createGroup(Call const &call) {
    bool const refused = refuseGroups_ > 0;
    refuseGroups_ -= refused ? 1 : 0;
    if (refused || groups().size() >= capacity_.groups) {
        ++refusals_;
        return 0;
    }
    changed(*table_.add(++lastGroupId_, {call.policy, call.match, call.unicast, {}}).first);
    return lastGroupId_;
}

void SoftSwitch::deleteGroup(Call const &call) {
    Group const *const group = table_.group(call.group);
    if (group == nullptr || group->policy != call.policy || group->match != call.match) {
        return;
    }
    if (!traffic_.empty()) {
        for (auto const &[id, portSet] : group->portSets) {
            traffic_.portSetDel(id);
        }
        traffic_.groupDel(call.group);
    }
    changed(*table_.take(call.group));
}

std::uint32_t SoftSwitch::updatePortSet(Call const &call) {
    Group *const group = table_.group(call.group);
    if (group == nullptr || !call.ps) {
        return 0;
    }
    PortSet programmed = PortSet::of(*call.ps);
    if (call.portSet != 0) {
        PortSet *const old = ContentsTable::portSet(*group, call.portSet);
        if (old == nullptr) {
            return 0;
        }
        programmed.source = old->source;
        programmed.destination = old->destination;
        *old = std::move(programmed);
        changed(*group);
        return call.portSet;
    }
    if (group->portSets.size() >= capacity_.portSetsPerGroup) {
        ++refusals_;
        if (fullGroupLog_) {
            fullGroupLog_("group " + std::to_string(call.group) + " of policy " +
                          printable(group->policy) + ", match " + printable(group->match) +
                          " has no room for a port set: " + std::to_string(group->portSets.size()) +
                          " of " + std::to_string(capacity_.portSetsPerGroup) + " in use");
        }
        return 0;
    }
    ContentsTable::addPortSet(*group, ++lastPortSetId_, std::move(programmed));
    changed(*group);
    return lastPortSetId_;
}

void SoftSwitch::deletePortSet(Call const &call) {
    Group *const group = table_.group(call.group);
    if (group != nullptr && group->portSets.erase(call.portSet) != 0) {
        changed(*group);
        if (!traffic_.empty()) {
            traffic_.portSetDel(call.portSet);
        }
    }
}

} // namespace UmoAgent
