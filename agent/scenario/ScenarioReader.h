#pragma once

#include "agent/switch/ScenarioModel.h"

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

namespace UmoAgent {

/// What is wrong with a scenario, a line for each error: FILE:LINE:COLUMN: what was found and what
/// was expected. Never empty.
using ScenarioFaults = std::vector<std::string>;

/// Reads a scenario from its text. A scenario is a mapping with a state (StateReader has the
/// schema) and two keys more:
///
///     events:
///       - at: 10s                # times do not go back
///         remove: {...}          # see StateRemover; comes before set
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

/// The most bytes that readEventsFile reads.
inline constexpr std::size_t kMaxEventsBytes = 65536;

/// Reads events that are to follow on the state `before` of a switch: a mapping with `events`
/// alone, whose times may be left out. Either all of them are valid, one after the other, or
/// there are faults.
std::variant<std::vector<Event>, ScenarioFaults>
readEvents(std::string const &file, std::string const &text, SwitchModel before);

/// The same for the contents of a file. It must be a regular one, since a pipe would make the
/// reader wait, and small, since each event holds the whole state after it.
std::variant<std::vector<Event>, ScenarioFaults> readEventsFile(std::string const &file,
                                                                SwitchModel before);

} // namespace UmoAgent
