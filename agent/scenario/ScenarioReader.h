#pragma once

#include "agent/scenario/Document.h"
#include "agent/scenario/Scenario.h"
#include "agent/scenario/ScenarioErrors.h"
#include "agent/switch/SwitchState.h"

#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace UmoAgent {

/// Reads a scenario from its text. A scenario is a mapping with a state (StateReader has the
/// schema) and two keys more:
///
///     events:
///       - at: 10s                # times do not go back
///         remove: {...}          # comes before set
///         set: {...}             # a state, of which only what is named changes
///         refuse-groups: 2       # the chip refuses the next creations of groups
///         note: a heading
///         print: [tree, chip, groups]
///     end: 60s                   # when the play ends, if not with the last event
///
/// `file` is how messages name it. Either the whole scenario is valid, at every time of the play,
/// or there are faults.
std::variant<Scenario, ScenarioFaults> readScenario(std::string const &file,
                                                    std::string const &text);

/// The same for the contents of a file.
std::variant<Scenario, ScenarioFaults> readScenarioFile(std::string const &file);

/// Events that are to follow on a switch as it is.
struct EventsToFollow {
    SwitchState const &mounted; // by then
    Vyr::Time now;              // later times are refused
    /// If given, called now and then while much is read; it must not change what is mounted.
    std::function<void()> breathe = nullptr;
};

/// Reads events that are to follow at once on the switch as it is: a mapping with `events` alone,
/// whose times may be left out. Either all of them are valid, one after the other, or there are
/// faults.
std::variant<std::vector<Event>, ScenarioFaults>
readEvents(Document const &document, ScenarioErrors &errors, EventsToFollow const &follow);

/// The same for a text.
std::variant<std::vector<Event>, ScenarioFaults>
readEvents(std::string const &file, std::string const &text, EventsToFollow const &follow);

} // namespace UmoAgent
