#include "agent/scenario/ScenarioNodes.h"

#include "agent/base/Text.h"

#include <algorithm>

namespace UmoAgent {

namespace {

std::string namesOf(std::vector<ScenarioNodes::Field> const &fields) {
    std::string names;
    for (auto const &field : fields) {
        names.append(names.empty() ? "" : ", ").append(field.name);
    }
    return names;
}

} // namespace

Place ScenarioNodes::place(YamlNode const &node) const {
    return Place{node.line, node.column, event_};
}

std::string ScenarioNodes::described(YamlNode const &node) {
    switch (node.kind) {
    case YamlNode::Kind::scalar:
        return inQuotes(node.text);
    case YamlNode::Kind::sequence:
        return "a list";
    case YamlNode::Kind::map:
        return "a mapping";
    case YamlNode::Kind::null:
        break;
    }
    return "nothing";
}

void ScenarioNodes::unexpected(YamlNode const &node, std::string_view expected) {
    errors_.add(place(node), described(node), expected);
}

std::optional<std::string> ScenarioNodes::text(YamlNode const &node, std::string_view expected) {
    if (!node.isScalar()) {
        unexpected(node, expected);
        return std::nullopt;
    }
    return node.text;
}

void ScenarioNodes::fields(YamlNode const &node, std::string_view expected,
                           std::vector<Field> const &fields) {
    std::map<std::string_view, YamlNode const *> present;
    auto const readKey = [&](YamlNode const &key) -> std::optional<std::string> {
        bool const known = std::any_of(fields.begin(), fields.end(), [&](Field const &field) {
            return key.isScalar() && field.name == key.text;
        });
        if (!known) {
            unexpected(key, "one of " + namesOf(fields));
            return std::nullopt;
        }
        return key.text;
    };
    entries<std::string>(node, expected, readKey,
                         [&](std::string const &, YamlNode const &key, YamlNode const &value) {
                             present.emplace(key.text, &value);
                         });
    for (Field const &field : fields) {
        if (auto const at = present.find(field.name); at != present.end()) {
            field.read(*at->second);
        }
    }
}

void ScenarioNodes::list(YamlNode const &node, std::string_view expected, Handler const &each) {
    if (node.isScalar()) {
        each(node);
    } else if (node.isSequence()) {
        for (auto const &item : node.items) {
            each(*item);
        }
    } else {
        unexpected(node, expected);
    }
}

/// A key without a value is reported at the key: the parser places the missing value on a later
/// line.
void ScenarioNodes::mapping(YamlNode const &node, std::string_view expected,
                            EntryHandler const &each) {
    if (!node.isMap()) {
        unexpected(node, expected);
        return;
    }
    for (std::size_t i = 0; i < node.items.size(); i += 2) {
        YamlNode const &key = *node.items[i];
        YamlNode const &value = *node.items[i + 1];
        if (value.kind == YamlNode::Kind::null) {
            errors_.add(place(key), "nothing after " + described(key),
                        "a value; {} or [] if it is empty");
        } else {
            each(key, value);
        }
    }
}

void ScenarioNodes::duplicate(YamlNode const &key, YamlNode const &earlier) {
    errors_.add(place(key), described(key) + " a second time",
                "it once; it is also in line " + std::to_string(place(earlier).line));
}

} // namespace UmoAgent
