#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace UmoAgent {

/// A place in a file: line and column from 1. Line 0 means the whole file.
struct Place {
    int line = 0;
    int column = 0;

    auto operator<=>(Place const &) const = default;
};

/// The errors of a file, a line for each: FILE:LINE:COLUMN: what was found and what was expected.
/// Never empty.
using ScenarioFaults = std::vector<std::string>;

/// Thrown to stop reading a file after its errors are recorded.
struct ReadingEnds {};

/// Collects the errors of one file. Stores no more errors than are reported.
class ScenarioErrors {
  public:
    explicit ScenarioErrors(std::string file) : file_(std::move(file)) {}

    /// Adds an error once, even if it is read several times through aliases.
    void add(Place place, std::string text);
    void add(Place place, std::string_view found, std::string_view expected);
    /// Adds the error that there are more than `most`, and throws ReadingEnds.
    [[noreturn]] void tooMuch(Place place, std::size_t most, std::string_view ofWhat);

    [[nodiscard]] bool empty() const { return errors_.empty(); }

    /// A line for each error, FILE:LINE:COLUMN: TEXT, in the order of the file; if there are too
    /// many, the first ones and the total number.
    [[nodiscard]] ScenarioFaults lines() const;

  private:
    std::string file_;
    std::multimap<Place, std::string> errors_;
    std::unordered_set<std::size_t> known_; // hashes of all errors, stored or not
};

} // namespace UmoAgent
