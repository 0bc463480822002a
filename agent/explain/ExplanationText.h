#pragma once

#include "agent/show/Reply.h"

#include <iosfwd>
#include <string>

/// Texts for parts of an explanation.
namespace UmoAgent {

void printExplanation(std::ostream &out, Json const &explanation);

/// How a match stands with its groups, and why.
std::string groupsText(Json const &groups);

/// What a reader must know about an action in that state as a whole; empty: nothing.
char const *remarkOf(std::string const &state);

} // namespace UmoAgent
