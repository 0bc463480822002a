#pragma once

#include "sim/Random.h"

#include <map>
#include <string>
#include <string_view>

namespace Sim {

/// Makes parts of scenarios from patterns, in which `<name>` is replaced by one of the patterns of
/// that name, and `(30% text)` by the text with that probability. A name with a capital letter, as
/// in `<Vlan>`, keeps its choice until `forget` is called.
class Grammar {
  public:
    /// `random` outlives the grammar.
    explicit Grammar(Random &random) : random_(random) {}

    /// A text of that pattern, without trailing commas in lists.
    std::string text(std::string_view pattern);

    void forget() { chosen_.clear(); }

    /// Sets the choice of `name`, with its capital letter, to `text`.
    void choose(std::string const &name, std::string_view text) { chosen_[name] = text; }

  private:
    void append(std::string_view pattern, std::string &text);
    std::string choice(std::string const &name);

    Random &random_;
    std::map<std::string, std::string> chosen_;
};

} // namespace Sim
