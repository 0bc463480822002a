#include "agent/scenario/ScenarioNodes.h"

#include "agent/base/Text.h"

#include <algorithm>

namespace UmoAgent {

namespace {

/// Items between two calls of `breathe`, about a millisecond.
constexpr std::size_t kItemsInABreath = 1000;

std::string namesOf(std::vector<ScenarioNodes::Field> const &fields) {
    std::string names;
    for (auto const &field : fields) {
        names.append(names.empty() ? "" : ", ").append(field.name);
    }
    return names;
}

} // namespace

std::string ScenarioNodes::described(YamlNode node) {
    switch (node.kind()) {
    case Document::Kind::scalar:
        return inQuotes(node.text());
    case Document::Kind::sequence:
        return "a list";
    case Document::Kind::map:
        return "a mapping";
    case Document::Kind::null:
        break;
    }
    return "nothing";
}

void ScenarioNodes::unexpected(YamlNode node, std::string_view expected) {
    errors_.add(node.place(), described(node), expected);
}

std::optional<std::string_view> ScenarioNodes::text(YamlNode node, std::string_view expected) {
    if (!node.isScalar()) {
        unexpected(node, expected);
        return std::nullopt;
    }
    return node.text();
}

void ScenarioNodes::fields(YamlNode node, std::string_view expected,
                           std::vector<Field> const &fields) {
    struct Entry {
        YamlNode key;
        YamlNode value;
    };
    std::vector<std::optional<Entry>> present(fields.size());
    mapping(node, expected, [&](YamlNode key, YamlNode value) {
        auto const known = std::find_if(fields.begin(), fields.end(), [&](Field const &field) {
            return key.isScalar(field.name);
        });
        if (known == fields.end()) {
            unexpected(key, "one of " + namesOf(fields));
            return;
        }
        auto &entry = present[static_cast<std::size_t>(known - fields.begin())];
        if (entry) {
            duplicate(key, entry->key);
        } else {
            entry = Entry{key, value};
        }
    });
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (present[i]) {
            fields[i].read(present[i]->value);
        }
    }
}

void ScenarioNodes::list(YamlNode node, std::string_view expected, Handler const &each) {
    if (node.isScalar()) {
        each(node);
        return;
    }
    if (!node.isSequence()) {
        unexpected(node, expected);
        return;
    }
    if (node.size() == 0) {
        return;
    }
    YamlNode item = node.first();
    for (std::size_t left = node.size(); left > 0; --left) {
        countItem();
        each(item);
        if (left > 1) {
            item = item.next();
        }
    }
}

/// A key without a value is reported at the key: the parser places the missing value on a later
/// line.
void ScenarioNodes::mapping(YamlNode node, std::string_view expected, EntryHandler const &each) {
    if (!node.isMap()) {
        unexpected(node, expected);
        return;
    }
    if (node.size() == 0) {
        return;
    }
    YamlNode key = node.first();
    for (std::size_t left = node.size() / 2; left > 0; --left) {
        countItem();
        YamlNode const value = key.next();
        if (value.kind() == Document::Kind::null) {
            errors_.add(key.place(), "nothing after " + described(key),
                        "a value; {} or [] if it is empty");
        } else {
            each(key, value);
        }
        if (left > 1) {
            key = value.next();
        }
    }
}

void ScenarioNodes::duplicate(YamlNode key, YamlNode earlier) {
    errors_.add(key.place(), described(key) + " a second time",
                "it once; it is also in line " + std::to_string(earlier.place().line));
}

void ScenarioNodes::work(std::size_t items) {
    items_ += items;
    if (items_ >= kItemsInABreath && breathe_) {
        items_ = 0;
        breathe_();
    }
}

} // namespace UmoAgent
