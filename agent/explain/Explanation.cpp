#include "agent/explain/Explanation.h"

#include "Mox/Trace.h"
#include "UmoNat/UmoNatFlowMatchSm.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "UmoNat/UmoNatFlowPolicySm.h"
#include "agent/explain/ExplanationText.h"
#include "agent/explain/Reasons.h"
#include "agent/show/GroupState.h"
#include "agent/show/Values.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace UmoAgent {

namespace {

using Ip::Nat::NatFlowVlanPortSets;

/// A port of a port set: the VLAN, whether copies are unicast, and the port.
struct Place {
    std::uint16_t vlan;
    bool unicast;
    Nexo::IntfId port;

    auto operator<=>(Place const &) const = default;
};

char const *flowTypeText(Ip::Nat::NatFlowType type) {
    switch (type) {
    case Ip::Nat::natFlowTypeUnicast:
        return "unicast";
    case Ip::Nat::natFlowTypeMulticast:
        return "multicast";
    case Ip::Nat::natFlowTypeNone:
        break;
    }
    return "unicast and multicast";
}

enum class Which : bool { all, programmed };

std::set<Place> placesOf(NatFlowVlanPortSets const &portSets, Which which) {
    std::set<Place> places;
    auto const add = [&](auto const &sets, bool unicast) {
        for (auto const &[vlan, portSet] : sets) {
            if (which == Which::programmed && !isInAGroup(*portSet)) {
                continue;
            }
            for (Nexo::IntfId const port : portSet->intf()) {
                places.insert({vlan, unicast, port});
            }
        }
    };
    add(portSets.ucastPortSet(), true);
    add(portSets.mcastPortSet(), false);
    return places;
}

/// The destination MACs of unicast copies by VLAN; those of multicast copies never differ.
std::map<std::uint16_t, Nexo::EthAddr> macsOf(NatFlowVlanPortSets const &portSets) {
    std::map<std::uint16_t, Nexo::EthAddr> macs;
    for (auto const &[vlan, portSet] : portSets.ucastPortSet()) {
        macs.emplace(vlan, portSet->dmac());
    }
    return macs;
}

/// Drops traces as long as it exists.
class Untraced final : public Mox::TraceSink {
  public:
    Untraced() : before_(Mox::traceSinkIs(this)) {}
    ~Untraced() override { Mox::traceSinkIs(before_); }
    Untraced(Untraced const &) = delete;
    Untraced &operator=(Untraced const &) = delete;

    void message(std::string_view /*handle*/, int /*level*/, std::string_view /*text*/) override {}

  private:
    Mox::TraceSink *before_;
};

/// Explains one action of a match.
class ActionExplanation {
  public:
    ActionExplanation(ForwardingAgent const &agent, UmoNatFlowActionSm &machine, GroupState groups)
        : agent_(agent),
          machine_(machine),
          groups_(groups),
          action_(*machine.inputs().actionStatus),
          computed_(Ip::Nat::natFlowVlanPortSetsFactory()) {
        compute();
    }

    [[nodiscard]] Json value() const;

  private:
    void compute();
    [[nodiscard]] bool complete() const { return action_.version() != 0; }
    [[nodiscard]] bool holdsGroups() const { return groups_ == GroupState::programmed; }
    [[nodiscard]] char const *state() const;
    [[nodiscard]] Json flowType() const;
    [[nodiscard]] Json egress() const;
    [[nodiscard]] UmoNatFlowVerdict const *hindranceOf(Place const &place) const;
    [[nodiscard]] Json portValue(Place const &place, Reason const &reason) const;

