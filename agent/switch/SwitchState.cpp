#include "agent/switch/SwitchState.h"

#include "agent/switch/NatConfig.h"

#include <cstdint>

namespace UmoAgent {

namespace {

using Bridging::Fid;
using Bridging::VlanId;

template <class Map, class Key>
auto const *found(Map const &map, Key const &key) {
    auto const at = map.find(key);
    return at == map.end() ? nullptr : &at->second;
}

void removeL3(UmoL3Intf::Table &table, SwitchModel const &model) {
    for (auto const &[id, intf] : table.routedPortName()) {
        std::uint16_t const *const wanted = found(model.l3Interfaces, intf);
        if (wanted == nullptr || *wanted != id.value()) {
            table.routedPortNameDel(id);
        }
    }
    for (auto const &[intf, id] : table.intfL3Index()) {
        if (model.l3Interfaces.count(intf) == 0) {
            table.intfL3IndexDel(intf);
        }
    }
}

void setL3(UmoL3Intf::Table &table, SwitchModel const &model) {
    for (auto const &[intf, number] : model.l3Interfaces) {
        UmoL3Intf::L3Id const id(number);
        table.intfL3IndexIs(intf, id);
        table.routedPortNameIs(id, intf);
    }
}

void removeIp(Ip::Status &status, SwitchModel const &model) {
    for (auto const &[intf, mounted] : status.ipIntfStatus()) {
        if (model.ipInterfaces.count(intf) == 0) {
            status.ipIntfStatusDel(intf);
        }
    }
}

void setIp(Ip::Status &status, SwitchModel const &model) {
    for (auto const &[intf, interface] : model.ipInterfaces) {
        auto const mounted = status.ipIntfStatusIs(intf);
        mounted->addrWithMaskIs(interface.address);
        mounted->routingIs(interface.routing);
    }
}

void removeLearned(Bridging::Status &status, SwitchModel const &model) {
    for (auto const &[fid, fdb] : status.fdbStatus()) {
        auto const *const wanted = found(model.learnedMacs, fid.value());
        if (wanted == nullptr) {
            status.fdbStatusDel(fid);
            continue;
        }
        for (auto const &[mac, host] : fdb->learnedHost()) {
            if (wanted->count(mac) == 0) {
                fdb->learnedHostDel(mac);
            }
        }
    }
}

void setLearned(Bridging::Status &status, SwitchModel const &model) {
    for (auto const &[vlan, macs] : model.learnedMacs) {
        auto const fdb = status.fdbStatusIs(Fid(vlan));
        for (auto const &[mac, intf] : macs) {
            fdb->learnedHostIs(mac, Bridging::LearnedHost{intf});
        }
    }
}

void removeVlans(Bridging::VlanStatusDir &dir, SwitchModel const &model) {
    for (auto const &[vlan, mounted] : dir.vlanStatus()) {
        auto const *const wanted = found(model.vlans, vlan.value());
        if (wanted == nullptr) {
            dir.vlanStatusDel(vlan);
            continue;
        }
        for (auto const &[intf, port] : mounted->vlanPortStatus()) {
            if (wanted->count(intf) == 0) {
                mounted->vlanPortStatusDel(intf);
            }
        }
    }
}

void setVlans(Bridging::VlanStatusDir &dir, SwitchModel const &model) {
    for (auto const &[vlan, members] : model.vlans) {
        auto const mounted = dir.vlanStatusIs(VlanId(vlan));
        for (Nexo::IntfId const intf : members) {
            mounted->vlanPortStatusIs(intf, {});
        }
    }
}

void removeInterfaces(Bridging::Config &config, SwitchModel const &model) {
    for (auto const &[intf, mounted] : config.switchIntfConfig()) {
        if (model.interfaces.count(intf) == 0) {
            config.switchIntfConfigDel(intf);
        }
    }
}

void setInterfaces(Bridging::Config &config, SwitchModel const &model) {
    for (auto const &[intf, settings] : model.interfaces) {
        config.switchIntfConfigIs(intf)->switchportModeAndNativeVlanIs(settings);
    }
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

void SwitchState::become(SwitchModel const &model) {
    suspendChangedActions(*natStatus_, model_.policies, model.policies);
    removeNatConfig(*natStatus_, model_.policies, model.policies);
    removeL3(*l3Table_, model);
    removeIp(*ipStatus_, model);
    removeLearned(*bridgingStatus_, model);
    removeTopologies(model);
    removeVlans(*vlanStatusDir_, model);
    removeInterfaces(*bridgingConfig_, model);

    bridgingConfig_->bridgeMacAddrIs(model.bridgeMac);
    setInterfaces(*bridgingConfig_, model);
    setVlans(*vlanStatusDir_, model);
    setTopologies(model);
    setLearned(*bridgingStatus_, model);
    setIp(*ipStatus_, model);
    setL3(*l3Table_, model);
    setNatConfig(*natStatus_, model.policies);

    setActionVersions(*natStatus_, model.policies);
    model_ = model;
}

/// A VLAN whose topology goes is mapped to none; one that only moves is mapped anew when the
/// topologies are set.
void SwitchState::removeTopologies(SwitchModel const &model) {
    for (auto const &[vlan, topology] : topologyConfig_->vidToTopoMap()) {
        if (model.topologyOfVlan.count(vlan.value()) == 0) {
            topologyConfig_->vidToTopoMapDel(vlan);
        }
    }
    for (auto const &[name, mounted] : topologies_) {
        TopologyState const *const wanted = found(model.topologies, name);
        for (auto const &[intf, port] : mounted->topoPortConfig()) {
            if (wanted != nullptr && wanted->ports.count(intf) == 0) {
                mounted->topoPortConfigDel(intf);
            }
        }
    }
    std::erase_if(topologies_, [&](auto const &topology) {
        return model.topologies.count(topology.first) == 0;
    });
}

void SwitchState::setTopologies(SwitchModel const &model) {
    for (auto const &[name, topology] : model.topologies) {
        auto &mounted = topologies_[name];
        if (!mounted) {
            mounted = Mox::make<Bridging::Topology::TopoConfig>(name);
        }
        for (auto const &[intf, state] : topology.ports) {
            mounted->topoPortConfigIs(intf)->portStateIs(state);
        }
    }
    for (auto const &[vlan, name] : model.topologyOfVlan) {
        topologyConfig_->vidToTopoMapIs(VlanId(vlan), topologies_.at(name));
    }
}

} // namespace UmoAgent
