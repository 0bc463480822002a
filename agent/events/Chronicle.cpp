#include "agent/events/Chronicle.h"

#include "UmoNat/UmoNatFlowActionSm.h"
#include "UmoNat/UmoNatFlowMatchSm.h"
#include "agent/base/Text.h"
#include "agent/show/Values.h"

#include <chrono>
#include <cstddef>
#include <utility>

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
        return "host " + streamed(cause.mac) + " was learned, moved or forgotten";
    case Kind::recirculation:
        break;
    }
    return "the recirculation VLAN changed";
}

Json nameOf(UmoNatFlowMatchSm const &match) {
    return {{"policy", printable(match.inputs().policy)},
            {"match", printable(match.inputs().matchStatus->name())}};
}

} // namespace

Chronicle::Chronicle(ForwardingAgent &agent) : agent_(agent) {
    agent_.observers().add(*this);
}

Chronicle::~Chronicle() {
    agent_.observers().remove(*this);
}

void Chronicle::actionQueued(UmoNatFlowActionSm const &action, UmoNatFlowCause const &cause) {
    because_.insert_or_assign(&action, textOf(cause));
}

void Chronicle::queuedEvaluationBegins(UmoNatFlowActionSm const &action) {
    auto const queued = because_.extract(&action);
    begin(queued ? queued.mapped() : "");
}

void Chronicle::evaluationBegins(UmoNatFlowActionSm const & /*action*/,
                                 UmoNatFlowCause::Kind cause) {
    begin(textOf({.kind = cause}));
}

void Chronicle::begin(std::string because) {
    evaluations_.push_back({std::move(because), calls()});
}

/// Calls made by an evaluation within this one count for that one only.
void Chronicle::evaluationEnds(UmoNatFlowActionSm const &action) {
    Evaluation const evaluation = std::move(evaluations_.back());
    evaluations_.pop_back();
    if (calls() == evaluation.callsBefore) {
        return;
    }
    for (Evaluation &outer : evaluations_) {
        outer.callsBefore = calls();
    }
    tell("action programmed", {{"policy", printable(action.policy())},
                               {"match", printable(action.match())},
                               {"action", printable(action.action())},
                               {"because", evaluation.because}});
}

void Chronicle::actionGone(UmoNatFlowActionSm const &action) {
    because_.erase(&action);
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

void Chronicle::tell(char const *event, Json more) {
    if (sink_) {
        Json line{{"at", std::chrono::duration<double>(agent_.loop().now()).count()},
                  {"event", event}};
        line.update(more);
        sink_(std::move(line));
    }
}

std::uint64_t Chronicle::calls() const {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < SoftSwitch::kOperations; ++i) {
        sum += agent_.chip().calls(static_cast<SoftSwitch::Operation>(i));
    }
    return sum;
}

std::string textOfEvent(Json const &event) {
    auto const at = std::chrono::duration<double>(event.at("at").get<double>());
    std::string line =
        stamp(std::chrono::duration_cast<Vyr::Time>(at)) + ' ' + UmoAgent::textOf(event, "event");
    for (char const *const name : {"policy", "match", "action"}) {
        if (auto const found = event.find(name); found != event.end()) {
            line.append(*name == 'p' ? ": " : ", ").append(name).append(1, ' ');
            line.append(found->get_ref<std::string const &>());
        }
    }
    auto const because = event.find("because");
    return line + (because == event.end() ? "" : "; " + because->get<std::string>());
}

} // namespace UmoAgent
