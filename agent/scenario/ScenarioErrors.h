#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace UmoAgent {

/// A place in a scenario file: line and column from 1, and the number of the event that it
/// belongs to, 0 being the initial state. Line 0 stands for the file as a whole.
struct Place {
    int line = 0;
    int column = 0;
    std::size_t event = 0;
};

/// Collects what is wrong with one scenario file.
class ScenarioErrors {
  public:
    explicit ScenarioErrors(std::string file) : file_(std::move(file)) {}

    void add(Place place, std::string text) { errors_.emplace_back(place, std::move(text)); }
    void add(Place place, std::string_view found, std::string_view expected);

    [[nodiscard]] bool empty() const { return errors_.empty(); }

    /// A line for each error, FILE:LINE:COLUMN: TEXT, in the order of the file.
    [[nodiscard]] std::vector<std::string> lines() const;

  private:
    std::string file_;
    std::vector<std::pair<Place, std::string>> errors_;
};

} // namespace UmoAgent
