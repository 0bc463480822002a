#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace UmoAgent {

/// A place in a file: line and column from 1. Line 0 stands for the file as a whole.
struct Place {
    int line = 0;
    int column = 0;

    auto operator<=>(Place const &) const = default;
};

/// What is wrong with a file, a line for each error: FILE:LINE:COLUMN: what was found and what was
/// expected. Never empty.
using ScenarioFaults = std::vector<std::string>;

/// Thrown where nothing more of a file is to be read, its errors being told already.
struct ReadingEnds {};

/// Collects what is wrong with one file. Keeps no more errors than are reported.
class ScenarioErrors {
  public:
    explicit ScenarioErrors(std::string file) : file_(std::move(file)) {}

    /// Adds an error, once: what stands behind an alias is read wherever the alias stands.
    void add(Place place, std::string text);
    void add(Place place, std::string_view found, std::string_view expected);
    /// Adds the error that there are more than `most`, and throws ReadingEnds.
    [[noreturn]] void tooMuch(Place place, std::size_t most, std::string_view ofWhat);

    [[nodiscard]] bool empty() const { return errors_.empty(); }

    /// A line for each error, FILE:LINE:COLUMN: TEXT, in the order of the file; of very many the
    /// first, and how many there are.
    [[nodiscard]] ScenarioFaults lines() const;

  private:
    std::string file_;
    std::multimap<Place, std::string> errors_;
    std::unordered_set<std::size_t> known_; // hashes of all, those that are not kept included
};

} // namespace UmoAgent
