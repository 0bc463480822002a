#pragma once

#include "Bridging/Config.h"
#include "Bridging/Status.h"
#include "Bridging/Topology.h"
#include "Ip/IpStatus.h"
#include "Ip/NatPortSets.h"
#include "Mox/Attributes.h"
#include "Mox/MemberList.h"
#include "Mox/ReactorCollection.h"
#include "Mox/Seconds.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Pelo/String.h"
#include "UmoL3Intf/Table.h"
#include "UmoNat/Export.h"
#include "UmoNat/UmoNatFlowHindrance.h"
#include "UmoNat/UmoNatFlowObserver.h"
#include "UmoNat/UmoNatflowActionSmIndex.h"
#include "Vyr/Task.h"

#include <cstdint>

class UmoNatFlowActionSm;

/// Knows the switch's layer-2 and layer-3 topology for all action machines. It follows bridging,
/// spanning tree, learned hosts, IP interfaces and the L3 table. It decides which VLANs and ports
/// can carry a flow, and builds port sets from them. It indexes the actions by interface, VLAN and
/// next-hop MAC, and re-evaluates those registered under what changed.
///
///     change of an input -> nested reactor -> notifyActionSm...(key) -> index -> backlog
///     backlog task, a limited number at a time -> UmoNatFlowActionSm::handleNatFlowAction(true)
///
/// A notification only queues actions, and does not check whether the change matters: evaluating an
/// action whose port sets stay the same is cheap and calls no helper. Action machines have a plain
/// pointer to this machine, which outlives them. This machine has plain pointers to them, which
/// actionSmGone removes.
///
/// The machine's parts are the index (UmoNatflowActionSmIndex), the Backlog and the choice of the
/// recirculation VLAN (Recirculation). This class forwards their operations.
class UMONAT_API UmoNatFlowMcastTopologySm : public Mox::Reactor {
  public:
    /// Each may be null, and then has no entries.
    struct Inputs {
        Mox::Ptr<Bridging::Config const> bridgingConfig;
        Mox::Ptr<Bridging::VlanStatusDir const> vlanStatusDir;
        Mox::Ptr<Bridging::Topology::Config const> bridgingTopo;
        Mox::Ptr<Bridging::Status const> bridgingStatus;
        Mox::Ptr<UmoL3Intf::Table const> umoL3IntfTable;
        Mox::Ptr<Ip::Status const> ipStatus;
    };

    // Nested reactors and parts, private to the library.
    template <class Followed, class Owner = UmoNatFlowMcastTopologySm>
    class UMONAT_HIDDEN NestedSm;
    template <class Input, auto kAttribute, auto kIs, auto kDel>
    class UMONAT_HIDDEN Directory;
    class UMONAT_HIDDEN MoxBridgingConfig;
    class UMONAT_HIDDEN MoxVlanStatusDir;
    class UMONAT_HIDDEN MoxBridgingStatus;
    class UMONAT_HIDDEN MoxIpStatus;
    class UMONAT_HIDDEN NestedSm_SwitchIntfConfig;
    class UMONAT_HIDDEN NestedSm_VlanStatus;
    class UMONAT_HIDDEN NestedSm_FdbStatus;
    class UMONAT_HIDDEN NestedSm_IpIntfStatus;
    class UMONAT_HIDDEN MoxTopoConfig;
    class UMONAT_HIDDEN MoxTopoPortConfig;
    class UMONAT_HIDDEN Backlog;
    class UMONAT_HIDDEN Recirculation;

    [[nodiscard]] Inputs const &inputs() const noexcept { return inputs_; }
    [[nodiscard]] bool initialized() const noexcept { return initialized_; }

    /// Loads the inputs and makes the backlog task. May throw std::range_error if the id of an L3
    /// interface is not a VLAN.
    void handleInitialized() override;
    void hasNotificationActiveIs(bool active) override;

    // Mapping of VLANs to topologies.

    /// Updates the topology of one VLAN. First removes the old mapping, and its topology reactor if
    /// that has no other VLAN.
    void handleVidToTopoMap(Bridging::VlanId vlan);
    void initializeVidToTopoMap();

    // Validity. validVlan throws std::range_error for a VLAN outside 1 to 4094.

    /// Whether `vlan` can carry flows: it has a status and a topology, and its L3 interface routes
    /// and has an address.
    [[nodiscard]] bool validVlan(std::uint16_t vlan) const {
        return vlanHindrance(vlan) == UmoNatFlowHindrance::none;
    }
    /// Why it cannot.
    [[nodiscard]] UmoNatFlowHindrance vlanHindrance(std::uint16_t vlan) const;

