#include "sim/Step.h"

#include "agent/scenario/ScenarioReader.h"
#include "sim/FlowText.h"

#include <utility>
#include <variant>

namespace Sim {

namespace {

template <class Result>
Result accepted(std::variant<Result, UmoAgent::ScenarioFaults> read, std::string const &text) {
    if (auto const *const faults = std::get_if<UmoAgent::ScenarioFaults>(&read)) {
        throw Rejected(faults->front() + ", in " + text);
    }
    return std::get<Result>(std::move(read));
}

} // namespace

Step readStep(std::string const &text, UmoAgent::SwitchState const &mounted) {
    UmoAgent::EventsToFollow const follow{mounted, Vyr::Time::max()};
    UmoAgent::ScenarioErrors errors("event");
    auto const flow = flowDocument("{events: [" + text + "]}");
    auto events = accepted(flow ? UmoAgent::readEvents(*flow, errors, follow)
                                : UmoAgent::readEvents("event", "events: [" + text + "]", follow),
                           text);
    return {text, std::move(events.at(0))};
}

UmoAgent::Changes readInitial(std::string const &text) {
    return accepted(UmoAgent::readScenario("initial", text), text).initial;
}

} // namespace Sim
