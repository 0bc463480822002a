#pragma once

#include "sim/Random.h"

#include <map>
#include <string>
#include <string_view>

namespace Sim {

/// Makes parts of scenarios from patterns, in which `<name>` stands for one of the patterns of
/// that name, and `(30% text)` for a text that comes so often. A capital letter in the name, as
/// in `<Vlan>`, has the same pattern chosen again until `forget` is called.
class Grammar {
  public:
    /// `random` outlives the grammar.
    explicit Grammar(Random &random) : random_(random) {}

    /// A text of that pattern, without commas at the ends of lists.
    std::string text(std::string_view pattern);

    void forget() { chosen_.clear(); }

    /// Has `name`, with its capital letter, stand for `text`.
    void choose(std::string const &name, std::string_view text) { chosen_[name] = text; }

  private:
    void append(std::string_view pattern, std::string &text);
    std::string choice(std::string const &name);

    Random &random_;
    std::map<std::string, std::string> chosen_;
};

} // namespace Sim