    /// Whether `intf` is a forwarding member of `vlan`. REQUIRES: validVlan(vlan).
    [[nodiscard]] bool validPort(std::uint16_t vlan, Nexo::IntfId intf) const {
        return portHindrance(vlan, intf) == UmoNatFlowHindrance::none;
    }
    /// Why it is none. REQUIRES: validVlan(vlan).
    [[nodiscard]] UmoNatFlowHindrance portHindrance(std::uint16_t vlan, Nexo::IntfId intf) const;

    /// The VLAN to use on `intf` when `vlan` is requested (0: the interface's own), or 0 if the
    /// interface cannot be used. With `rejectRouted` a routed interface cannot.
    [[nodiscard]] std::uint16_t validSwitchIntf(std::uint16_t vlan, Nexo::IntfId intf,
                                                bool rejectRouted) const {
        return carriedVlan(vlan, intf, rejectRouted).vlan;
    }
    /// A VLAN, or 0 and why there is none.
    struct CarriedVlan {
        std::uint16_t vlan;
        UmoNatFlowHindrance hindrance;
    };
    /// As validSwitchIntf, with the reason.
    [[nodiscard]] CarriedVlan carriedVlan(std::uint16_t vlan, Nexo::IntfId intf,
                                          bool rejectRouted) const;

    // L3 interfaces and the recirculation VLAN.

    /// Handles a change of one interface in the L3 table. Throws std::range_error for an L3 id that
    /// is not a VLAN.
    void handleL3Intf(Nexo::IntfId intf);

    /// Moves recirculation to the first valid VLAN of an interface other than `oldIntf`, or to 0.
    void setNewNatFlowRecircVlan(Nexo::IntfId oldIntf);

    // Building port sets. Both functions register the action before any check, so that a refused
    // action is notified when the state improves.

    /// Adds the ports behind VLAN interface `vlan` to the unicast or the multicast port set of that
    /// VLAN in `vps`: for unicast to a learned host only the host's port, otherwise all usable
    /// ports. Returns whether it added any. REQUIRES: a non-zero `mac` for unicast. Throws
    /// std::range_error for a VLAN outside 1 to 4094.
    bool addSviPorts(std::uint16_t vlan, Nexo::EthAddr const &mac,
                     Ip::Nat::NatFlowVlanPortSets *vps, bool unicast, UmoNatFlowActionSm *actionSm);

    /// The VLAN whose port set `intf` belongs in, or 0 if it cannot be used. `vlan` 0 means the
    /// interface's own.
    std::uint16_t addPhysicalPort(Nexo::IntfId intf, std::uint16_t vlan,
                                  UmoNatFlowActionSm *actionSm);
    /// As addSviPorts, but registers nothing. Appends what it found to `verdicts` unless that is
    /// null, without their egress interface.
    bool sviPorts(std::uint16_t vlan, Nexo::EthAddr const &mac, Ip::Nat::NatFlowVlanPortSets &vps,
                  bool unicast, UmoNatFlowVerdicts *verdicts) const;
    /// As addPhysicalPort, but registers nothing, and with the reason. The VLAN is that which was
    /// examined, even if it cannot be used.
    [[nodiscard]] CarriedVlan physicalPort(Nexo::IntfId intf, std::uint16_t vlan) const;

    // The index of the actions by what their port sets depend on. Adding and withdrawing notify no
    // action.

    [[nodiscard]] UmoNatflowActionSmIndex const &actionIndex() const noexcept { return *index_; }

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

    /// Withdraws the action from the whole index. A queued action stays queued: it is still due for
    /// evaluation.
    void delActionSm(UmoNatFlowActionSm *actionSm) { index_->delActionSm(actionSm); }

    /// Removes an action machine that is being destroyed from the index and from the backlog.
    void actionSmGone(UmoNatFlowActionSm *actionSm);

    [[nodiscard]] Mox::ConstChildren<Nexo::IntfId, UmoNatflowActionSmIntf>
    actionIntf() const noexcept {
        return actionIndex().actionIntf();
    }
    [[nodiscard]] Mox::Ptr<UmoNatflowActionSmIntf const> actionIntf(Nexo::IntfId intf) const {
        return actionIndex().actionIntf(intf);
    }
    Mox::Ptr<UmoNatflowActionSmIntf> actionIntfIs(Nexo::IntfId intf) {
        return index_->actionIntfIs(intf);
    }
    void actionIntfIs(Nexo::IntfId intf, Mox::Ptr<UmoNatflowActionSmIntf> const &entry) {
        index_->actionIntfIs(intf, entry);
    }
    void actionIntfDel(Nexo::IntfId intf) { index_->actionIntfDel(intf); }
    void actionIntfDelAll() { index_->actionIntfDelAll(); }

