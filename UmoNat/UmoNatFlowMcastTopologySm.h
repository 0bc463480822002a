#pragma once

#include "Bridging/Config.h"
#include "Bridging/Status.h"
#include "Bridging/Topology.h"
#include "Ip/IpStatus.h"
#include "Ip/NatPortSets.h"
#include "Mox/Attributes.h"
#include "Mox/ReactorCollection.h"
#include "Mox/Seconds.h"
#include "Mox/Set.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Pelo/String.h"
#include "UmoL3Intf/Table.h"
#include "UmoNat/Export.h"
#include "UmoNat/UmoNatflowActionSmIndex.h"
#include "Vyr/Task.h"

#include <cstdint>

class UmoNatFlowActionSm;

/// The one object that knows the switch's layer-2 and layer-3 topology on behalf of all action
/// machines. It follows bridging, spanning tree, learned hosts, IP interfaces and the L3 table;
/// decides which VLANs and ports can carry a flow and builds port sets from them; knows which
/// action depends on which interface, VLAN and host; and evaluates those actions again when the
/// answer may have changed.
///
///     change of an input -> nested reactor -> notifyActionSm...(key) -> index -> backlog
///     backlog task, a limited number at a time -> UmoNatFlowActionSm::handleNatFlowAction(true)
///
/// A notification only queues, and never asks whether the change matters: evaluating an action
/// whose port sets stay the same costs little and calls nothing. Action machines hold a plain
/// pointer to this machine, which outlives them. It holds plain pointers to them, which
/// actionSmGone removes.
///
/// The machine's parts are the index (UmoNatflowActionSmIndex), the Backlog and the choice of the
/// recirculation VLAN (Recirculation). Their operations are reached through this class.
class UMONAT_API UmoNatFlowMcastTopologySm : public Mox::Reactor {
  public:
    /// Each may be null, which reads as without entries.
    struct Inputs {
        Mox::Ptr<Bridging::Config const> bridgingConfig;
        Mox::Ptr<Bridging::VlanStatusDir const> vlanStatusDir;
        Mox::Ptr<Bridging::Topology::Config const> bridgingTopo;
        Mox::Ptr<Bridging::Status const> bridgingStatus;
        Mox::Ptr<UmoL3Intf::Table const> umoL3IntfTable;
        Mox::Ptr<Ip::Status const> ipStatus;
    };

    template <class Followed, class Owner = UmoNatFlowMcastTopologySm>
    class NestedSm;
    template <class Input, auto kAttribute, auto kIs, auto kDel>
    class Directory;
    class MoxBridgingConfig;
    class MoxVlanStatusDir;
    class MoxBridgingStatus;
    class MoxIpStatus;
    class NestedSm_SwitchIntfConfig;
    class NestedSm_VlanStatus;
    class NestedSm_FdbStatus;
    class NestedSm_IpIntfStatus;
    class MoxTopoConfig;
    class MoxTopoPortConfig;
    class Backlog;
    class Recirculation;

    [[nodiscard]] Inputs const &inputs() const noexcept { return inputs_; }
    [[nodiscard]] bool initialized() const noexcept { return initialized_; }

    /// Loads what the inputs hold and makes the backlog task. May throw std::range_error when it
    /// comes upon an L3 interface whose id is no VLAN.
    void handleInitialized() override;
    void hasNotificationActiveIs(bool active) override;

    // Mapping of VLANs to topologies.

    /// Follows the topology of one VLAN. The old mapping always goes before the new one comes,
    /// and with it a topology reactor that has no other VLAN.
    void handleVidToTopoMap(Bridging::VlanId vlan);
    void initializeVidToTopoMap();

    // Validity. A VLAN number outside 1 to 4094 throws std::range_error.

    /// Whether `vlan` can carry flows: it has a status and a topology, and its L3 interface is up
    /// and has an address.
    [[nodiscard]] bool validVlan(std::uint16_t vlan) const;

