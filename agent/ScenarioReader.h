#pragma once

#include "agent/ScenarioModel.h"

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

} // namespace UmoAgent