    ForwardingAgent const &agent_;
    UmoNatFlowActionSm &machine_;
    GroupState groups_;
    Ip::Nat::NatFlowActionStatus const &action_;
    Mox::Ptr<NatFlowVlanPortSets> computed_;
    Ip::Nat::NatFlowType type_ = Ip::Nat::natFlowTypeNone;
    UmoNatFlowVerdicts verdicts_;
    std::set<Place> programmed_;
    std::set<Place> wanted_; // what would be computed now
    bool current_ = false;   // what is recorded is what would be computed now
};

void ActionExplanation::compute() {
    Untraced const untraced; // no pass is made
    machine_.explainPortSets(*computed_, verdicts_);
    type_ = machine_.getFlowType();
    wanted_ = placesOf(*computed_, Which::all);
    if (auto const &hw = machine_.hwActionStatus(); hw && hw->vlanPortSets()) {
        auto const &recorded = *hw->vlanPortSets();
        programmed_ = placesOf(recorded, Which::programmed);
        current_ =
            placesOf(recorded, Which::all) == wanted_ && macsOf(recorded) == macsOf(*computed_);
        if (type_ == Ip::Nat::natFlowTypeMulticast) { // its recirculation is recorded
            std::erase_if(wanted_, [](Place const &place) { return place.unicast; }); // only
        }
    }
}

Json ActionExplanation::value() const {
    return record({{"action", printable(action_.name())},
                   {"version", action_.version()},
                   {"state", state()},
                   {"flow", flowType()},
                   {"egress", egress()}});
}

/// What holds for the action as a whole.
char const *ActionExplanation::state() const {
    bool const queued = !current_ && machine_.queued();
    return !complete()      ? "incomplete"
           : !holdsGroups() ? "without groups"
           : current_       ? "up to date"
           : queued         ? "queued"
                            : "out of date";
}

Json ActionExplanation::flowType() const {
    Nexo::IpAddr const own = action_.dst().addr();
    auto const &flow = machine_.ofMatch().hwMatchStatus->flow();
    Json value = record({{"type", flowTypeText(type_)}, {"decided-by", nullptr}});
    if (!own.isZero()) {
        value["decided-by"] = "the action's destination " + own.stringValue();
    } else if (!flow.destination.addr.isZero()) {
        value["decided-by"] = "the flow's destination " + flow.destination.addr.stringValue();
    }
    return value;
}

/// The ports by egress interface, each with its verdict; then ports that are still in a port set,
/// though nothing in the action leads there any more.
Json ActionExplanation::egress() const {
    Json interfaces = Json::array();
    auto const listFor = [&](Json const &name) -> Json & {
        for (Json &list : interfaces) {
            if (list.at("interface") == name) {
                return list.at("ports");
            }
        }
        interfaces.push_back(record({{"interface", name}, {"ports", Json::array()}}));
        return interfaces.back().at("ports");
    };
    auto const nameOf = [](Nexo::IntfId intf) { return namesOf(std::array{intf}).front(); };
    auto left = programmed_;
    for (UmoNatFlowVerdict const &verdict : verdicts_) {
        Place const place{verdict.vlan, verdict.unicast, verdict.port};
        left.erase(place);
        listFor(nameOf(verdict.egress))
            .push_back(portValue(place, reasonOf(verdict, action_, *computed_, agent_.state())));
    }
    for (Place const &place : left) {
        if (auto const *const verdict = hindranceOf(place)) {
            listFor(nameOf(verdict->egress))
                .push_back(
                    portValue(place, reasonOf(*verdict, action_, *computed_, agent_.state())));
        } else {
            char const *const why =
                complete() ? ": nothing in the action leads there" : ": the action is incomplete";
            listFor(nullptr).push_back(
                portValue(place, {nameOf(place.port).get<std::string>() + why, ""}));
        }
    }
    return interfaces;
}

/// Why the place, which is in a port set, would not be in it now; null if nothing says so.
UmoNatFlowVerdict const *ActionExplanation::hindranceOf(Place const &place) const {
    auto const found =
        std::find_if(verdicts_.begin(), verdicts_.end(), [&](UmoNatFlowVerdict const &verdict) {
            return verdict.hindrance != UmoNatFlowHindrance::none &&
                   (verdict.port.empty() ? verdict.vlan == place.vlan : verdict.port == place.port);
        });
    return found == verdicts_.end() ? nullptr : &*found;
}

Json ActionExplanation::portValue(Place const &place, Reason const &reason) const {
    Json value = record({{"port", place.port.empty() ? Json() : Json(place.port.stringValue())},
                         {"vlan", place.vlan},
                         {"copies", place.unicast ? "unicast" : "multicast"},
                         {"in-port-set", programmed_.count(place) != 0},
                         {"wanted", wanted_.count(place) != 0},
                         {"reason", reason.text.empty() ? Json() : Json(reason.text)}});
    if (!reason.remedy.empty()) {
        value["remedy"] = reason.remedy;
    }
    return value;
}

/// The waiting matches, with the number of those before each.
using Queue = std::unordered_map<UmoNatFlowMatchSm const *, std::size_t>;

Queue queueOf(UmoNatFlowMcastSm const &root) {
    Queue queue;
    for (UmoNatFlowMatchSm const *const waiting : root.unprogrammedGroup()) {
        queue.emplace(waiting, queue.size());
    }
    return queue;
}

Json groupsValue(UmoNatFlowMcastSm const &root, UmoNatFlowMatchSm &match, Queue const &queue) {
    GroupState const state = groupStateOf(root, match);
    Json value = record({{"state", textOf(state)},
                         {"wanted", match.matchSmStatus()->groupNum()},
                         {"unicast", match.hwMatchStatus()->groupIdUc()},
                         {"multicast", match.hwMatchStatus()->groupIdMc()}});
    if (auto const place = queue.find(&match); state == GroupState::waiting) {
        auto const &task = root.unprogrammedGroupTask();
        value["waiting-before"] = place->second;
        value["retry-scheduled"] = task && task->taskScheduled();
    }
    return value;
}

Json matchValue(ForwardingAgent const &agent, UmoNatFlowMatchSm &match, Queue const &queue,
                std::string const &only) {
    Json actions = Json::array();
    GroupState const groups = groupStateOf(agent.root(), match);
    for (auto const &[name, machine] : match.actionSm()) {
        if (only.empty() || name == only) {
            actions.push_back(ActionExplanation(agent, *machine, groups).value());
        }
    }
    return record({{"match", printable(match.inputs().matchStatus->name())},
                   {"flow", record({{"source", valueOf(match.inputs().matchStatus->flow().source)},
                                    {"destination",
                                     valueOf(match.inputs().matchStatus->flow().destination)}})},
                   {"groups", groupsValue(agent.root(), match, queue)},
                   {"actions", std::move(actions)}});
}

} // namespace

