#pragma once

#include <string>
#include <vector>

namespace UmoAgent {

/// What differs between two answers in JSON, a line each: what is gone, new or another. Rows of a
/// list are told apart by their names, not by their places. Throws std::invalid_argument, with a
/// text for the user, if one is not JSON.
std::vector<std::string> differences(std::string const &before, std::string const &now);

} // namespace UmoAgent
