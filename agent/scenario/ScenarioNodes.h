#pragma once

#include "agent/scenario/ScenarioErrors.h"
#include "agent/scenario/YamlNode.h"

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UmoAgent {

/// Walks the structure of a scenario: mappings and lists. Whatever is not of the form that is
/// asked for becomes an error at its place and is left out of the walk, which goes on.
class ScenarioNodes {
  public:
    using Handler = std::function<void(YamlNode const &node)>;

    /// One key that a mapping may have, and what reads its value.
    struct Field {
        std::string_view name;
        Handler read;
    };

    explicit ScenarioNodes(ScenarioErrors &errors) : errors_(errors) {}

    [[nodiscard]] ScenarioErrors &errors() { return errors_; }

    /// The place of a node; it belongs to the event set last.
    [[nodiscard]] Place place(YamlNode const &node) const;
    void eventIs(std::size_t event) { event_ = event; }
    [[nodiscard]] std::size_t event() const { return event_; }

    /// How an error message names what it found: the text in quotes, or the kind of node.
    [[nodiscard]] static std::string described(YamlNode const &node);

    /// Adds the error that `node` is not what was expected.
    void unexpected(YamlNode const &node, std::string_view expected);

    /// The text of a scalar; `expected` says what for.
    std::optional<std::string> text(YamlNode const &node, std::string_view expected);

    /// Reads a mapping whose keys are known, in the order of `fields`, not of the file.
    void fields(YamlNode const &node, std::string_view expected, std::vector<Field> const &fields);

    /// Calls `each` for the items of a list. A single word is a list of one.
    void list(YamlNode const &node, std::string_view expected, Handler const &each);

    /// Reads a mapping whose keys are values. `readKey` turns a key into its value or nothing;
    /// two keys of the same value are an error even if they are written differently.
    template <class Key>
    void entries(
        YamlNode const &node, std::string_view expected,
        std::function<std::optional<Key>(YamlNode const &)> const &readKey,
        std::function<void(Key const &, YamlNode const &key, YamlNode const &value)> const &each) {
        std::map<Key, YamlNode const *> seen;
        mapping(node, expected, [&](YamlNode const &keyNode, YamlNode const &value) {
            if (std::optional<Key> const key = readKey(keyNode)) {
                auto const [earlier, added] = seen.emplace(*key, &keyNode);
                if (!added) {
                    duplicate(keyNode, *earlier->second);
                } else {
                    each(*key, keyNode, value);
                }
            }
        });
    }

  private:
    using EntryHandler = std::function<void(YamlNode const &key, YamlNode const &value)>;

    void mapping(YamlNode const &node, std::string_view expected, EntryHandler const &each);
    void duplicate(YamlNode const &key, YamlNode const &earlier);

    ScenarioErrors &errors_;
    std::size_t event_ = 0;
};

} // namespace UmoAgent