    /// Whether `intf` is a forwarding member of `vlan`. REQUIRES: validVlan(vlan).
    [[nodiscard]] bool validPort(std::uint16_t vlan, Nexo::IntfId intf) const;

    /// The VLAN that `intf` carries for a request for `vlan` (0: the caller knows none), or 0 if
    /// the interface cannot be used.
    [[nodiscard]] std::uint16_t validSwitchIntf(std::uint16_t vlan, Nexo::IntfId intf,
                                                bool rejectRouted) const;

    // L3 interfaces and the recirculation VLAN.

    /// Follows one interface of the L3 table. Throws std::range_error for an L3 id that is no
    /// VLAN.
    void handleL3Intf(Nexo::IntfId intf);

    /// Moves recirculation to the first valid VLAN of another interface than `oldIntf`, or to 0.
    void setNewNatFlowRecircVlan(Nexo::IntfId oldIntf);

    /// The VLAN through which copies recirculate; 0: none.
    [[nodiscard]] std::uint16_t natFlowRecircVlan() const noexcept;
    void natFlowRecircVlanIs(std::uint16_t vlan);

    // Building port sets. Both register the action before they check anything, so that an action
    // that is refused is woken when the state improves.

    /// Adds the ports behind VLAN interface `vlan` to the unicast or the multicast port set of
    /// that VLAN in `vps`: for a unicast copy to a learned host its port alone, otherwise all
    /// usable ports. Returns whether any was added. REQUIRES: a non-zero `mac` for unicast.
    /// Throws std::range_error for a VLAN outside 1 to 4094.
    bool addSviPorts(std::uint16_t vlan, Nexo::EthAddr const &mac,
                     Ip::Nat::NatFlowVlanPortSets *vps, bool unicast, UmoNatFlowActionSm *actionSm);

    /// The VLAN in whose port set the caller is to put `intf`, or 0 if it cannot be used; `vlan`
    /// 0 stands for the interface's own.
    std::uint16_t addPhysicalPort(Nexo::IntfId intf, std::uint16_t vlan,
                                  UmoNatFlowActionSm *actionSm);

    // The index from what port sets depend on to the actions that depend on it. Adding and
    // withdrawing notify no action.

    void addActionSmIntf(Nexo::IntfId intf, UmoNatFlowActionSm *actionSm) {
        index_->addActionSmIntf(intf, actionSm);
    }
    void addActionSmVlan(std::uint16_t vlan, UmoNatFlowActionSm *actionSm) {
        index_->addActionSmVlan(vlan, actionSm);
    }
    void addActionSmMac(Nexo::EthAddr const &mac, UmoNatFlowActionSm *actionSm) {
        index_->addActionSmMac(mac, actionSm);
    }
    void addActionSmRecirc(UmoNatFlowActionSm *actionSm) { index_->addActionSmRecirc(actionSm); }

    /// Withdraws the action from the whole index. A queued action stays queued: it withdraws in
    /// order to register anew, and the reason it was queued for is still to be evaluated.
    void delActionSm(UmoNatFlowActionSm *actionSm) { index_->delActionSm(actionSm); }

    /// The action machine ends: removes it from the index and from the backlog.
    void actionSmGone(UmoNatFlowActionSm *actionSm);

    [[nodiscard]] auto actionIntf() const noexcept { return index().actionIntf(); }
    [[nodiscard]] auto actionIntf(Nexo::IntfId intf) const { return index().actionIntf(intf); }
    auto actionIntfIs(Nexo::IntfId intf) { return index_->actionIntfIs(intf); }
    void actionIntfIs(Nexo::IntfId intf, Mox::Ptr<UmoNatflowActionSmIntf> const &entry) {
        index_->actionIntfIs(intf, entry);
    }
    void actionIntfDel(Nexo::IntfId intf) { index_->actionIntfDel(intf); }
    void actionIntfDelAll() { index_->actionIntfDelAll(); }

