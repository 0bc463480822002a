#include "agent/switch/Draft.h"
#include "agent/switch/MountNat.h"
#include "agent/switch/MountOrder.h"
#include "agent/switch/SwitchState.h"

#include <utility>

namespace UmoAgent {

using Bridging::Fid;
using Bridging::VlanId;
using UmoL3Intf::L3Id;

namespace {

/// The keys in `collection` that `rows` removes, in the collection's order.
template <class Collection, class Rows>
auto going(Collection const &collection, Rows const &rows) {
    std::vector<typename Rows::key_type> keys;
    for (auto const &[key, row] : rows) {
        if (!row && collection.find(key) != nullptr) {
            keys.push_back(key);
        }
    }
    return inOrderOf(collection, std::move(keys));
}

/// The same for the rows of a holder that stays or is added again. If it is added again, all rows
/// are removed that it does not have any more.
template <class Collection, class Holder>
auto goingIn(Collection const &collection, Holder const &holder) {
    if (!holder.ended) {
        return going(collection, holder.rows);
    }
    std::vector<typename decltype(holder.rows)::key_type> keys;
    for (auto const &[key, value] : collection) {
        auto const row = holder.rows.find(key);
        if (row == holder.rows.end() || !row->second) {
            keys.push_back(key);
        }
    }
    return keys;
}

void removeL3(UmoL3Intf::Table &table, DraftRows<Table::L3Interface> const &rows) {
    std::vector<L3Id> ids;
    for (auto const &[intf, wanted] : rows) {
        L3Id const *const id = table.intfL3Index(intf);
        if (id != nullptr && (!wanted || wanted->value() != id->value())) {
            ids.push_back(*id);
        }
    }
    for (L3Id const id : inOrderOf(table.routedPortName(), std::move(ids))) {
        table.routedPortNameDel(id);
    }
    for (Nexo::IntfId const intf : going(table.intfL3Index(), rows)) {
        table.intfL3IndexDel(intf);
    }
}

void setL3(UmoL3Intf::Table &table, DraftRows<Table::L3Interface> const &rows) {
    for (auto const &[intf, wanted] : rows) {
        if (wanted) {
            L3Id const id(wanted->value());
            table.intfL3IndexIs(intf, id);
            table.routedPortNameIs(id, intf);
        }
    }
}

void removeIp(Ip::Status &status, DraftRows<Table::IpInterface> const &rows) {
    for (Nexo::IntfId const intf : going(status.ipIntfStatus(), rows)) {
        status.ipIntfStatusDel(intf);
    }
}

void setIp(Ip::Status &status, DraftRows<Table::IpInterface> const &rows) {
    for (auto const &[intf, wanted] : rows) {
        if (wanted) {
            auto const mounted = status.ipIntfStatusIs(intf);
            mounted->addrWithMaskIs(wanted->address);
            mounted->routingIs(wanted->routing);
        }
    }
}

void removeLearned(Bridging::Status &status, DraftHolders<Table::LearnedMac> const &fdbs) {
    std::vector<Fid> mounted;
    for (auto const &[vlan, fdb] : fdbs) {
        if (fdb.mounted) {
            mounted.emplace_back(vlan.value());
        }
    }
    for (Fid const fid : inOrderOf(status.fdbStatus(), std::move(mounted))) {
        auto const &fdb = fdbs.at(VlanId(fid.value()));
        if (!fdb.present) {
            status.fdbStatusDel(fid);
            continue;
        }
        auto const hosts = status.fdbStatus(fid);
        for (Nexo::EthAddr const mac : goingIn(hosts->learnedHost(), fdb)) {
            hosts->learnedHostDel(mac);
        }
    }
}

void setLearned(Bridging::Status &status, DraftHolders<Table::LearnedMac> const &fdbs) {
    for (auto const &[vlan, fdb] : fdbs) {
        if (!fdb.present) {
            continue;
        }
        auto const hosts = status.fdbStatusIs(Fid(vlan.value()));
        for (auto const &[mac, intf] : fdb.rows) {
            if (intf) {
                hosts->learnedHostIs(mac, Bridging::LearnedHost{*intf});
            }
        }
    }
}

void removeVlans(Bridging::VlanStatusDir &dir, DraftHolders<Table::VlanMember> const &vlans) {
    std::vector<VlanId> mounted;
    for (auto const &[vlan, members] : vlans) {
        if (members.mounted) {
            mounted.push_back(vlan);
        }
    }
    for (VlanId const vlan : inOrderOf(dir.vlanStatus(), std::move(mounted))) {
        auto const &members = vlans.at(vlan);
        if (!members.present) {
            dir.vlanStatusDel(vlan);
            continue;
        }
        auto const status = dir.vlanStatus(vlan);
        for (Nexo::IntfId const intf : goingIn(status->vlanPortStatus(), members)) {
            status->vlanPortStatusDel(intf);
        }
    }
}

void setVlans(Bridging::VlanStatusDir &dir, DraftHolders<Table::VlanMember> const &vlans) {
    for (auto const &[vlan, members] : vlans) {
        if (!members.present) {
            continue;
        }
        auto const status = dir.vlanStatusIs(vlan);
        for (auto const &[intf, member] : members.rows) {
            if (member) {
                status->vlanPortStatusIs(intf, {});
            }
        }
    }
}

void removeInterfaces(Bridging::Config &config, DraftRows<Table::Interface> const &rows) {
    for (Nexo::IntfId const intf : going(config.switchIntfConfig(), rows)) {
        config.switchIntfConfigDel(intf);
    }
}

void setInterfaces(Bridging::Config &config, DraftRows<Table::Interface> const &rows) {
    for (auto const &[intf, settings] : rows) {
        if (settings) {
            config.switchIntfConfigIs(intf)->switchportModeAndNativeVlanIs(*settings);
        }
    }
}

} // namespace

void SwitchState::mount(Draft const &draft) {
    chip_ = *draft.find<Table::Chip>({});
    tuning_ = *draft.find<Table::Tuning>({});
    auto const &l3 = draft.rows<Table::L3Interface>();
    auto const &ip = draft.rows<Table::IpInterface>();
    auto const &learned = draft.holders<Table::LearnedMac>();
    auto const &vlans = draft.holders<Table::VlanMember>();
    auto const &interfaces = draft.rows<Table::Interface>();
    MountNat nat(*natStatus_, draft.policies());
    Nexo::EthAddr const bridgeMac = *draft.find<Table::BridgeMac>({});

    nat.suspendChangedActions();
    nat.remove();
    removeL3(*l3Table_, l3);
    removeIp(*ipStatus_, ip);
    removeLearned(*bridgingStatus_, learned);
    removeTopologies(draft);
    removeVlans(*vlanStatusDir_, vlans);
    removeInterfaces(*bridgingConfig_, interfaces);

    bridgingConfig_->bridgeMacAddrIs(bridgeMac);
    setInterfaces(*bridgingConfig_, interfaces);
    setVlans(*vlanStatusDir_, vlans);
    setTopologies(draft);
    setLearned(*bridgingStatus_, learned);
    setIp(*ipStatus_, ip);
    setL3(*l3Table_, l3);
    nat.set();

    nat.setVersions();
    nat.noteNeededMacs(onceNotMulticast_);
    declared_.insert(draft.declared().begin(), draft.declared().end());
}

/// A VLAN whose topology is removed is mapped to none. A VLAN that only moves is mapped when the
/// topologies are set.
void SwitchState::removeTopologies(Draft const &draft) {
    for (VlanId const vlan :
         going(topologyConfig_->vidToTopoMap(), draft.rows<Table::VlanTopology>())) {
        topologyConfig_->vidToTopoMapDel(vlan);
    }
    for (auto const &[name, topology] : draft.holders<Table::TopologyPort>()) {
        auto const mounted = topologies_.find(name);
        if (mounted == topologies_.end() || !topology.present) {
            continue;
        }
        for (Nexo::IntfId const intf : goingIn(mounted->second->topoPortConfig(), topology)) {
            mounted->second->topoPortConfigDel(intf);
        }
    }
    for (auto const &[name, topology] : draft.holders<Table::TopologyPort>()) {
        if (!topology.present) {
            topologies_.erase(name);
        }
    }
}

void SwitchState::setTopologies(Draft const &draft) {
    for (auto const &[name, topology] : draft.holders<Table::TopologyPort>()) {
        if (!topology.present) {
            continue;
        }
        auto &mounted = topologies_[name];
        if (!mounted) {
            mounted = Mox::make<Bridging::Topology::TopoConfig>(name);
        }
        for (auto const &[intf, state] : topology.rows) {
            if (state) {
                mounted->topoPortConfigIs(intf)->portStateIs(*state);
            }
        }
    }
    for (auto const &[vlan, name] : draft.rows<Table::VlanTopology>()) {
        if (name) {
            topologyConfig_->vidToTopoMapIs(vlan, topologies_.at(*name));
        }
    }
}

} // namespace UmoAgent
