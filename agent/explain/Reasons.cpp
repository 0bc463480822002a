#include "agent/explain/Reasons.h"

#include "agent/base/Text.h"
#include "agent/show/Values.h"

#include <sstream>

namespace UmoAgent {

namespace {

using Bridging::Topology::PortState;

/// Finds the words for one verdict.
class Words {
  public:
    Words(UmoNatFlowVerdict const &verdict, Ip::Nat::NatFlowActionStatus const &action,
          Ip::Nat::NatFlowVlanPortSets const &computed, SwitchState const &state)
        : verdict_(verdict), action_(action), computed_(computed), state_(state) {}

    [[nodiscard]] Reason reason() const {
        Reason found = ofVlan();
        if (found.text.empty()) {
            found = ofPort();
        }
        if (found.text.empty()) {
            found = ofCopies();
        }
        return found;
    }

  private:
    [[nodiscard]] std::string vlan() const { return "VLAN " + std::to_string(verdict_.vlan); }
    [[nodiscard]] std::string egress() const { return verdict_.egress.stringValue(); }
    [[nodiscard]] std::string port() const { return verdict_.port.stringValue(); }
    /// The L3 interface of the VLAN.
    [[nodiscard]] std::string l3Interface() const {
        return state_.l3InterfaceOf(Bridging::VlanId(verdict_.vlan)).stringValue();
    }
    [[nodiscard]] std::string topology() const {
        auto const name = state_.find<Table::VlanTopology>(Bridging::VlanId(verdict_.vlan));
        return "topology " + printable(name.value_or(Pelo::String()));
    }
    /// Whether the egress interface is a routed port.
    [[nodiscard]] bool routed() const {
        auto const settings = state_.find<Table::Interface>(verdict_.egress);
        return settings && settings->mode == Bridging::SwitchportMode::routed;
    }
    [[nodiscard]] std::string nativeVlan() const {
        auto const settings = state_.find<Table::Interface>(verdict_.port);
        return std::to_string(settings ? settings->nativeVlan.value() : 0);
    }
    [[nodiscard]] std::string portState() const {
        auto const name = state_.find<Table::VlanTopology>(Bridging::VlanId(verdict_.vlan));
        auto const found = name ? state_.find<Table::TopologyPort>({*name, verdict_.port})
                                : std::optional<PortState>();
        return found ? streamed(*found) : "unknown";
    }
    /// The VLAN that the action wants on its own port, or else on the port behind its VLAN
    /// interface.
    [[nodiscard]] std::uint16_t wantedVlan() const {
        return verdict_.egress == verdict_.port ? hop().vlan : verdict_.vlan;
    }
    [[nodiscard]] Ip::Nat::NatFlowNextHop hop() const {
        auto const *const found = action_.intf().find(verdict_.egress);
        return found != nullptr ? *found : Ip::Nat::NatFlowNextHop();
    }
    [[nodiscard]] std::string hostText() const {
        std::ostringstream text;
        auto const host =
            state_.find<Table::LearnedMac>({Bridging::VlanId(verdict_.vlan), hop().mac});
        text << "host " << hop().mac << " is behind " << host.value_or(Nexo::IntfId());
        return text.str();
    }
    [[nodiscard]] std::string otherMacText() const {
        std::ostringstream text;
        auto const portSet = computed_.ucastPortSet(verdict_.vlan);
        text << "the unicast copies in " << vlan() << " go to "
             << (portSet ? portSet->dmac() : Nexo::EthAddr()) << ", not to " << hop().mac;
        return text.str();
    }
    [[nodiscard]] Reason ofVlan() const;
    [[nodiscard]] Reason ofPort() const;
    [[nodiscard]] Reason ofCopies() const;

    UmoNatFlowVerdict const &verdict_;
    Ip::Nat::NatFlowActionStatus const &action_;
    Ip::Nat::NatFlowVlanPortSets const &computed_;
    SwitchState const &state_;
};

Reason Words::ofVlan() const {
    std::string const where = egress() + ": ";
    auto const down = [&] { return where + l3Interface() + "'s IP interface is down: "; };
    switch (verdict_.hindrance) {
    case UmoNatFlowHindrance::noVlan:
        return {where + "there is no such VLAN", "name one from Vlan1 to Vlan4094"};
    case UmoNatFlowHindrance::noVlanStatus:
        return {where + "the switch does not have " + vlan(), "add the VLAN"};
    case UmoNatFlowHindrance::noTopology:
        return {where + "no topology has " + vlan(), "add the VLAN to a topology"};
    case UmoNatFlowHindrance::noL3Interface:
        return {where + "no L3 interface has " + vlan(),
                "give " + (routed() ? egress() : "Vlan" + std::to_string(verdict_.vlan)) +
                    " that L3 id"};
    case UmoNatFlowHindrance::noIpStatus:
        return {where + l3Interface() + " has no IP settings", "add it to the IP interfaces"};
    case UmoNatFlowHindrance::notRouting:
        return {down() + "it does not route", "switch its routing on"};
    case UmoNatFlowHindrance::noAddress:
        return {down() + "it has no address", "give it one"};
    default:
        return {};
    }
}

Reason Words::ofPort() const {
    std::string const where = port() + ": ";
    switch (verdict_.hindrance) {
    case UmoNatFlowHindrance::noSwitchport:
        return {where + "it has no switchport settings", "add it to the interfaces"};
    case UmoNatFlowHindrance::noNativeVlan:
        return {where + "it has no native VLAN", "give it one"};
    case UmoNatFlowHindrance::routed:
        return {where + "it is routed, so it does not belong to " + vlan(),
                "make it a switchport, or name it as an egress interface"};
    case UmoNatFlowHindrance::otherVlan:
        return {where + "native VLAN " + nativeVlan() + " is not " + std::to_string(wantedVlan()),
                "give it that native VLAN, or make it a trunk"};
    case UmoNatFlowHindrance::notAMember:
        return verdict_.port.empty()
                   ? Reason{egress() + ": no port is a member of " + vlan(), "add ports to it"}
                   : Reason{where + "it is not a member of " + vlan(), "add it to the VLAN"};
    case UmoNatFlowHindrance::notInTopology:
        return {where + "it is not in " + topology(), "add it to the topology"};
    case UmoNatFlowHindrance::notForwarding:
        return {where + "not forwarding in " + topology(), "it is " + portState()};
    default:
        return {};
    }
}

Reason Words::ofCopies() const {
    switch (verdict_.hindrance) {
    case UmoNatFlowHindrance::hostElsewhere:
        return {port() + ": " + hostText(), "when the host ages out, all ports get copies"};
    case UmoNatFlowHindrance::otherMac:
        return {port() + ": " + otherMacText(),
                "put the next hops into different VLANs or actions"};
    case UmoNatFlowHindrance::nothingUnicast:
        return {egress() + ": not tried for multicast copies, since nothing gets unicast copies",
                "see its unicast copies"};
    case UmoNatFlowHindrance::notForMulticast:
        return {"recirculation: multicast copies are not recirculated",
                "name egress interfaces in the action"};
    default:
        return {};
    }
}

} // namespace

Reason reasonOf(UmoNatFlowVerdict const &verdict, Ip::Nat::NatFlowActionStatus const &action,
                Ip::Nat::NatFlowVlanPortSets const &computed, SwitchState const &state) {
    return Words(verdict, action, computed, state).reason();
}

} // namespace UmoAgent