    [[nodiscard]] auto actionVlan() const noexcept { return index().actionVlan(); }
    [[nodiscard]] auto actionVlan(std::uint16_t vlan) const { return index().actionVlan(vlan); }
    auto actionVlanIs(std::uint16_t vlan) { return index_->actionVlanIs(vlan); }
    void actionVlanIs(std::uint16_t vlan, Mox::Ptr<UmoNatflowActionSmVlan> const &entry) {
        index_->actionVlanIs(vlan, entry);
    }
    void actionVlanDel(std::uint16_t vlan) { index_->actionVlanDel(vlan); }
    void actionVlanDelAll() { index_->actionVlanDelAll(); }

    [[nodiscard]] auto actionMac() const noexcept { return index().actionMac(); }
    [[nodiscard]] auto actionMac(Nexo::EthAddr const &mac) const { return index().actionMac(mac); }
    auto actionMacIs(Nexo::EthAddr const &mac) { return index_->actionMacIs(mac); }
    void actionMacIs(Nexo::EthAddr const &mac, Mox::Ptr<UmoNatflowActionSmMac> const &entry) {
        index_->actionMacIs(mac, entry);
    }
    void actionMacDel(Nexo::EthAddr const &mac) { index_->actionMacDel(mac); }
    void actionMacDelAll() { index_->actionMacDelAll(); }

    [[nodiscard]] auto const &actionRecirc() const noexcept { return index().actionRecirc(); }
    void actionRecircIs(UmoNatFlowActionSm *actionSm) { index_->actionRecircIs(actionSm); }
    void actionRecircDel(UmoNatFlowActionSm *actionSm) { index_->actionRecircDel(actionSm); }
    void actionRecircDelAll() { index_->actionRecircDelAll(); }

    // Notification: queue the actions that depend on the key.

    void notifyActionSmIntf(Nexo::IntfId intf);
    void notifyActionSmVlan(std::uint16_t vlan);
    void notifyActionSmMac(Nexo::EthAddr const &mac);
    void notifyActionSmRecirc();

    // The backlog of actions to evaluate.

    /// The backlog task's work: evaluates what was queued when the run began, up to the limit,
    /// and schedules the task again while anything is left. Does nothing outside a run of the
    /// task.
    void processActionSmUpdateBacklog();

    [[nodiscard]] Mox::Set<UmoNatFlowActionSm *> const &actionSmUpdateBacklog() const noexcept;
    void actionSmUpdateBacklogIs(UmoNatFlowActionSm *actionSm);
    void actionSmUpdateBacklogDel(UmoNatFlowActionSm *actionSm);
    void actionSmUpdateBacklogDelAll();

    /// From the first queued action to the run, and from a run to the next; 0.1 s unless set.
    [[nodiscard]] Mox::Seconds actionSmUpdateBacklogTaskInterval() const noexcept;
    void actionSmUpdateBacklogTaskIntervalIs(Mox::Seconds interval);

    /// Actions evaluated in one run; 100 unless set, 0 is no limit.
    [[nodiscard]] std::uint32_t actionSmUpdateBacklogTaskLimit() const noexcept;
    void actionSmUpdateBacklogTaskLimitIs(std::uint32_t limit);

    [[nodiscard]] Mox::Ptr<Vyr::TimerTask> const &actionSmUpdateBacklogTask() const noexcept;
    void actionSmUpdateBacklogTaskIs(Mox::Ptr<Vyr::TimerTask> const &task);
    void actionSmUpdateBacklogTaskDel() { actionSmUpdateBacklogTaskIs(nullptr); }

    // Bridging state: a VLAN's status, or its forwarding database, has come or gone.

    void handleVlanStatus(Bridging::VlanId vlan);
    void handleFdbStatus(Bridging::Fid fid);

    // The nested reactors, one for each entity followed. ...Is inserts one, or gets the one that
    // is there; ...Del removes one. Each class documents what creation and removal notify.

