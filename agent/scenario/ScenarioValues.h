#pragma once

#include "Bridging/Config.h"
#include "Bridging/Topology.h"
#include "Ip/NatFlow.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAddrWithMask.h"
#include "Nexo/IpAndPort.h"
#include "Pelo/String.h"
#include "Vyr/Clock.h"
#include "agent/scenario/Scenario.h"
#include "agent/scenario/ScenarioNodes.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace UmoAgent {

/// Stores what was read, if it was valid.
template <class Value>
void keep(std::optional<Value> const &value, Value &into) {
    if (value) {
        into = *value;
    }
}

/// Reads the single values of a scenario. If a value is malformed or out of range, the function
/// adds an error at its place and returns nothing.
class ScenarioValues {
  public:
    /// `declared` tells whether the switch has, or once had, an interface.
    ScenarioValues(ScenarioNodes &nodes, std::function<bool(Nexo::IntfId)> declared)
        : nodes_(nodes), declared_(std::move(declared)) {}

    template <class Number>
    std::optional<Number> number(YamlNode node, Number min, Number max, std::string_view what) {
        auto const value = numberBetween(node, min, max, what);
        return value ? std::optional<Number>(static_cast<Number>(*value)) : std::nullopt;
    }
    std::optional<Bridging::VlanId> vlan(YamlNode node);
    std::optional<Bridging::VlanId> l3Id(YamlNode node);
    std::optional<std::uint16_t> transportPort(YamlNode node);
    std::optional<bool> boolean(YamlNode node);
    std::optional<Vyr::Time> time(YamlNode node);

    /// A name of a topology, policy, match or action: any non-empty text.
    std::optional<Pelo::String> name(YamlNode node);
    std::optional<std::string> note(YamlNode node);

    std::optional<Bridging::SwitchportMode> switchportMode(YamlNode node);
    std::optional<Bridging::VlanIdOrNone> nativeVlan(YamlNode node);
    std::optional<Bridging::Topology::PortState> portState(YamlNode node);
    std::optional<Printout> printout(YamlNode node);

    /// A unicast MAC address: not zero, not a group address.
    std::optional<Nexo::EthAddr> stationMac(YamlNode node);

    /// An interface's own address, `10.0.10.1/24`, or `none`.
    std::optional<Nexo::IpAddrWithMask> interfaceAddress(YamlNode node);
    /// The addresses of a flow, `10.1.0.0/16`; an address without a length matches itself alone.
    std::optional<Nexo::IpAddrWithMask> prefix(YamlNode node);
    /// The translated end of a flow, `10.9.9.9:5000` or `10.9.9.9`.
    std::optional<Nexo::IpAndPort> translatedEnd(YamlNode node);

    /// An interface that the scenario declares, or the interface of a usable VLAN.
    std::optional<Nexo::IntfId> interface(YamlNode node);
    /// The same without VLAN interfaces: a possible VLAN member.
    std::optional<Nexo::IntfId> port(YamlNode node);
    /// The name of any interface, to remove its entry.
    std::optional<Nexo::IntfId> interfaceName(YamlNode node);
    /// The port that is declared here.
    std::optional<Nexo::IntfId> declaredPort(YamlNode node) { return portName(node); }

    /// Adds an error for each use of an interface that is never declared. Called when the whole
    /// file has been read.
    void checkUses();

  private:
    std::optional<std::uint64_t> numberBetween(YamlNode node, std::uint64_t min, std::uint64_t max,
                                               std::string_view what);
    std::optional<Nexo::IntfId> portName(YamlNode node);
    void use(Nexo::IntfId intf, YamlNode node);

    ScenarioNodes &nodes_;
    std::function<bool(Nexo::IntfId)> declared_;
    std::vector<std::pair<Nexo::IntfId, Place>> used_; // before any declaration
};

} // namespace UmoAgent
