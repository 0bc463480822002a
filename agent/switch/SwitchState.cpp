#include "agent/switch/SwitchState.h"

#include "agent/switch/FlowType.h"

namespace UmoAgent {

using Bridging::Fid;
using Bridging::VlanId;

namespace {

std::optional<Table::Present> presentIf(bool present) {
    return present ? std::optional(Table::Present{}) : std::nullopt;
}

} // namespace

SwitchState::SwitchState()
    : natStatus_(Mox::make<Ip::Nat::Status>()),
      hwStatus_(Mox::make<Ip::Nat::HwNatFlowStatus>()),
      bridgingConfig_(Mox::make<Bridging::Config>()),
      bridgingStatus_(Mox::make<Bridging::Status>()),
      vlanStatusDir_(Mox::make<Bridging::VlanStatusDir>()),
      topologyConfig_(Mox::make<Bridging::Topology::Config>()),
      l3Table_(Mox::make<UmoL3Intf::Table>()),
      ipStatus_(Mox::make<Ip::Status>()) {}

template <>
std::optional<ChipCapacity> SwitchState::find<Table::Chip>(Table::Only const & /*key*/) const {
    return chip_;
}

template <>
std::optional<Table::Tuning::Value>
SwitchState::find<Table::Tuning>(Table::Only const & /*key*/) const {
    return tuning_;
}

template <>
std::optional<Nexo::EthAddr>
SwitchState::find<Table::BridgeMac>(Table::Only const & /*key*/) const {
    return bridgingConfig_->bridgeMacAddr();
}

template <>
std::optional<Table::Interface::Value>
SwitchState::find<Table::Interface>(Nexo::IntfId const &key) const {
    auto const intf = bridgingConfig_->switchIntfConfig(key);
    return intf ? std::optional(intf->switchportModeAndNativeVlan()) : std::nullopt;
}

template <>
std::optional<Table::Present> SwitchState::find<Table::Vlan>(VlanId const &key) const {
    return presentIf(vlanStatusDir_->vlanStatus(key) != nullptr);
}

template <>
std::optional<Table::Present>
SwitchState::find<Table::VlanMember>(Table::VlanMember::Key const &key) const {
    auto const vlan = vlanStatusDir_->vlanStatus(key.in);
    return presentIf(vlan && vlan->vlanPortStatus(key.row) != nullptr);
}

template <>
std::optional<Table::Present> SwitchState::find<Table::Topology>(Pelo::String const &key) const {
    return presentIf(topologies_.count(key) != 0);
}

template <>
std::optional<Bridging::Topology::PortState>
SwitchState::find<Table::TopologyPort>(Table::TopologyPort::Key const &key) const {
    auto const topology = topologies_.find(key.in);
    auto const port =
        topology == topologies_.end() ? nullptr : topology->second->topoPortConfig(key.row);
    return port ? std::optional(port->portState()) : std::nullopt;
}

template <>
std::optional<Pelo::String> SwitchState::find<Table::VlanTopology>(VlanId const &key) const {
    auto const topology = topologyConfig_->vidToTopoMap(key);
    return topology ? std::optional(topology->name()) : std::nullopt;
}

template <>
std::optional<Table::Present> SwitchState::find<Table::Fdb>(VlanId const &key) const {
    return presentIf(bridgingStatus_->fdbStatus(Fid(key.value())) != nullptr);
}

template <>
std::optional<Nexo::IntfId>
SwitchState::find<Table::LearnedMac>(Table::LearnedMac::Key const &key) const {
    auto const fdb = bridgingStatus_->fdbStatus(Fid(key.in.value()));
    auto const *const host = fdb ? fdb->learnedHost(key.row) : nullptr;
    return host != nullptr ? std::optional(host->intf) : std::nullopt;
}

template <>
std::optional<Table::IpInterface::Value>
SwitchState::find<Table::IpInterface>(Nexo::IntfId const &key) const {
    auto const intf = ipStatus_->ipIntfStatus(key);
    return intf ? std::optional(Table::IpInterface::Value{intf->addrWithMask(), intf->routing()})
                : std::nullopt;
}

template <>
std::optional<VlanId> SwitchState::find<Table::L3Interface>(Nexo::IntfId const &key) const {
    auto const *const id = l3Table_->intfL3Index(key);
    return id != nullptr ? std::optional(VlanId(id->value())) : std::nullopt;
}

template <>
std::optional<Table::Present> SwitchState::find<Table::Policy>(Pelo::String const &key) const {
    return presentIf(natStatus_->natFlow(key) != nullptr);
}

template <>
std::optional<Ip::Nat::NatFlow>
SwitchState::find<Table::Match>(Table::Match::Key const &key) const {
    auto const match = this->match(key);
    return match ? std::optional(match->flow()) : std::nullopt;
}

template <>
std::optional<Table::Action::Value>
SwitchState::find<Table::Action>(Table::Action::Key const &key) const {
    auto const action = this->action(key);
    if (!action) {
        return std::nullopt;
    }
    Table::Action::Value value{action->src(), action->dst(), {}, action->version()};
    for (auto const &[intf, hop] : action->intf()) {
        value.egress.emplace_back(intf, hop);
    }
    return value;
}

Mox::Ptr<Ip::Nat::NatFlowMatchStatus> SwitchState::match(Table::Match::Key const &key) const {
    auto const policy = natStatus_->natFlow(key.policy);
    return policy ? policy->match(key.match) : nullptr;
}

Mox::Ptr<Ip::Nat::NatFlowActionStatus> SwitchState::action(Table::Action::Key const &key) const {
    auto const match = this->match({key.policy, key.match});
    return match ? match->action(key.action) : nullptr;
}

std::vector<VlanId> SwitchState::vlansOfTopology(Pelo::String const &topology) const {
    std::vector<VlanId> vlans;
    for (auto const &[vlan, mounted] : topologyConfig_->vidToTopoMap()) {
        if (mounted->name() == topology) {
            vlans.push_back(vlan);
        }
    }
    return vlans;
}

Nexo::IntfId SwitchState::l3InterfaceOf(VlanId id) const {
    auto const *const intf = l3Table_->routedPortName(UmoL3Intf::L3Id(id.value()));
    return intf != nullptr ? *intf : Nexo::IntfId();
}

std::vector<Pelo::String> SwitchState::actionsOfMatch(Table::Match::Key const &key) const {
    std::vector<Pelo::String> names;
    if (auto const match = this->match(key)) {
        names.reserve(match->action().size());
        for (auto const &[name, action] : match->action()) {
            names.push_back(name);
        }
    }
    return names;
}

bool SwitchState::neededMacs(Table::Action::Key const &key) const {
    auto const match = this->match({key.policy, key.match});
    auto const action = match ? match->action(key.action) : nullptr;
    return action && (flowTypeOf(match->flow(), action->dst()) != Ip::Nat::natFlowTypeMulticast ||
                      onceNotMulticast_.count(key) != 0);
}

} // namespace UmoAgent
