#pragma once

#include "UmoNat/UmoNatFlowActionSm.h"
#include "tests/support/NatSwitch.h"
#include "tests/support/TraceRecorder.h"

#include <gmock/gmock.h>

namespace TestSupport {

using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::Topology::PortState;
using Nexo::IntfId;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kMac[] = "00:00:00:00:00:01";
inline IntfId const et1("Ethernet1");
inline IntfId const et2("Ethernet2");

/// What stops a start-up, or a process, when a number is taken for a VLAN's that is none.
constexpr char kRange[] = "Bridging::VlanId::value < 1 or > 4094 not allowed";

inline auto const macOf = &Nexo::EthAddr::parse;

/// A running switch whose topology machine is driven directly. Watchers stand for the actions that
/// depend on something: their machines are real, but incomplete, so that they register nothing of
/// their own and being evaluated does nothing.
struct TopologySwitch : NatSwitch {
    TopologySwitch() { start(); }

    [[nodiscard]] UmoNatFlowMcastTopologySm &sm() { return *root->topologySm(); }

    UmoNatFlowActionSm *watcher(std::string const &name) {
        nat->natFlowIs("p")->matchIs("m")->actionIs(name);
        return &actionSm("p", "m", name);
    }

    /// The names of the actions in the backlog, in their order, as "a b".
    [[nodiscard]] std::string queued() {
        std::string names;
        for (UmoNatFlowActionSm const *const queuedSm : sm().actionSmUpdateBacklog()) {
            names += (names.empty() ? "" : " ") + queuedSm->action();
        }
        return names;
    }

    /// The topology that `vlan` maps to.
    [[nodiscard]] Bridging::Topology::TopoConfig &topo(std::uint16_t vlan) const {
        return **topology->vidToTopoMap(VlanId(vlan));
    }
    void switchport(std::string_view intf, SwitchportMode mode, std::uint16_t native) {
        bridgingConfig->switchIntfConfigIs(IntfId(intf))
            ->switchportModeAndNativeVlanIs({mode, Bridging::VlanIdOrNone(native)});
    }
    void ip(std::string_view intf, bool routing, std::string_view address = "10.0.0.1/24") {
        auto const status = ipStatus->ipIntfStatusIs(IntfId(intf));
        status->addrWithMaskIs(Nexo::IpAddrWithMask::parse(address));
        status->routingIs(routing);
    }
    void learn(std::uint16_t vlan, std::string_view mac, std::string_view intf) {
        bridgingStatus->fdbStatusIs(Bridging::Fid(vlan))->learnedHostIs(macOf(mac), {IntfId(intf)});
    }
};

/// The topology machine's messages of one level, without their heads.
class TopologyTrace {
  public:
    explicit TopologyTrace(int level)
        : recorder_("UmoNatFlowMcastTopologySm/" + std::to_string(level)) {}

    std::vector<std::string> take() {
        for (std::string &line : recorder_.messages) {
            line.erase(0, line.find(' ') + 1);
        }
        return std::exchange(recorder_.messages, {});
    }

  private:
    TraceRecorder recorder_;
};

} // namespace TestSupport
