#include "agent/live/BridgeReader.h"

#include "Nexo/VlanIntfId.h"
#include "agent/base/Find.h"
#include "agent/base/Numbers.h"
#include "agent/base/Text.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <set>
#include <sstream>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace UmoAgent {

using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Bridging::Topology::PortState;
using Nexo::IntfId;

namespace {

/// Numbers of Open vSwitch's VLANs. 0, the VLAN of untagged frames, is one of them.
using RawVlans = std::set<std::int64_t>;

constexpr std::int64_t kLastVlan = 4094;

bool usable(std::int64_t vlan) {
    return vlan >= 0 && vlan <= kLastVlan;
}

std::uint16_t ours(std::int64_t vlan) {
    return vlan == 0 ? 1 : static_cast<std::uint16_t>(vlan);
}

std::optional<IntfId> interfaceNamed(std::string_view name) {
    try {
        return IntfId(name);
    } catch (std::invalid_argument const &) {
        return std::nullopt;
    }
}

/// Zero for a text that is no unicast address.
Nexo::EthAddr macAddress(std::string_view text) {
    try {
        Nexo::EthAddr const mac = Nexo::EthAddr::parse(text);
        return mac.isMulticast() ? Nexo::EthAddr() : mac;
    } catch (std::invalid_argument const &) {
        return {};
    }
}

/// A port's mode, as Open vSwitch understands the two columns together.
std::string modeOf(Ovs::Port const &port) {
    if (!port.vlanMode.empty()) {
        return port.vlanMode;
    }
    return port.tag ? "access" : "trunk";
}

bool hasOneVlan(std::string const &mode) {
    return mode == "access" || mode == "dot1q-tunnel";
}

/// The VLANs that the port names. A trunk that names none carries all, and also untagged frames.
RawVlans named(Ovs::Port const &port) {
    std::string const mode = modeOf(port);
    RawVlans vlans;
    if (!hasOneVlan(mode)) {
        vlans = port.trunks;
    }
    if (mode != "trunk") {
        vlans.insert(port.tag.value_or(0));
    } else if (vlans.empty()) {
        vlans.insert(0);
    }
    return vlans;
}

/// Of all VLANs that exist, those that the port carries. A port with a native VLAN other than 0
/// carries no other untagged VLAN.
RawVlans carried(Ovs::Port const &port, RawVlans const &all) {
    std::string const mode = modeOf(port);
    RawVlans vlans = hasOneVlan(mode) || !port.trunks.empty() ? named(port) : all;
    if (mode != "trunk" && port.tag.value_or(0) != 0) {
        vlans.erase(0);
    }
    return vlans;
}

/// In lower case, without the prefix of the protocol.
std::string plainState(std::string state) {
    std::transform(state.begin(), state.end(), state.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return state.rfind("stp_", 0) == 0 ? state.substr(4) : state;
}

PortState stateOf(Ovs::Bridge const &bridge, Ovs::Port const &port,
                  Ovs::Interface const &interface) {
    if (interface.ofport.value_or(-1) <= 0 || interface.linkState != "up" ||
        interface.adminState != "up") {
        return PortState::disabled;
    }
    std::string const state = plainState(bridge.rstp  ? port.rstpState
                                         : bridge.stp ? port.stpState
                                                      : "");
    if (state.empty() || state == "forwarding") {
        return PortState::forwarding;
    }
    return state == "learning"   ? PortState::learning
           : state == "disabled" ? PortState::disabled
                                 : PortState::blocking;
}

/// Reads one bridge.
class Reader {
  public:
    Reader(Ovs::Rows const &rows, Ovs::Bridge const &bridge, KernelAddresses const &addresses)
        : rows_(rows), bridge_(bridge), addresses_(addresses) {
        for (Ovs::Uuid const &uuid : bridge.ports) {
            if (auto const *const port = findIn(rows.ports, uuid)) {
                ports_.emplace(port->name, port);
            }
        }
        for (auto const &[name, port] : ports_) {
            vlans_.merge(named(*port));
        }
        std::erase_if(vlans_, [](std::int64_t vlan) { return !usable(vlan); });
    }

    BridgeReading read(Ovs::Uuid const &uuid) {
        reading_.bridge = uuid;
        reading_.state.inKernel = bridge_.datapathType.empty() || bridge_.datapathType == "system";
        for (auto const &[name, port] : ports_) {
            readPort(*port);
        }
        for (Ovs::Uuid const &mirror : bridge_.mirrors) {
            auto const *const row = findIn(rows_.mirrors, mirror);
            leaveOut("mirror " + inQuotes(row != nullptr ? row->name : mirror),
                     "it may show no copies");
        }
        checkUntagged();
        return std::move(reading_);
    }

  private:
    void leaveOut(std::string const &what, std::string const &why) {
        reading_.leftOut.push_back(what + " is left out: " + why);
    }
    void leaveOut(Ovs::Port const &port, std::string const &why) {
        leaveOut("port " + inQuotes(port.name), why);
    }

    void readPort(Ovs::Port const &port) {
        if (port.interfaces.size() != 1) {
            leaveOut(port, "it is a bond");
            return;
        }
        auto const *const interface = findIn(rows_.interfaces, port.interfaces.front());
        if (interface == nullptr) {
            return;
        }
        if (interface->ofport.value_or(-1) > 0 && interface->type != "patch" &&
            interface->linkState.empty() && interface->adminState.empty()) {
            reading_.linksUnknown = true;
        }
        bool const internal = interface->type == "internal";
        bool const local = internal && port.name == bridge_.name;
        if (local) {
            // ovs-vswitchd uses the given address at once, but may report it much later.
            auto const given = macAddress(bridge_.hwaddr);
            reading_.state.mac = given.isZero() ? macAddress(interface->mac) : given;
        }
        if (internal && port.tag && modeOf(port) == "access") {
            readVlanInterface(port);
        } else if (interface->type == "patch") {
            leaveOut(port, "it leads to another bridge");
        } else if (!local) {
            readBridgePort(port, *interface);
        }
    }

    void readVlanInterface(Ovs::Port const &port) {
        if (!usable(*port.tag)) {
            leaveOut(port, "it is in VLAN " + std::to_string(*port.tag));
            return;
        }
        VlanId const vlan(ours(*port.tag));
        IntfId const intf("Vlan" + std::to_string(vlan.value()));
        if (!reading_.state.vlanInterfaces.insert(vlan).second) {
            leaveOut(port, intf.stringValue() + " is another port");
            return;
        }
        if (auto const *const address = findIn(addresses_, port.name)) {
            reading_.state.addresses.emplace(intf, *address);
        }
    }

    void readBridgePort(Ovs::Port const &port, Ovs::Interface const &interface) {
        auto const intf = interfaceNamed(port.name);
        if (!intf) {
            leaveOut(port, "its name is not that of an interface");
            return;
        }
        if (Nexo::VlanIntfId::isVlanIntfId(*intf)) {
            leaveOut(port, "its name is that of a VLAN interface");
            return;
        }
        auto const [at, fresh] = reading_.state.ports.try_emplace(*intf);
        if (!fresh) {
            leaveOut(port, "another port is called " + intf->stringValue());
            return;
        }
        LivePort &read = at->second;
        RawVlans const raw = carried(port, vlans_);
        for (std::int64_t const vlan : raw) {
            if (usable(vlan)) {
                read.vlans.emplace(ours(vlan));
            } else {
                leaveOut("VLAN " + std::to_string(vlan) + " of port " + inQuotes(port.name),
                         "there is no such VLAN");
            }
        }
        read.settings = settingsOf(port, raw, read.vlans);
        read.state = stateOf(bridge_, port, interface);
        std::int64_t const number = interface.ofport.value_or(0);
        read.number = number > 0 && number <= std::numeric_limits<std::uint32_t>::max()
                          ? static_cast<std::uint32_t>(number)
                          : 0;
    }

    /// A port that tags all of its VLANs gets a native VLAN that it does not carry, so that nothing
    /// leaves it untagged.
    Bridging::SwitchportModeAndNativeVlan settingsOf(Ovs::Port const &port, RawVlans const &raw,
                                                     std::set<VlanId> const &vlans) {
        std::string const mode = modeOf(port);
        std::int64_t const tag = port.tag.value_or(0);
        if (hasOneVlan(mode) || (mode == "native-untagged" && tag != 0)) {
            return {mode == "access"         ? SwitchportMode::access
                    : mode == "dot1q-tunnel" ? SwitchportMode::dot1qTunnel
                                             : SwitchportMode::trunk,
                    VlanIdOrNone(usable(tag) ? ours(tag) : 0)};
        }
        if (raw.count(0) != 0 && mode != "native-tagged") {
            return {SwitchportMode::trunk, VlanIdOrNone(1)};
        }
        std::uint16_t native = 1;
        for (auto vlan = vlans.begin(); vlan != vlans.end() && vlan->value() == native; ++vlan) {
            ++native;
        }
        if (native > kLastVlan) {
            leaveOut(port, "it carries each VLAN tagged");
            native = 0;
        }
        return {SwitchportMode::trunk, VlanIdOrNone(native)};
    }

    /// Both VLANs are VLAN 1 for the agent, although Open vSwitch keeps them apart.
    void checkUntagged() {
        if (vlans_.count(0) != 0 && vlans_.count(1) != 0) {
            leaveOut("the difference between VLAN 1 and untagged frames",
                     "they are one VLAN here; use another VLAN than 1");
        }
    }

    Ovs::Rows const &rows_;
    Ovs::Bridge const &bridge_;
    KernelAddresses const &addresses_;
    std::map<std::string_view, Ovs::Port const *> ports_; // of the bridge, by name
    RawVlans vlans_;                                      // that exist
    BridgeReading reading_;
};

} // namespace

std::optional<BridgeReading> readBridge(Ovs::Rows const &rows, std::string_view name,
                                        KernelAddresses const &addresses) {
    for (auto const &[uuid, bridge] : rows.bridges) {
        if (bridge.name == name) {
            return Reader(rows, bridge, addresses).read(uuid);
        }
    }
    return std::nullopt;
}

/// The lines are `port VLAN MAC age`, after one with these words. The port is LOCAL for the
/// switch's host.
LearnedMacs readLearnedMacs(std::string_view fdb, std::map<IntfId, LivePort> const &ports) {
    std::unordered_map<std::uint64_t, IntfId> byNumber;
    for (auto const &[intf, port] : ports) {
        byNumber.emplace(port.number, intf);
    }
    byNumber.erase(0);
    LearnedMacs learned;
    std::istringstream lines{std::string(fdb)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string port;
        std::string vlan;
        std::string mac;
        words >> port >> vlan >> mac;
        auto const number = wholeNumber(port);
        auto const vlanNumber = wholeNumber(vlan);
        if (!number || !vlanNumber || *vlanNumber > kLastVlan) {
            continue;
        }
        auto const *const intf = findIn(byNumber, *number);
        auto const address = macAddress(mac);
        if (intf != nullptr && !address.isZero()) {
            VlanId const in(ours(static_cast<std::int64_t>(*vlanNumber)));
            learned[in].insert_or_assign(address, *intf);
        }
    }
    return learned;
}

} // namespace UmoAgent
