#pragma once

#include "agent/scenario/Document.h"

#include <optional>
#include <string_view>

namespace Sim {

/// Parses a text as the generator makes it: one line of mappings, lists, words and words in single
/// quotes. The result is that of a YAML parser, which would take far longer than the rest of a
/// simulated event. Returns nothing if the text has anything else in it.
std::optional<UmoAgent::Document> flowDocument(std::string_view text);

} // namespace Sim
