#include "agent/ScenarioNodes.h"

#include "agent/PrintText.h"

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

Place ScenarioNodes::place(YAML::Node const &node) const {
    YAML::Mark const mark = node.Mark();
    return Place{mark.line + 1, mark.column + 1, event_};
}

std::string ScenarioNodes::described(YAML::Node const &node) {
    switch (node.Type()) {
    case YAML::NodeType::Scalar:
        return inQuotes(node.Scalar());
    case YAML::NodeType::Sequence:
        return "a list";
    case YAML::NodeType::Map:
        return "a mapping";
    case YAML::NodeType::Null:
    case YAML::NodeType::Undefined:
        break;
    }
    return "nothing";
}

void ScenarioNodes::unexpected(YAML::Node const &node, std::string_view expected) {
    errors_.add(place(node), described(node), expected);
}

std::optional<std::string> ScenarioNodes::text(YAML::Node const &node, std::string_view expected) {
    if (!node.IsScalar()) {
        unexpected(node, expected);
        return std::nullopt;
    }
    return node.Scalar();
}

void ScenarioNodes::fields(YAML::Node const &node, std::string_view expected,
                           std::vector<Field> const &fields) {
    std::map<std::string_view, YAML::Node> present;
    auto const readKey = [&](YAML::Node const &key) -> std::optional<std::string> {
        bool const known = std::any_of(fields.begin(), fields.end(), [&](Field const &field) {
            return key.IsScalar() && field.name == key.Scalar();
        });
        if (!known) {
            unexpected(key, "one of " + namesOf(fields));
            return std::nullopt;
        }
        return key.Scalar();
    };
    entries<std::string>(node, expected, readKey,
                         [&](std::string const &, YAML::Node const &key, YAML::Node const &value) {
                             present.emplace(key.Scalar(), value);
                         });
    for (Field const &field : fields) {
        if (auto const at = present.find(field.name); at != present.end()) {
            field.read(at->second);
        }
    }
}

void ScenarioNodes::list(YAML::Node const &node, std::string_view expected, Handler const &each) {
    if (node.IsScalar()) {
        each(node);
    } else if (node.IsSequence()) {
        for (YAML::Node const &item : node) {
            each(item);
        }
    } else {
        unexpected(node, expected);
    }
}

/// A key without a value is reported at the key: the parser places the missing value on a later
/// line.
void ScenarioNodes::mapping(YAML::Node const &node, std::string_view expected,
                            EntryHandler const &each) {
    if (!node.IsMap()) {
        unexpected(node, expected);
        return;
    }
    for (auto const &entry : node) {
        if (entry.second.IsNull()) {
            errors_.add(place(entry.first), "nothing after " + described(entry.first),
                        "a value; {} or [] if it is empty");
        } else {
            each(entry.first, entry.second);
        }
    }
}

void ScenarioNodes::duplicate(YAML::Node const &key, YAML::Node const &earlier) {
    errors_.add(place(key), described(key) + " a second time",
                "it once; it is also in line " + std::to_string(place(earlier).line));
}

} // namespace UmoAgent
