#pragma once

#include "UmoNat/UmoNatFlowActionSm.h"
#include "tests/support/NatSwitch.h"
#include "tests/support/TraceRecorder.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace TestSupport {

inline Nexo::IntfId intfOf(std::string_view name) {
    return Nexo::IntfId(name);
}
inline Nexo::EthAddr macOf(std::string_view text) {
    return Nexo::EthAddr::parse(text);
}

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
    void watchIntf(std::string const &name) { sm().addActionSmIntf(intfOf(name), watcher(name)); }
    void watchVlan(std::uint16_t vlan) {
        sm().addActionSmVlan(vlan, watcher(std::to_string(vlan)));
    }
    void watchMac(std::string const &mac) { sm().addActionSmMac(macOf(mac), watcher(mac)); }
    void watchRecirc() { sm().addActionSmRecirc(watcher("recirc")); }

    /// The names of the actions in the backlog, in their order, as "a b".
    [[nodiscard]] std::string queued() {
        std::string names;
        for (UmoNatFlowActionSm const *const queuedSm : sm().actionSmUpdateBacklog()) {
            names += (names.empty() ? "" : " ") + queuedSm->action();
        }
        return names;
    }

    /// What `change` queues. Lets the backlog run afterwards.
    template <class Change>
    std::string queuedBy(Change const &change) {
        change();
        std::string const names = queued();
        runFor(0.1);
        return names;
    }

    /// The topology that `vlan` maps to.
    [[nodiscard]] Bridging::Topology::TopoConfig &topo(std::uint16_t vlan) const {
        return **topology->vidToTopoMap(Bridging::VlanId(vlan));
    }
    void switchport(std::string_view intf, Bridging::SwitchportMode mode, std::uint16_t native) {
        bridgingConfig->switchIntfConfigIs(intfOf(intf))
            ->switchportModeAndNativeVlanIs({mode, Bridging::VlanIdOrNone(native)});
    }
    void ip(std::string_view intf, bool routing, std::string_view address = "10.0.0.1/24") {
        auto const status = ipStatus->ipIntfStatusIs(intfOf(intf));
        status->addrWithMaskIs(Nexo::IpAddrWithMask::parse(address));
        status->routingIs(routing);
    }
    void learn(std::uint16_t vlan, std::string_view mac, std::string_view intf) {
        bridgingStatus->fdbStatusIs(Bridging::Fid(vlan))->learnedHostIs(macOf(mac), {intfOf(intf)});
    }
};

/// The topology machine's messages of one level, without their heads.
class TopologyTrace {
  public:
    explicit TopologyTrace(int level)
        : recorder_("UmoNatFlowMcastTopologySm/" + std::to_string(level)) {}

    std::vector<std::string> take() {
        std::vector<std::string> texts;
        for (std::string const &line : std::exchange(recorder_.messages, {})) {
            texts.push_back(line.substr(line.find(' ') + 1));
        }
        return texts;
    }

  private:
    TraceRecorder recorder_;
};

} // namespace TestSupport
