#pragma once

#include "agent/scenario/Document.h"
#include "agent/scenario/ScenarioErrors.h"

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace UmoAgent {

/// Reads the structure of a scenario: mappings and lists. A node of an unexpected form becomes an
/// error at its place and is skipped.
class ScenarioNodes {
  public:
    using Handler = std::function<void(YamlNode node)>;

    /// A key that a mapping may have, and the reader of its value.
    struct Field {
        std::string_view name;
        Handler read;
    };

    /// Calls `breathe`, if given, now and then during long reading.
    explicit ScenarioNodes(ScenarioErrors &errors, std::function<void()> breathe = nullptr)
        : errors_(errors), breathe_(std::move(breathe)) {}

    [[nodiscard]] ScenarioErrors &errors() { return errors_; }
    [[nodiscard]] std::function<void()> const &breathe() const { return breathe_; }

    /// Counts work equivalent to reading that many items, and calls `breathe` when it is due.
    void work(std::size_t items);

    /// How an error message names what it found: the text in quotes, or the kind of node.
    [[nodiscard]] static std::string described(YamlNode node);

    /// Adds the error that `node` is not what was expected.
    void unexpected(YamlNode node, std::string_view expected);

    /// The text of a scalar; `expected` describes it in an error.
    std::optional<std::string_view> text(YamlNode node, std::string_view expected);

    /// Reads a mapping with known keys, in the order of `fields`, not of the file.
    void fields(YamlNode node, std::string_view expected, std::vector<Field> const &fields);

    /// Calls `each` for the items of a list. A single word is a list of one.
    void list(YamlNode node, std::string_view expected, Handler const &each);

    /// Reads a mapping whose keys are values. `readKey` turns a key into its value or nothing;
    /// two keys of the same value are an error even if they are written differently.
    template <class Key>
    void entries(YamlNode node, std::string_view expected,
                 std::function<std::optional<Key>(YamlNode)> const &readKey,
                 std::function<void(Key const &, YamlNode key, YamlNode value)> const &each) {
        std::map<Key, YamlNode> seen;
        mapping(node, expected, [&](YamlNode keyNode, YamlNode value) {
            if (std::optional<Key> const key = readKey(keyNode)) {
                auto const [earlier, added] = seen.emplace(*key, keyNode);
                if (!added) {
                    duplicate(keyNode, earlier->second);
                } else {
                    each(*key, keyNode, value);
                }
            }
        });
    }

  private:
    using EntryHandler = std::function<void(YamlNode key, YamlNode value)>;

    void mapping(YamlNode node, std::string_view expected, EntryHandler const &each);
    void duplicate(YamlNode key, YamlNode earlier);
    void countItem() { work(1); }

    ScenarioErrors &errors_;
    std::function<void()> breathe_;
    std::size_t items_ = 0;
};

} // namespace UmoAgent