    [[nodiscard]] auto const &switchIntfConfig() const noexcept {
        return switchIntfConfig_.machines();
    }
    Mox::Ptr<NestedSm_SwitchIntfConfig>
    switchIntfConfigIs(Mox::Ptr<Bridging::SwitchIntfConfig const> const &config);
    void switchIntfConfigDel(Nexo::IntfId intf);
    void switchIntfConfigDelAll();

    [[nodiscard]] auto const &vlanStatus() const noexcept { return vlanStatus_.machines(); }
    Mox::Ptr<NestedSm_VlanStatus> vlanStatusIs(Mox::Ptr<Bridging::VlanStatus const> const &status);
    void vlanStatusDel(Bridging::VlanId vlan);
    void vlanStatusDelAll();

    [[nodiscard]] auto const &fdbStatus() const noexcept { return fdbStatus_.machines(); }
    Mox::Ptr<NestedSm_FdbStatus> fdbStatusIs(Mox::Ptr<Bridging::FdbStatus const> const &status);
    void fdbStatusDel(Bridging::Fid fid);
    void fdbStatusDelAll();

    [[nodiscard]] auto const &ipIntfStatus() const noexcept { return ipIntfStatus_.machines(); }
    Mox::Ptr<NestedSm_IpIntfStatus> ipIntfStatusIs(Mox::Ptr<Ip::IpIntfStatus const> const &status);
    void ipIntfStatusDel(Nexo::IntfId intf);
    void ipIntfStatusDelAll();

    /// The topologies that at least one VLAN maps to, by name.
    [[nodiscard]] auto const &moxTopoConfig() const noexcept { return moxTopoConfig_.machines(); }
    Mox::Ptr<MoxTopoConfig>
    topoConfigIs(Mox::Ptr<Bridging::Topology::TopoConfig const> const &topology);
    void topoConfigDel(Pelo::String const &name);
    void topoConfigDelAll();

  protected:
    explicit UmoNatFlowMcastTopologySm(Inputs const &inputs);
    ~UmoNatFlowMcastTopologySm() override;
    void childrenDelAll() override;

  private:
    void bridgingTopoDispatch(Pelo::ChangeOf<Bridging::Topology::Config> const &change);
    void umoL3IntfTableDispatch(Pelo::ChangeOf<UmoL3Intf::Table> const &change);
    void actionSmUpdateBacklogTaskDispatch(Pelo::ChangeOf<Vyr::Task> const &change);

    [[nodiscard]] UmoNatflowActionSmIndex const &index() const noexcept { return *index_; }

    void loadInputs();
    void initializeL3Intf();
    void createBacklogTask();
    [[nodiscard]] bool teardownBegun() const noexcept { return markedForDeletion(); }

    // Null if there is none; valid until the inputs change.
    [[nodiscard]] Bridging::VlanStatus const *vlanStatusOf(std::uint16_t vlan) const;
    [[nodiscard]] Bridging::SwitchIntfConfig const *switchIntfConfigOf(Nexo::IntfId intf) const;
    [[nodiscard]] Mox::Ptr<Bridging::Topology::TopoConfig const>
    topologyOf(Bridging::VlanId vlan) const;
    [[nodiscard]] UmoL3Intf::L3Id const *l3IdOf(Nexo::IntfId intf) const;
    [[nodiscard]] Nexo::IntfId const *sviOf(std::uint16_t vlan) const;
    [[nodiscard]] Mox::Ptr<Ip::IpIntfStatus const> ipIntfStatusOf(Nexo::IntfId intf) const;
    [[nodiscard]] Bridging::LearnedHost const *hostOf(std::uint16_t vlan,
                                                      Nexo::EthAddr const &mac) const;

    [[nodiscard]] static bool l3IntfUp(Ip::IpIntfStatus const &status);
    void removeVidToTopoMap(Bridging::VlanId vlan);
    void notifyMembers(std::uint16_t vlan);

