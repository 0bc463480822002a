#include "agent/chip/SoftSwitch.h"

#include "agent/base/Text.h"

#include <ostream>
#include <sstream>

namespace UmoAgent {

namespace {

constexpr std::array<std::string_view, SoftSwitch::kOperations> kOperationNames{
    "createNatFlowGroup",          "deleteNatFlowGroup",          "updateNatFlowVlanPortSet",
    "deleteNatFlowVlanPortSet",    "updateNatFlowSrcTranslation", "deleteNatFlowSrcTranslation",
    "updateNatFlowDstTranslation", "deleteNatFlowDstTranslation",
};

constexpr std::uint32_t kMaxPrefixLength = 32;

SoftSwitch::PortSet portSetOf(Ip::Nat::NatFlowPortSet const &ps) {
    SoftSwitch::PortSet portSet;
    portSet.vlan = ps.vlan();
    portSet.dmac = ps.dmac();
    for (Nexo::IntfId const intf : ps.intf()) {
        portSet.interfaces.push_back(intf);
    }
    return portSet;
}

std::string owner(Pelo::String const &policy, Pelo::String const &match) {
    return "policy " + printable(policy) + ", match " + printable(match);
}

} // namespace

std::array<std::string_view, SoftSwitch::kOperations> const &SoftSwitch::operationNames() {
    return kOperationNames;
}

/// One call of the chip: counts itself, and makes its text only when needed.
class SoftSwitch::Call {
  public:
    using Arguments = std::function<void(std::ostream &out)>;

    Call(SoftSwitch &chip, Operation operation, Arguments arguments)
        : chip_(chip),
          operation_(static_cast<std::size_t>(operation)),
          arguments_(std::move(arguments)) {
        ++chip_.calls_.at(operation_);
        if (operation != Operation::deleteSource && operation != Operation::deleteDestination) {
            chip_.justDeleted_ = {};
        }
    }
    ~Call() {
        if (chip_.callLog_) {
            chip_.callLog_(text() + result_);
        }
    }
    Call(Call const &) = delete;
    Call &operator=(Call const &) = delete;

    [[nodiscard]] std::string text() const {
        std::ostringstream out;
        out << kOperationNames.at(operation_) << '(';
        arguments_(out);
        out << ')';
        return out.str();
    }

    /// Records the result for the log, and returns it.
    std::uint32_t returning(std::uint32_t id) {
        result_ = " -> " + std::to_string(id);
        return id;
    }
    bool returning(bool success) {
        result_ = success ? " -> true" : " -> false";
        return success;
    }

  private:
    SoftSwitch &chip_;
    std::size_t operation_;
    Arguments arguments_;
    std::string result_;
};

SoftSwitch::SoftSwitch(ChipCapacity capacity, LineSink errors)
    : UmoNatFlowMcastHelper("SoftSwitch"), capacity_(capacity), errors_(std::move(errors)) {}

void SoftSwitch::fail(Call const &call, std::string const &problem) {
    ++contractErrors_;
    if (errors_) {
        errors_(call.text() + ": " + problem);
    }
}

void SoftSwitch::changed(Group const &group) const {
    if (changeSink_) {
        changeSink_(group.policy, group.match);
    }
}

SoftSwitch::Group *SoftSwitch::groupOf(Call const &call, std::uint32_t groupId) {
    auto const at = groups_.find(groupId);
    if (at != groups_.end()) {
        return &at->second;
    }
    fail(call, groupId == 0              ? "a group's id is never 0"
               : groupId <= lastGroupId_ ? "the group has been deleted before"
                                         : "there was never a group of this id");
    return nullptr;
}

SoftSwitch::PortSet *SoftSwitch::portSetOf(Call const &call, std::uint32_t groupId,
                                           std::uint32_t portSetId) {
    Group *const group = groupOf(call, groupId);
    if (group == nullptr) {
        return nullptr;
    }
    auto const at = group->portSets.find(portSetId);
    if (at != group->portSets.end()) {
        return &at->second;
    }
    fail(call, portSetId == 0 ? "a port set's id is never 0"
               : portSetId <= lastPortSetId_
                   ? "the port set has been deleted or is of another group"
                   : "there was never a port set of this id");
    return nullptr;
}

std::uint32_t SoftSwitch::createNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                             bool unicast) {
    Call call(*this, Operation::createGroup, [&](std::ostream &out) {
        out << owner(policy, match) << ", unicast " << std::boolalpha << unicast;
    });
    bool const refused = refuseGroups_ > 0;
    refuseGroups_ -= refused ? 1 : 0;
    if (refused || groups_.size() >= capacity_.groups) {
        ++refusals_;
        return call.returning(std::uint32_t{0});
    }
    changed(groups_.emplace(++lastGroupId_, Group{policy, match, unicast, {}}).first->second);
    return call.returning(lastGroupId_);
}

void SoftSwitch::deleteNatFlowGroup(Pelo::String const &policy, Pelo::String const &match,
                                    std::uint32_t groupId) {
    Call const call(*this, Operation::deleteGroup, [&](std::ostream &out) {
        out << owner(policy, match) << ", group " << groupId;
    });
    Group const *const group = groupOf(call, groupId);
    if (group == nullptr) {
        return;
    }
    if (group->policy != policy || group->match != match) {
        fail(call, "the group is of " + owner(group->policy, group->match));
        return;
    }
    if (!traffic_.empty()) {
        for (auto const &[id, portSet] : group->portSets) {
            traffic_.portSetDel(id);
        }
        traffic_.groupDel(groupId);
    }
    auto const deleted = groups_.extract(groupId);
    changed(deleted.mapped());
}

