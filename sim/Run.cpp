#include "sim/Run.h"

#include "agent/Printers.h"
#include "agent/ScenarioReader.h"
#include "sim/Broken.h"

#include <chrono>
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

Run::Run(std::string const &initial)
    : agent_(loop_, [](std::string const &error) { require(false, "contract error: ", error); }) {
    add(initial);
    agent_.chip().callLogIs([this](std::string const &call) {
        ++calls_;
        add(call);
        checker_.called(call);
    });
    agent_.start(accepted(UmoAgent::readScenario("initial", initial), initial).initial);
    checker_.started();
}

void Run::event(std::string const &text) {
    add(text);
    auto const events =
        accepted(UmoAgent::readEvents("event", "events: [" + text + "]", model()), text);
    for (UmoAgent::Event const &event : events) {
        if (event.at > loop_.now()) {
            loop_.runUntil(event.at);
            checker_.timePassed();
        }
        auto const before = model();
        agent_.carryOut(event, printed_);
        checker_.changed(before);
    }
}

void Run::end() {
    UmoAgent::printTree(printed_, *agent_.state().hwStatus());
    UmoAgent::printChip(printed_, agent_.chip());
    UmoAgent::printGroups(printed_, agent_.root(), *agent_.state().hwStatus());
    add(printed_.str());
    if (hash_ % 2 == 0) {
        std::string names;
        for (auto const &[name, policy] : model().policies) {
            names += name + ", ";
        }
        event("{remove: {policies: [" + names + "]}}");
        loop_.runUntil(loop_.now() + std::chrono::minutes(1));
        checker_.emptied();
    }
    agent_.shutDown();
    require(agent_.state().hwStatus()->natFlow().empty(), "shut down, but the tree is not empty");
    checkChip(agent_.chip(), *agent_.state().hwStatus(), checker_.halves());
    require(!Vyr::TaskSchedulerRoot::findOrCreateScheduler()->nextDue(),
            "shut down, but a task is scheduled");
}

void Run::add(std::string_view text) {
    for (char const c : text) {
        hash_ = (hash_ ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    }
}

} // namespace Sim
