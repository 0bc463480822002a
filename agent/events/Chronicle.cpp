#include "agent/events/Chronicle.h"

#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatFlowMatchSm.h"
#include "agent/base/Text.h"
#include "agent/show/Values.h"

#include <chrono>
#include <string>

namespace UmoAgent {

namespace {

std::string textOf(UmoNatFlowCause const &cause) {
    using Kind = UmoNatFlowCause::Kind;
    switch (cause.kind) {
    case Kind::start:
        return "it is new";
    case Kind::version:
        return "its version changed";
    case Kind::flow:
        return "its match's flow changed";
    case Kind::groups:
        return "its match got groups";
    case Kind::interface:
        return "something changed at " + cause.intf.stringValue();
    case Kind::vlan:
        return "something changed in VLAN " + std::to_string(cause.vlan);
    case Kind::mac:
        return "host " + cause.mac.stringValue() + " was learned, moved or forgotten";
    case Kind::recirculation:
        break;
    }
    return "the recirculation VLAN changed";
}

Json nameOf(UmoNatFlowMatchSm const &match) {
    return record({{"policy", printable(match.inputs().policy)},
                   {"match", printable(match.inputs().matchStatus->name())}});
}

} // namespace

Chronicle::Chronicle(ForwardingAgent &agent, EventLoop &loop) : agent_(agent), feed_(loop) {
    agent_.observers().add(*this);
}

Chronicle::~Chronicle() {
    agent_.observers().remove(*this);
}

bool Chronicle::follow(Descriptor &socket, bool json) {
    return feed_.add(socket, json, lineOf("events from now on", Json::object()));
}

void Chronicle::actionQueued(UmoNatFlowActionSm const &action, UmoNatFlowCause const &cause) {
    queued_.insert_or_assign(&action, cause);
}

void Chronicle::queuedEvaluationBegins(UmoNatFlowActionSm const &action) {
    auto const queued = queued_.extract(&action);
    evaluations_.push_back(
        {queued ? std::optional(queued.mapped()) : std::nullopt, agent_.helper().allCalls()});
}

void Chronicle::evaluationBegins(UmoNatFlowActionSm const & /*action*/,
                                 UmoNatFlowCause::Kind cause) {
    evaluations_.push_back({UmoNatFlowCause{.kind = cause}, agent_.helper().allCalls()});
}

/// Calls made by an evaluation within this one count for that one only.
void Chronicle::evaluationEnds(UmoNatFlowActionSm const &action) {
    Evaluation const evaluation = evaluations_.back();
    evaluations_.pop_back();
    std::uint64_t const calls = agent_.helper().allCalls();
    if (calls == evaluation.callsBefore) {
        return;
    }
    for (Evaluation &outer : evaluations_) {
        outer.callsBefore = calls;
    }
    if (feed_.followed()) {
        Json names = record({{"policy", printable(action.policy())},
                             {"match", printable(action.match())},
                             {"action", printable(action.action())}});
        if (evaluation.cause) {
            names["because"] = textOf(*evaluation.cause);
        }
        tell("action programmed", names);
    }
}

void Chronicle::actionGone(UmoNatFlowActionSm const &action) {
    queued_.erase(&action);
}

void Chronicle::matchWaits(UmoNatFlowMatchSm const &match) {
    bool const first = waiting_.empty();
    bool const fresh = waiting_.insert(&match).second;
    tell(fresh ? "match waits for groups" : "match still waits for groups", nameOf(match));
    if (first) {
        tell("no groups left", Json::object());
    }
}

void Chronicle::matchHasGroups(UmoNatFlowMatchSm const &match) {
    if (waiting_.count(&match) != 0) {
        tell("match has got groups", nameOf(match));
        noLongerWaits(match);
    }
}

void Chronicle::matchGone(UmoNatFlowMatchSm const &match) {
    noLongerWaits(match);
}

void Chronicle::noLongerWaits(UmoNatFlowMatchSm const &match) {
    if (waiting_.erase(&match) != 0 && waiting_.empty()) {
        tell("enough groups again", Json::object());
    }
}

void Chronicle::tell(char const *event, Json const &more) {
    if (feed_.followed()) {
        feed_.tell(lineOf(event, more));
    }
}

EventFeed::Line Chronicle::lineOf(char const *event, Json const &more) const {
    Vyr::Time const now = agent_.loop().now();
    Json line = record({{"at", std::chrono::duration<double>(now).count()}, {"event", event}});
    line.update(more);
    std::string text = stamp(now) + ' ' + event;
    char const *separator = ": ";
    for (char const *const name : {"policy", "match", "action"}) {
        if (auto const found = more.find(name); found != more.end()) {
            text += separator + std::string(name) + ' ' + found->get<std::string>();
            separator = ", ";
        }
    }
    if (auto const because = more.find("because"); because != more.end()) {
        text += "; " + because->get<std::string>();
    }
    return {text, line.dump()};
}

} // namespace UmoAgent
