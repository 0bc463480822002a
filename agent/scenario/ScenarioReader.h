#pragma once

#include "agent/scenario/Document.h"
#include "agent/scenario/Scenario.h"
#include "agent/scenario/ScenarioErrors.h"
#include "agent/switch/SwitchState.h"

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace UmoAgent {

/// Reads a scenario from its text. A scenario is a mapping with a state (see StateReader) and two
/// more keys:
///
///     events:
///       - at: 10s                # times must not decrease
///         remove: {...}          # comes before set
///         set: {...}             # a state; only what it names changes
///         refuse-groups: 2       # the chip refuses the next group creations
///         note: a heading
///         print: [tree, chip, groups]
///     end: 60s                   # when the scenario ends; default: with the last event
///
/// `file` is its name in messages. Either the whole scenario is valid, including every event, or
/// there are faults.
std::variant<Scenario, ScenarioFaults> readScenario(std::string const &file,
                                                    std::string const &text);

/// The same for the contents of a file.
std::variant<Scenario, ScenarioFaults> readScenarioFile(std::string const &file);

/// What a file may set and remove.
enum class Scope : std::uint8_t {
    wholeSwitch,
    policies, // of a real switch, which says itself what interfaces it has
};

/// The switch that the events start from.
struct EventsToFollow {
    SwitchState const &mounted; // the state before the first event
    Vyr::Time now;              // later times are refused
    /// If given, called now and then during long reading; it must not change what is mounted.
    std::function<void()> breathe = nullptr;
    Scope scope = Scope::wholeSwitch;
};

/// Reads the feeds of a real switch: a mapping with `policies` and optionally `ip-interfaces` and
/// `tuning`, as in a state. Interfaces need no declaration. Returns the changes that make them of
/// nothing.
std::variant<Changes, ScenarioFaults> readFeeds(Document const &document, ScenarioErrors &errors);

/// The same for a text; `file` is its name in messages.
std::variant<Changes, ScenarioFaults> readFeeds(std::string const &file, std::string const &text);

/// Reads events to be carried out at once on the current switch: a mapping with only `events`,
/// whose times may be left out. Either all of them are valid, each after those before it, or there
/// are faults.
std::variant<std::vector<Event>, ScenarioFaults>
readEvents(Document const &document, ScenarioErrors &errors, EventsToFollow const &follow);

/// The same for a text.
std::variant<std::vector<Event>, ScenarioFaults>
readEvents(std::string const &file, std::string const &text, EventsToFollow const &follow);

} // namespace UmoAgent
