#pragma once

#include "agent/show/Reply.h"

#include <iosfwd>

namespace UmoAgent {

/// Prints an explanation as a graph for Graphviz: from the matches' flows over groups, actions and
/// port sets to the ports. In red what is missing: matches without groups, and ports without
/// copies, with the reason.
void printPicture(std::ostream &out, Json const &explanation);

} // namespace UmoAgent
