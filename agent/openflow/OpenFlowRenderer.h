#pragma once

#include "Bridging/Config.h"
#include "Mox/Ptr.h"
#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Pelo/String.h"
#include "agent/chip/SoftSwitch.h"
#include "agent/openflow/FlowPlan.h"
#include "agent/openflow/GroupIds.h"
#include "agent/openflow/OpenFlowTables.h"
#include "agent/packet/Forwarder.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace UmoAgent {

/// A port of the bridge, as far as flows and copies depend on it.
struct BridgePort {
    Bridging::SwitchportModeAndNativeVlan settings;
    std::uint32_t number = 0; // OpenFlow port number; 0 if it has none at the moment

    bool operator==(BridgePort const &) const = default;
};
using BridgePorts = std::map<Nexo::IntfId, BridgePort>;

/// Renders what the library has programmed into the software chip as OpenFlow groups and flows, so
/// that a switch sends the copies that the chip would. The tables are those of the last call of
/// `render`, whose work follows what has changed since the one before; but if matches or their
/// flows have changed, the flows of all are laid out anew, and if ports have, all copies are
/// looked at.
///
/// A packet goes through three tables. `matches` finds its match and notes the match's first group
/// in a register; a packet that no flow selects is left to the bridge's other flows. `ports` sends
/// on what the chip would accept at the ingress port; the rest is left to normal bridging.
/// `groups` leads to the groups. A group holds at most kCopiesInGroup copies, so a match with more
/// has several.
class OpenFlowRenderer {
  public:
    /// A bucket takes up to 200 bytes, and a message of 64 KiB must hold a group's description.
    static constexpr std::size_t kCopiesInGroup = 256;

    /// What is to be compared with a switch.
    struct Touched {
        std::set<std::uint32_t> groups;
        std::set<std::string> flows;
    };

    /// All outlive the renderer, which takes the chip's change sink. `errors` receives a line
    /// when ids run out.
    OpenFlowRenderer(SoftSwitch &chip, Forwarder &forwarder, GroupRange range,
                     SoftSwitch::LineSink errors);
    ~OpenFlowRenderer() { chip_.changeSinkIs(nullptr); }
    OpenFlowRenderer(OpenFlowRenderer const &) = delete;
    OpenFlowRenderer &operator=(OpenFlowRenderer const &) = delete;

    /// The bridge's MAC address, its datapath and its ports.
    void bridgeIs(Nexo::EthAddr mac, Datapath datapath, BridgePorts ports);

    /// See GroupIds. REQUIRES: nothing was rendered yet.
    void lastResortIs(std::set<std::uint32_t> ids) { ids_.lastResortIs(std::move(ids)); }

    void render();

    /// How many matches get no copies because no group id is left for them. They get them as soon
    /// as ids are free.
    [[nodiscard]] std::size_t starved() const { return starved_.size(); }

    [[nodiscard]] OpenFlowTables const &tables() const { return tables_; }
    /// What `render` has changed since the last call.
    [[nodiscard]] Touched takeTouched() { return std::exchange(touched_, {}); }

  private:
    using Owner = std::pair<Pelo::String, Pelo::String>; // policy, match
    /// The groups that serve one kind of packets of a match.
    struct Groups {
        Served served;
        std::vector<std::uint32_t> ids;
        OpenFlowTables::Buckets buckets;
    };
    struct Match {
        PlannedRule plan;
        std::vector<std::string> flows; // in the tables
        std::vector<Groups> groups;
    };

    void renderBridge();
    void renderMatches();
    void planMatches(std::vector<Rule> const &rules);
    void renderMatch(Owner const &owner, Match &match);
    /// The actions of a flow of the match; empty if it needs none. `before` are groups of the match
    /// that are not in use yet.
    std::string actionFor(Owner const &owner, Match &match, std::vector<Groups> &before,
                          Served served);
    [[nodiscard]] OpenFlowTables::Buckets bucketsOf(Match const &match, Served served) const;
    bool place(Owner const &owner, Groups &groups);
    void remove(Groups const &groups);

    void setFlow(std::string const &match, std::string actions);
    void setGroup(std::uint32_t id, OpenFlowTables::Buckets buckets);
    void removeFlow(std::string const &match);
    void removeGroup(std::uint32_t id);

    SoftSwitch &chip_;
    Forwarder &forwarder_;
    SoftSwitch::LineSink errors_;
    GroupIds ids_;
    Nexo::EthAddr mac_{};
    Datapath datapath_ = Datapath::kernel;
    BridgePorts ports_;
    bool bridgeChanged_ = true;
    std::vector<std::string> bridgeFlows_;
    std::set<Owner> changed_; // whose groups have changed
    std::set<Owner> starved_; // for whose copies no group id is left
    bool idsFreed_ = false;
    std::uint64_t rulesVersion_ = 0;
    std::map<Owner, Match> matches_;
    OpenFlowTables tables_;
    Touched touched_;
};

} // namespace UmoAgent
