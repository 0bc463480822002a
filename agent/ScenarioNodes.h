#pragma once

#include "agent/ScenarioErrors.h"

#include <yaml-cpp/yaml.h>

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
    using Handler = std::function<void(YAML::Node const &node)>;

    /// One key that a mapping may have, and what reads its value.
    struct Field {
        std::string_view name;
        Handler read;
    };

    explicit ScenarioNodes(ScenarioErrors &errors) : errors_(errors) {}

    [[nodiscard]] ScenarioErrors &errors() { return errors_; }

    /// The place of a node; it belongs to the event set last.
    [[nodiscard]] Place place(YAML::Node const &node) const;
    void eventIs(std::size_t event) { event_ = event; }
    [[nodiscard]] std::size_t event() const { return event_; }

    /// How an error message names what it found: the text in quotes, or the kind of node.
    [[nodiscard]] static std::string described(YAML::Node const &node);

    /// Adds the error that `node` is not what was expected.
    void unexpected(YAML::Node const &node, std::string_view expected);

    /// The text of a scalar; `expected` says what for.
    std::optional<std::string> text(YAML::Node const &node, std::string_view expected);

    /// Reads a mapping whose keys are known, in the order of `fields`, not of the file.
    void fields(YAML::Node const &node, std::string_view expected,
                std::vector<Field> const &fields);

    /// Calls `each` for the items of a list. A single word is a list of one.
    void list(YAML::Node const &node, std::string_view expected, Handler const &each);

    /// Reads a mapping whose keys are values. `readKey` turns a key into its value or nothing;
    /// two keys of the same value are an error even if they are written differently.
    template <class Key>
    void
    entries(YAML::Node const &node, std::string_view expected,
            std::function<std::optional<Key>(YAML::Node const &)> const &readKey,
            std::function<void(Key const &, YAML::Node const &key, YAML::Node const &value)> const
                &each) {
        std::map<Key, YAML::Node> seen;
        mapping(node, expected, [&](YAML::Node const &keyNode, YAML::Node const &value) {
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
    using EntryHandler = std::function<void(YAML::Node const &key, YAML::Node const &value)>;

    void mapping(YAML::Node const &node, std::string_view expected, EntryHandler const &each);
    void duplicate(YAML::Node const &key, YAML::Node const &earlier);

    ScenarioErrors &errors_;
    std::size_t event_ = 0;
};

} // namespace UmoAgent