    [[nodiscard]] Mox::ConstChildren<std::uint16_t, UmoNatflowActionSmVlan>
    actionVlan() const noexcept {
        return actionIndex().actionVlan();
    }
    [[nodiscard]] Mox::Ptr<UmoNatflowActionSmVlan const> actionVlan(std::uint16_t vlan) const {
        return actionIndex().actionVlan(vlan);
    }
    Mox::Ptr<UmoNatflowActionSmVlan> actionVlanIs(std::uint16_t vlan) {
        return index_->actionVlanIs(vlan);
    }
    void actionVlanIs(std::uint16_t vlan, Mox::Ptr<UmoNatflowActionSmVlan> const &entry) {
        index_->actionVlanIs(vlan, entry);
    }
    void actionVlanDel(std::uint16_t vlan) { index_->actionVlanDel(vlan); }
    void actionVlanDelAll() { index_->actionVlanDelAll(); }

    [[nodiscard]] Mox::ConstChildren<Nexo::EthAddr, UmoNatflowActionSmMac>
    actionMac() const noexcept {
        return actionIndex().actionMac();
    }
    [[nodiscard]] Mox::Ptr<UmoNatflowActionSmMac const> actionMac(Nexo::EthAddr const &mac) const {
        return actionIndex().actionMac(mac);
    }
    Mox::Ptr<UmoNatflowActionSmMac> actionMacIs(Nexo::EthAddr const &mac) {
        return index_->actionMacIs(mac);
    }
    void actionMacIs(Nexo::EthAddr const &mac, Mox::Ptr<UmoNatflowActionSmMac> const &entry) {
        index_->actionMacIs(mac, entry);
    }
    void actionMacDel(Nexo::EthAddr const &mac) { index_->actionMacDel(mac); }
    void actionMacDelAll() { index_->actionMacDelAll(); }

    [[nodiscard]] auto const &actionRecirc() const noexcept { return actionIndex().actionRecirc(); }
    void actionRecircIs(UmoNatFlowActionSm *actionSm) { index_->actionRecircIs(actionSm); }
    void actionRecircDel(UmoNatFlowActionSm *actionSm) { index_->actionRecircDel(actionSm); }
    void actionRecircDelAll() { index_->actionRecircDelAll(); }

    // Notification: queues the actions registered under the key.

    void notifyActionSmIntf(Nexo::IntfId intf);
    void notifyActionSmVlan(std::uint16_t vlan);
    void notifyActionSmMac(Nexo::EthAddr const &mac);
    void notifyActionSmRecirc();

    // The backlog of actions to evaluate.

    /// The backlog task's work: evaluates what was queued when the run began, up to the limit, and
    /// schedules the task again if any action is left. Does nothing outside a run of the task.
    void processActionSmUpdateBacklog();

    using BacklogList = Mox::MemberList<UmoNatFlowMcastTopologySm, UmoNatFlowActionSm>;
    [[nodiscard]] BacklogList const &actionSmUpdateBacklog() const noexcept;
    /// Both REQUIRE: a live machine.
    void actionSmUpdateBacklogIs(UmoNatFlowActionSm *actionSm);
    void actionSmUpdateBacklogDel(UmoNatFlowActionSm *actionSm);
    void actionSmUpdateBacklogDelAll();

    /// The delay from the first queued action to the run, and between runs; 0.1 s by default.
    [[nodiscard]] Mox::Seconds actionSmUpdateBacklogTaskInterval() const noexcept;
    void actionSmUpdateBacklogTaskIntervalIs(Mox::Seconds interval);

    /// Actions evaluated per run; 100 by default, 0 means no limit.
    [[nodiscard]] std::uint32_t actionSmUpdateBacklogTaskLimit() const noexcept;
    void actionSmUpdateBacklogTaskLimitIs(std::uint32_t limit);

    [[nodiscard]] Mox::Ptr<Vyr::TimerTask> const &actionSmUpdateBacklogTask() const noexcept;
    void actionSmUpdateBacklogTaskIs(Mox::Ptr<Vyr::TimerTask> const &task);
    void actionSmUpdateBacklogTaskDel() { actionSmUpdateBacklogTaskIs(nullptr); }

    /// Who is told what the machines do; null: nobody. The observer outlives the machine, or takes
    /// itself back.
    void observerIs(UmoNatFlowObserver *observer) noexcept { observer_ = observer; }
    [[nodiscard]] UmoNatFlowObserver *observer() const noexcept { return observer_; }

    // Bridging state: a VLAN's status or its forwarding database was added or removed.

    void handleVlanStatus(Bridging::VlanId vlan);
    void handleFdbStatus(Bridging::Fid fid);

