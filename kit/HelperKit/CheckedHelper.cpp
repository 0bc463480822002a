#include "HelperKit/CheckedHelper.h"

#include <algorithm>
#include <numeric>
#include <optional>

namespace UmoHelper {

namespace {

bool deletesTranslation(Call const &call) {
    return call.operation == Operation::deleteSource ||
           call.operation == Operation::deleteDestination;
}

bool sameOwner(Call const &one, Call const &other) {
    return one.policy == other.policy && one.match == other.match;
}

std::string owner(Group const &group) {
    return "policy " + group.policy + ", match " + group.match;
}

bool recirculates(std::vector<Nexo::IntfId> const &interfaces) {
    return std::any_of(interfaces.begin(), interfaces.end(),
                       [](Nexo::IntfId intf) { return intf.empty(); });
}

} // namespace

CheckedHelper::CheckedHelper(Mox::Ptr<UmoNatFlowMcastHelper> helper, Findings findings)
    : CallingHelper("CheckedHelper"), helper_(std::move(helper)), findings_(std::move(findings)) {}

std::string CheckedHelper::differenceFrom(Contents chip) const {
    for (std::uint32_t const half : mayHold_) {
        chip.erase(half);
    }
    return difference(contents(), chip);
}

std::uint64_t CheckedHelper::allCalls() const {
    return std::accumulate(calls_.begin(), calls_.end(), std::uint64_t{0});
}

CheckedHelper::Place CheckedHelper::placeOf(Call const &call) {
    Group *const group = call.group == 0 ? nullptr : table_.group(call.group);
    return {group, group == nullptr || call.portSet == 0
                       ? nullptr
                       : ContentsTable::portSet(*group, call.portSet)};
}

Call::Result CheckedHelper::called(Call const &call) {
    ++calls_.at(static_cast<std::size_t>(call.operation));
    if (inside_) {
        tell(Breach::nestedCall, call, "the helper is called from inside another call");
        return call.on(*helper_);
    }
    bool const afterItsPortSet =
        deletesTranslation(call) && justDeleted_ == Identity(call.group, call.portSet);
    if (!afterItsPortSet) {
        justDeleted_ = {};
    }
    Place const place = placeOf(call);
    std::string problem = afterItsPortSet ? "" : problemOf(call, place);
    Vyr::Time const began = now();
    inside_ = true;
    Call::Result const result = call.on(*helper_);
    inside_ = false;
    Vyr::Time const ended = now();
    if (!problem.empty()) {
        if (!followsFromAResult(call)) {
            tell(Breach::call, call, std::move(problem));
        }
    } else if (!afterItsPortSet) {
        carryOut(call, place, result);
    }
    if (log_) {
        log_({call, result, began, ended});
    }
    return result;
}

bool CheckedHelper::followsFromAResult(Call const &call) const {
    bool const ofRefused = call.portSet == 0 && call.operation != Operation::updatePortSet &&
                           refusedIn_.find(call.group) != refusedIn_.end();
    return ofRefused || ambiguous_.find(call.group) != ambiguous_.end();
}

/// What is wrong with the call, as things are before it; empty: nothing.
std::string CheckedHelper::problemOf(Call const &call, Place const &place) const {
    if (call.operation == Operation::createGroup) {
        return "";
    }
    if (place.group == nullptr) {
        return call.group == 0               ? "a group's id is never 0"
               : call.group <= highestGroup_ ? "the group has been deleted before"
                                             : "there was never a group of this id";
    }
    if (call.operation == Operation::deleteGroup) {
        bool const own = place.group->policy == call.policy && place.group->match == call.match;
        return own ? "" : "the group is of " + owner(*place.group);
    }
    bool const isNew = call.operation == Operation::updatePortSet && call.portSet == 0;
    if (!isNew && place.portSet == nullptr) {
        return call.portSet == 0 ? "a port set's id is never 0"
               : call.portSet <= highestPortSet_
                   ? "the port set has been deleted or is of another group"
                   : "there was never a port set of this id";
    }
    return call.operation == Operation::updatePortSet ? problemOfPortSet(call, place.portSet)
                                                      : problemOfTranslation(call, *place.portSet);
}

std::string CheckedHelper::problemOfPortSet(Call const &call, PortSet const *replaced) {
    if (!call.ps) {
        return "there is no port set to program";
    }
    if (call.ps->intf().empty()) {
        return "the port set has no interface";
    }
    if (replaced != nullptr && replaced->vlan != call.ps->vlan()) {
        return "the port set is of VLAN " + std::to_string(replaced->vlan);
    }
    if (call.ps->intf().contains({})) {
        return call.ps->intf().size() == 1 ? "" : "an interface has no name";
    }
    return call.ps->dmac() == Nexo::EthAddr() ? "the destination MAC address is missing" : "";
}

std::string CheckedHelper::problemOfTranslation(Call const &call, PortSet const &portSet) {
    if (call.operation != Operation::updateSource &&
        call.operation != Operation::updateDestination) {
        return "";
    }
    if (portSet.vlan != call.vlan) {
        return "the port set is of VLAN " + std::to_string(portSet.vlan);
    }
    if (call.prefixLength > kMaxPrefixLength) {
        return "no prefix is longer than 32 bits";
    }
    bool const needsMac =
        call.operation == Operation::updateDestination && !recirculates(portSet.interfaces);
    return needsMac && call.dmac == Nexo::EthAddr() ? "the destination MAC address is missing" : "";
}

/// Follows a call that keeps the contract, and looks at its result.
void CheckedHelper::carryOut(Call const &call, Place const &place, Call::Result const &result) {
    switch (call.operation) {
    case Operation::createGroup:
        created(call, std::get<std::uint32_t>(result));
        break;
    case Operation::deleteGroup:
        table_.take(call.group);
        refusedIn_.erase(call.group);
        break;
    case Operation::updatePortSet:
        updated(call, place, std::get<std::uint32_t>(result));
        break;
    case Operation::deletePortSet:
        place.group->portSets.erase(call.portSet);
        justDeleted_ = {call.group, call.portSet};
        break;
    case Operation::updateSource:
        place.portSet->source = Translation{call.nat, call.flow, call.prefixLength, {}};
        break;
    case Operation::updateDestination:
        place.portSet->destination = Translation{call.nat, call.flow, call.prefixLength, call.dmac};
        break;
    case Operation::deleteSource:
        place.portSet->source.reset();
        break;
    case Operation::deleteDestination:
        place.portSet->destination.reset();
        break;
    }
    if (auto const *const success = std::get_if<bool>(&result); success != nullptr && !*success) {
        tell(Breach::failedTranslation, call, "the translation is not programmed");
    }
}

/// A pair is requested one half after the other. If one is refused, the library forgets both.
void CheckedHelper::created(Call const &call, std::uint32_t id) {
    refusals_ += id == 0 ? 1 : 0;
    mayHold_.erase(id); // reclaimed, and given out again
    if (id != 0) {
        auto const [group, isNew] =
            table_.add(id, {.policy = call.policy, .match = call.match, .unicast = call.unicast});
        if (isNew) {
            ambiguous_.erase(id);
        } else {
            ambiguous_.insert(id);
            tell(Breach::wrongIdentifier, call,
                 "group " + std::to_string(id) + " is given out, which " + owner(*group) + " has");
        }
        highestGroup_ = std::max(highestGroup_, id);
    }
    bool const secondHalf = unicastHalf_.unicast && !call.unicast && sameOwner(unicastHalf_, call);
    if (secondHalf && (id == 0) != (unicastHalfId_ == 0)) {
        std::uint32_t const half = id == 0 ? unicastHalfId_ : id;
        if (ambiguous_.find(half) == ambiguous_.end()) {
            table_.take(half);
            mayHold_.insert(half);
        }
    }
    unicastHalf_ = call;
    unicastHalfId_ = id;
}

void CheckedHelper::updated(Call const &call, Place const &place, std::uint32_t id) {
    PortSet programmed = PortSet::of(*call.ps);
    if (place.portSet != nullptr) {
        programmed.source = place.portSet->source;
        programmed.destination = place.portSet->destination;
        if (id == call.portSet) {
            *place.portSet = std::move(programmed);
            return;
        }
        place.group->portSets.erase(call.portSet);
    }
    if (id == 0) {
        refusedIn_.insert(call.group);
        tell(Breach::refusedPortSet, call, "a port set cannot be refused");
        return;
    }
    if (place.portSet != nullptr) {
        tell(Breach::wrongIdentifier, call, "its identifier is changed");
    }
    if (!ContentsTable::addPortSet(*place.group, id, std::move(programmed))) {
        ambiguous_.insert(call.group);
        tell(Breach::wrongIdentifier, call,
             "its identifier is that of another port set of the group");
    }
    highestPortSet_ = std::max(highestPortSet_, id);
}

void CheckedHelper::tell(Breach breach, Call const &call, std::string problem) {
    ++found_.at(static_cast<std::size_t>(breach));
    if (findings_) {
        findings_({breach, call, std::move(problem)});
    }
}

} // namespace UmoHelper
