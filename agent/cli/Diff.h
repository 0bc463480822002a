#pragma once

#include <optional>
#include <string>
#include <vector>

namespace UmoAgent {

/// A value that is gone, new or another.
struct Difference {
    std::string path;                  // the names that lead to it, separated by commas
    std::optional<std::string> before; // as JSON; none: it is new
    std::optional<std::string> now;    // none: it is gone
};

/// What differs between two answers in JSON. Rows of a list are told apart by their names, not by
/// their places. Throws std::invalid_argument, with a text for the user, if one is not JSON, or
/// nested too deeply for an answer.
std::vector<Difference> differences(std::string const &before, std::string const &now);

/// A line each.
std::string textOf(std::vector<Difference> const &differences);

/// An object with the list `differences`, in one line.
std::string jsonOf(std::vector<Difference> const &differences);

} // namespace UmoAgent