    // The nested reactors, one for each entity followed. ...Is inserts one, or returns the existing
    // one; ...Del removes one. Each class documents what creation and removal notify. The classes
    // are private to the library (UmoNat/topology): agents neither make nor look into them.

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

    [[nodiscard]] static UmoNatFlowHindrance l3IntfHindrance(Ip::IpIntfStatus const &status);
    void removeVidToTopoMap(Bridging::VlanId vlan);
    void notifyMembers(std::uint16_t vlan);

    [[nodiscard]] UmoNatFlowHindrance sviPortHindrance(std::uint16_t vlan, Nexo::IntfId intf) const;
    bool addHostPort(std::uint16_t vlan, Nexo::IntfId intf, Nexo::EthAddr const &mac,
                     Ip::Nat::NatFlowVlanPortSets &vps, UmoNatFlowVerdicts *verdicts) const;
    bool floodSviPorts(std::uint16_t vlan, Nexo::EthAddr const &mac,
                       Ip::Nat::NatFlowVlanPortSets &vps, bool unicast,
                       UmoNatFlowVerdicts *verdicts) const;

    /// Null: none.
    void queueUsersOf(UmoNatflowActionSmEntry const *entry, UmoNatFlowCause const &cause);

    Inputs const inputs_;
    Mox::Ptr<MoxBridgingConfig> moxBridgingConfig_;
    Mox::Ptr<MoxVlanStatusDir> moxVlanStatusDir_;
    Mox::Ptr<MoxBridgingStatus> moxBridgingStatus_;
    Mox::Ptr<MoxIpStatus> moxIpStatus_;

    Mox::ReactorCollection<Nexo::IntfId, NestedSm_SwitchIntfConfig> switchIntfConfig_;
    Mox::ReactorCollection<Bridging::VlanId, NestedSm_VlanStatus> vlanStatus_;
    MOX_VALUES(Bridging::VlanId, Pelo::String, vlanToTopoMap) // topology of each mapped VLAN
    Mox::ReactorCollection<Pelo::String, MoxTopoConfig> moxTopoConfig_;
    Mox::ReactorCollection<Bridging::Fid, NestedSm_FdbStatus> fdbStatus_;
    MOX_VALUES(Nexo::IntfId, std::uint16_t, intfL3Index) // the VLAN of each L3 interface
    MOX_ATTRIBUTE(std::uint16_t, natFlowRecircVlan)      // for copies that recirculate; 0: none
    Mox::Ptr<Recirculation> const recirculation_;
    Mox::ReactorCollection<Nexo::IntfId, NestedSm_IpIntfStatus> ipIntfStatus_;
    Mox::Ptr<UmoNatflowActionSmIndex> const index_;
    Mox::Ptr<Backlog> const backlog_;
    UmoNatFlowObserver *observer_ = nullptr;
    bool initialized_ = false;

    Mox::Subscription<Bridging::Topology::Config, &UmoNatFlowMcastTopologySm::bridgingTopoDispatch>
        bridgingTopoSubscription_{*this};
    Mox::Subscription<UmoL3Intf::Table, &UmoNatFlowMcastTopologySm::umoL3IntfTableDispatch>
        umoL3IntfTableSubscription_{*this};
    Mox::Subscription<Vyr::Task, &UmoNatFlowMcastTopologySm::actionSmUpdateBacklogTaskDispatch>
        actionSmUpdateBacklogTaskSubscription_{*this};
};

/// Makes a topology machine. If its start throws, nothing is left behind.
Mox::Ptr<UmoNatFlowMcastTopologySm>
UmoNatFlowMcastTopologySmIs(Mox::Ptr<Bridging::Config const> const &bridgingConfig,
                            Mox::Ptr<Bridging::VlanStatusDir const> const &vlanStatusDir,
                            Mox::Ptr<Bridging::Topology::Config const> const &bridgingTopo,
                            Mox::Ptr<Bridging::Status const> const &bridgingStatus,
                            Mox::Ptr<UmoL3Intf::Table const> const &umoL3IntfTable,
                            Mox::Ptr<Ip::Status const> const &ipStatus);

/// Makes a topology machine, for the agent.
UMONAT_API Mox::Ptr<UmoNatFlowMcastTopologySm>
umoNatFlowMcastTopologySmFactory(Mox::Ptr<Bridging::Config const> const &bridgingConfig,
                                 Mox::Ptr<Bridging::VlanStatusDir const> const &vlanStatusDir,
                                 Mox::Ptr<Bridging::Topology::Config const> const &bridgingTopo,
                                 Mox::Ptr<Bridging::Status const> const &bridgingStatus,
                                 Mox::Ptr<UmoL3Intf::Table const> const &umoL3IntfTable,
                                 Mox::Ptr<Ip::Status const> const &ipStatus);
