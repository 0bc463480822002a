#pragma once

#include "agent/scenario/Document.h"

#include <optional>
#include <string_view>

namespace Sim {

/// The document of a text of the kind that the generator makes: one line of mappings, lists, words
/// and words in single quotes. A YAML parser finds the same in it, and takes far longer than the
/// whole of a simulated event. None if the text has anything else in it.
std::optional<UmoAgent::Document> flowDocument(std::string_view text);

} // namespace Sim