    [[nodiscard]] bool usableSviPort(std::uint16_t vlan, Nexo::IntfId intf) const;
    bool addHostPort(std::uint16_t vlan, Nexo::IntfId intf, Nexo::EthAddr const &mac,
                     Ip::Nat::NatFlowVlanPortSets &vps) const;
    bool floodSviPorts(std::uint16_t vlan, Nexo::EthAddr const &mac,
                       Ip::Nat::NatFlowVlanPortSets &vps, bool unicast) const;

    void queueUsersOf(UmoNatflowActionSmEntry const *entry); // null: none

    Inputs const inputs_;
    Mox::Ptr<MoxBridgingConfig> moxBridgingConfig_;
    Mox::Ptr<MoxVlanStatusDir> moxVlanStatusDir_;
    Mox::Ptr<MoxBridgingStatus> moxBridgingStatus_;
    Mox::Ptr<MoxIpStatus> moxIpStatus_;

    Mox::ReactorCollection<Nexo::IntfId, NestedSm_SwitchIntfConfig> switchIntfConfig_;
    Mox::ReactorCollection<Bridging::VlanId, NestedSm_VlanStatus> vlanStatus_;
    MOX_VALUES(Bridging::VlanId, Pelo::String, vlanToTopoMap) // exactly the VLANs last mapped
    Mox::ReactorCollection<Pelo::String, MoxTopoConfig> moxTopoConfig_;
    Mox::ReactorCollection<Bridging::Fid, NestedSm_FdbStatus> fdbStatus_;
    MOX_VALUES(Nexo::IntfId, std::uint16_t, intfL3Index) // the VLAN of each L3 interface
    Mox::Ptr<Recirculation> const recirculation_;
    Mox::ReactorCollection<Nexo::IntfId, NestedSm_IpIntfStatus> ipIntfStatus_;
    Mox::Ptr<UmoNatflowActionSmIndex> const index_;
    Mox::Ptr<Backlog> const backlog_;
    bool initialized_ = false;

    Mox::Subscription<Bridging::Topology::Config> bridgingTopoSubscription_{
        *this, &UmoNatFlowMcastTopologySm::bridgingTopoDispatch};
    Mox::Subscription<UmoL3Intf::Table> umoL3IntfTableSubscription_{
        *this, &UmoNatFlowMcastTopologySm::umoL3IntfTableDispatch};
    Mox::Subscription<Vyr::Task> actionSmUpdateBacklogTaskSubscription_{
        *this, &UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTaskDispatch};
};

/// Makes a topology machine; what its start throws leaves nothing behind.
Mox::Ptr<UmoNatFlowMcastTopologySm>
UmoNatFlowMcastTopologySmIs(Mox::Ptr<Bridging::Config const> const &bridgingConfig,
                            Mox::Ptr<Bridging::VlanStatusDir const> const &vlanStatusDir,
                            Mox::Ptr<Bridging::Topology::Config const> const &bridgingTopo,
                            Mox::Ptr<Bridging::Status const> const &bridgingStatus,
                            Mox::Ptr<UmoL3Intf::Table const> const &umoL3IntfTable,
                            Mox::Ptr<Ip::Status const> const &ipStatus);

/// What UmoNatFlowMcastTopologySmIs does, for the agent.
UMONAT_API Mox::Ptr<UmoNatFlowMcastTopologySm>
umoNatFlowMcastTopologySmFactory(Mox::Ptr<Bridging::Config const> const &bridgingConfig,
                                 Mox::Ptr<Bridging::VlanStatusDir const> const &vlanStatusDir,
                                 Mox::Ptr<Bridging::Topology::Config const> const &bridgingTopo,
                                 Mox::Ptr<Bridging::Status const> const &bridgingStatus,
                                 Mox::Ptr<UmoL3Intf::Table const> const &umoL3IntfTable,
                                 Mox::Ptr<Ip::Status const> const &ipStatus);
