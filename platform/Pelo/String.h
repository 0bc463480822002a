#pragma once

#include <string>

namespace Pelo {

/// The platform's string type: names of policies, matches and actions, and keys of collections.
/// Ordered by its bytes, ascending.
using String = std::string;

} // namespace Pelo
