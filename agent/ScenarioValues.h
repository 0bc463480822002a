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
#include "agent/ScenarioModel.h"
#include "agent/ScenarioNodes.h"

#include <yaml-cpp/yaml.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace UmoAgent {

/// Stores what was read, if it could be read.
template <class Value>
void keep(std::optional<Value> const &value, Value &into) {
    if (value) {
        into = *value;
    }
}

/// Reads the single values of a scenario. A function whose value is malformed or out of range
/// adds an error at its place and gives nothing.
class ScenarioValues {
  public:
    explicit ScenarioValues(ScenarioNodes &nodes) : nodes_(nodes) {}

    template <class Number>
    std::optional<Number> number(YAML::Node const &node, Number min, Number max,
                                 std::string_view what) {
        auto const value = numberBetween(node, min, max, what);
        return value ? std::optional<Number>(static_cast<Number>(*value)) : std::nullopt;
    }
    std::optional<std::uint16_t> vlan(YAML::Node const &node);
    std::optional<std::uint16_t> l3Id(YAML::Node const &node);
    std::optional<std::uint16_t> transportPort(YAML::Node const &node);
    std::optional<bool> boolean(YAML::Node const &node);
    std::optional<Vyr::Time> time(YAML::Node const &node);

    /// A name of a topology, policy, match or action: any text but the empty one.
    std::optional<Pelo::String> name(YAML::Node const &node);
    std::optional<std::string> note(YAML::Node const &node);

    std::optional<Bridging::SwitchportMode> switchportMode(YAML::Node const &node);
    std::optional<Bridging::VlanIdOrNone> nativeVlan(YAML::Node const &node);
    std::optional<Bridging::Topology::PortState> portState(YAML::Node const &node);
    std::optional<Printout> printout(YAML::Node const &node);

    /// The MAC address of one station: not zero and no group address.
    std::optional<Nexo::EthAddr> stationMac(YAML::Node const &node);

    /// An interface's own address, `10.0.10.1/24`, or `none`.
    std::optional<Nexo::IpAddrWithMask> interfaceAddress(YAML::Node const &node);
    /// The addresses of a flow, `10.1.0.0/16`; an address alone is the whole of it.
    std::optional<Nexo::IpAddrWithMask> prefix(YAML::Node const &node);
    /// The translated end of a flow, `10.9.9.9:5000` or `10.9.9.9`.
    std::optional<Nexo::IpAndPort> translatedEnd(YAML::Node const &node);

    /// An interface that is declared somewhere in the scenario, or a usable VLAN's.
    std::optional<Nexo::IntfId> interface(YAML::Node const &node);
    /// The same, but not a VLAN's: what can be in a VLAN.
    std::optional<Nexo::IntfId> port(YAML::Node const &node);
    /// Any interface's name, to take out what stands under it.
    std::optional<Nexo::IntfId> interfaceName(YAML::Node const &node);
    /// The port whose declaration this is.
    std::optional<Nexo::IntfId> declaredPort(YAML::Node const &node) { return portName(node); }

    /// Adds an error for each use of an interface that is not `declared`. To be called when all
    /// of the scenario has been read.
    void checkUses(std::set<Nexo::IntfId> const &declared);

  private:
    std::optional<std::uint64_t> numberBetween(YAML::Node const &node, std::uint64_t min,
                                               std::uint64_t max, std::string_view what);
    std::optional<Nexo::IntfId> portName(YAML::Node const &node);

    ScenarioNodes &nodes_;
    std::vector<std::pair<Nexo::IntfId, Place>> used_;
};

} // namespace UmoAgent
