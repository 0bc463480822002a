#pragma once

#include "agent/show/Reply.h"

#include <string>

/// Texts for parts of an explanation.
namespace UmoAgent {

/// How a match stands with its groups, and why.
std::string groupsText(Json const &groups);

/// What a reader must know about an action in that state as a whole; empty: nothing.
char const *remarkOf(std::string const &state);

} // namespace UmoAgent