std::uint32_t
SoftSwitch::updateNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId,
                                     Mox::Ptr<Ip::Nat::NatFlowPortSet const> const &ps) {
    Call call(*this, Operation::updatePortSet, [&](std::ostream &out) {
        out << "group " << groupId << ", port set " << portSetId;
        if (ps) {
            out << ", VLAN " << ps->vlan() << ", dmac " << ps->dmac() << ", interfaces";
            for (Nexo::IntfId const intf : ps->intf()) {
                printInterface(out << ' ', intf);
            }
        }
    });
    Group *const group = groupOf(call, groupId);
    if (group == nullptr) {
        return call.returning(std::uint32_t{0});
    }
    if (!ps) {
        fail(call, "there is no port set to program");
        return call.returning(std::uint32_t{0});
    }
    PortSet programmed = UmoAgent::portSetOf(*ps);
    if (portSetId != 0) {
        PortSet *const old = portSetOf(call, groupId, portSetId);
        if (old == nullptr) {
            return call.returning(std::uint32_t{0});
        }
        programmed.source = old->source;
        programmed.destination = old->destination;
        *old = std::move(programmed);
        changed(*group);
        return call.returning(portSetId);
    }
    if (group->portSets.size() >= capacity_.portSetsPerGroup) {
        ++refusals_;
        if (fullGroupLog_) {
            fullGroupLog_("group " + std::to_string(groupId) + " of " +
                          owner(group->policy, group->match) +
                          " has no room for a port set: " + std::to_string(group->portSets.size()) +
                          " of " + std::to_string(capacity_.portSetsPerGroup) + " in use");
        }
        return call.returning(std::uint32_t{0});
    }
    group->portSets.emplace(++lastPortSetId_, std::move(programmed));
    changed(*group);
    return call.returning(lastPortSetId_);
}

void SoftSwitch::deleteNatFlowVlanPortSet(std::uint32_t groupId, std::uint32_t portSetId) {
    Call const call(*this, Operation::deletePortSet, [&](std::ostream &out) {
        out << "group " << groupId << ", port set " << portSetId;
    });
    if (portSetOf(call, groupId, portSetId) != nullptr) {
        Group &group = groups_.at(groupId);
        group.portSets.erase(portSetId);
        changed(group);
        if (!traffic_.empty()) {
            traffic_.portSetDel(portSetId);
        }
        justDeleted_ = {groupId, portSetId};
    }
}

bool SoftSwitch::updateNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                             std::uint16_t vlan, Nexo::IpAndPort const &srcNat,
                                             Nexo::IpAndPort const &srcFlow, std::uint32_t pfxLen) {
    Call call(*this, Operation::updateSource, [&](std::ostream &out) {
        out << "group " << groupId << ", port set " << portSetId << ", VLAN " << vlan << ", source "
            << srcFlow << " within " << pfxLen << " bits becomes " << srcNat;
    });
    Translation const translation{srcNat, srcFlow, pfxLen, {}};
    return call.returning(
        updateTranslation(call, {groupId, portSetId}, vlan, &PortSet::source, translation));
}

bool SoftSwitch::updateNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId,
                                             std::uint16_t vlan, Nexo::IpAndPort const &dstNat,
                                             Nexo::IpAndPort const &dstFlow, std::uint32_t pfxLen,
                                             Nexo::EthAddr const &dmac) {
    Call call(*this, Operation::updateDestination, [&](std::ostream &out) {
        out << "group " << groupId << ", port set " << portSetId << ", VLAN " << vlan
            << ", destination " << dstFlow << " within " << pfxLen << " bits becomes " << dstNat
            << ", dmac " << dmac;
    });
    Translation const translation{dstNat, dstFlow, pfxLen, dmac};
    return call.returning(
        updateTranslation(call, {groupId, portSetId}, vlan, &PortSet::destination, translation));
}

void SoftSwitch::deleteNatFlowSrcTranslation(std::uint32_t groupId, std::uint32_t portSetId) {
    Call const call(*this, Operation::deleteSource, [&](std::ostream &out) {
        out << "group " << groupId << ", port set " << portSetId;
    });
    deleteTranslation(call, {groupId, portSetId}, &PortSet::source);
}

void SoftSwitch::deleteNatFlowDstTranslation(std::uint32_t groupId, std::uint32_t portSetId) {
    Call const call(*this, Operation::deleteDestination, [&](std::ostream &out) {
        out << "group " << groupId << ", port set " << portSetId;
    });
    deleteTranslation(call, {groupId, portSetId}, &PortSet::destination);
}

bool SoftSwitch::updateTranslation(Call const &call, Identity identity, std::uint16_t vlan,
                                   std::optional<Translation> PortSet::*which,
                                   Translation const &translation) {
    PortSet *const portSet = portSetOf(call, identity.first, identity.second);
    if (portSet == nullptr) {
        return false;
    }
    if (portSet->vlan != vlan) {
        fail(call, "the port set is of VLAN " + std::to_string(portSet->vlan));
        return false;
    }
    if (translation.prefixLength > kMaxPrefixLength) {
        fail(call, "no prefix is longer than 32 bits");
        return false;
    }
    portSet->*which = translation;
    changed(groups_.at(identity.first));
    return true;
}

/// The call before may have deleted the port set, and its translations with it.
void SoftSwitch::deleteTranslation(Call const &call, Identity identity,
                                   std::optional<Translation> PortSet::*which) {
    if (identity == justDeleted_) {
        return;
    }
    justDeleted_ = {};
    if (PortSet *const portSet = portSetOf(call, identity.first, identity.second)) {
        (portSet->*which).reset();
        changed(groups_.at(identity.first));
    }
}

} // namespace UmoAgent