Json explanationOf(ForwardingAgent const &agent, Subject const &subject) {
    auto const *const policy = agent.root().policySm().find(subject.policy);
    if (policy == nullptr) {
        throw std::invalid_argument("there is no policy " + inQuotes(subject.policy));
    }
    Json matches = Json::array();
    Queue const queue = queueOf(agent.root());
    for (auto const &[name, match] : (*policy)->matchSm()) {
        if (subject.match.empty() || name == subject.match) {
            matches.push_back(matchValue(agent, *match, queue, subject.action));
        }
    }
    if (matches.empty() && !subject.match.empty()) {
        throw std::invalid_argument("policy " + printable(subject.policy) + " has no match " +
                                    inQuotes(subject.match));
    }
    if (!subject.action.empty() && matches.front().at("actions").empty()) {
        throw std::invalid_argument("match " + printable(subject.match) + " has no action " +
                                    inQuotes(subject.action));
    }
    return record({{"policy", printable(subject.policy)}, {"matches", std::move(matches)}});
}

std::string firstReason(ForwardingAgent const &agent, UmoNatFlowMatchSm &match,
                        UmoNatFlowActionSm &machine) {
    GroupState const groups = groupStateOf(agent.root(), match);
    if (groups != GroupState::programmed) {
        return groupsText(groupsValue(agent.root(), match, queueOf(agent.root())));
    }
    Json const action = ActionExplanation(agent, machine, groups).value();
    if (std::string remark = remarkOf(textOf(action, "state")); !remark.empty()) {
        return remark;
    }
    for (Json const &intf : action.at("egress")) {
        for (Json const &port : intf.at("ports")) {
            if (Json const &reason = port.at("reason"); !reason.is_null()) {
                return reason.get<std::string>();
            }
        }
    }
    return "no VLAN can recirculate its copies";
}

} // namespace UmoAgent
