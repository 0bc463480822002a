#include "agent/openflow/SwitchText.h"

#include "agent/base/Find.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace UmoAgent {

namespace {

/// Calls `each` with the pieces between separators.
template <class Each>
void split(std::string_view text, std::string_view separator, Each const &each) {
    for (;;) {
        std::size_t const end = text.find(separator);
        each(text.substr(0, end));
        if (end == std::string_view::npos) {
            return;
        }
        text.remove_prefix(end + separator.size());
    }
}

std::string_view trimmed(std::string_view text) {
    std::size_t const begin = std::min(text.find_first_not_of(" \t\r"), text.size());
    return text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

/// What comes after `name`, if the text begins with it.
std::optional<std::string_view> after(std::string_view name, std::string_view text) {
    return text.starts_with(name) ? std::optional(text.substr(name.size())) : std::nullopt;
}

std::optional<std::uint32_t> number(std::string_view text) {
    std::uint32_t value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value)
                                                                    : std::nullopt;
}

/// `group_id=1,type=all,bucket=bucket_id:1,actions=A,bucket=bucket_id:2,actions=B`
void readGroup(std::string_view line, GroupRange range, OpenFlowTables &tables) {
    auto const rest = after("group_id=", line);
    auto const id = rest ? number(rest->substr(0, rest->find(','))) : std::nullopt;
    if (!id || !range.contains(*id)) {
        return;
    }
    auto &buckets = tables.groups[*id];
    bool known = false;
    split(line, ",bucket=", [&](std::string_view piece) {
        if (!known) { // the group itself
            known = piece.ends_with(",type=all");
            return;
        }
        std::size_t const actions = piece.find(",actions=");
        bool const plain = piece.starts_with("bucket_id:") && actions != std::string_view::npos &&
                           number(piece.substr(10, actions - 10)) == buckets.size() + 1;
        buckets.emplace_back(plain ? piece.substr(actions + 9) : piece);
    });
    if (!known) {
        buckets.assign(1, std::string(line));
    }
}

/// ` cookie=0x1, table=200, priority=10,reg14=0x1 actions=A`; no table is table 0.
void readFlow(std::string_view line, OpenFlowTables &tables) {
    std::size_t const actions = line.find(" actions=");
    if (actions == std::string_view::npos || !trimmed(line).starts_with("cookie=")) {
        return;
    }
    std::uint32_t table = 0, priority = 32'768;
    std::vector<std::string> fields;
    split(line.substr(0, actions), ",", [&](std::string_view piece) {
        std::string_view const field = trimmed(piece);
        if (auto const named = after("table=", field)) {
            table = number(*named).value_or(table);
        } else if (auto const ranked = after("priority=", field)) {
            priority = number(*ranked).value_or(priority);
        } else if (!field.empty() && !field.starts_with("cookie=")) {
            fields.emplace_back(field);
        }
    });
    tables.flows[flowMatch(static_cast<FlowTable>(table), priority, std::move(fields))] =
        trimmed(line.substr(actions + 9));
}

template <class Map, class Keys>
void addDifferences(Map const &one, Map const &other, Keys &keys) {
    for (auto const &[key, value] : one) {
        auto const *const there = findIn(other, key);
        if (there == nullptr || *there != value) {
            keys.insert(key);
        }
    }
    for (auto const &[key, value] : other) {
        if (one.count(key) == 0) {
            keys.insert(key);
        }
    }
}

/// Whether the two have different values, or one has none.
template <class Value>
bool differ(Value const *one, Value const *other) {
    return one == nullptr || other == nullptr ? one != other : *one != *other;
}

} // namespace

OpenFlowTables readTables(std::string_view groups, std::string_view flows, GroupRange range) {
    OpenFlowTables tables;
    split(groups, "\n", [&](std::string_view line) { readGroup(trimmed(line), range, tables); });
    split(flows, "\n", [&](std::string_view line) { readFlow(line, tables); });
    return tables;
}

OpenFlowRenderer::Touched differences(OpenFlowTables const &one, OpenFlowTables const &other) {
    OpenFlowRenderer::Touched keys;
    addDifferences(one.groups, other.groups, keys.groups);
    addDifferences(one.flows, other.flows, keys.flows);
    return keys;
}

Bundle bundleFor(OpenFlowTables const &there, OpenFlowTables const &wanted,
                 OpenFlowRenderer::Touched const &touched) {
    Bundle bundle;
    std::string deletedGroups, deletedFlows;
    std::string const cookie = std::string(",cookie=") + kFlowCookie;
    for (std::uint32_t const id : touched.groups) {
        auto const *const want = findIn(wanted.groups, id);
        if (!differ(want, findIn(there.groups, id))) {
            continue;
        }
        ++bundle.groups;
        if (want == nullptr) {
            deletedGroups += "group delete group_id=" + std::to_string(id) + '\n';
            continue;
        }
        bundle.text += "group add_or_mod group_id=" + std::to_string(id) + ",type=all";
        std::size_t number = 0;
        for (std::string const &actions : *want) {
            bundle.text += ",bucket=bucket_id:" + std::to_string(++number) + ",actions=" + actions;
        }
        bundle.text += '\n';
    }
    for (std::string const &match : touched.flows) {
        auto const *const want = findIn(wanted.flows, match);
        if (!differ(want, findIn(there.flows, match))) {
            continue;
        }
        ++bundle.flows;
        if (want == nullptr) {
            deletedFlows.append("flow delete_strict ").append(match).append(cookie).append("/-1\n");
        } else {
            bundle.text.append("flow add ").append(match).append(cookie);
            bundle.text.append(",actions=").append(*want).append("\n");
        }
    }
    bundle.text += deletedFlows + deletedGroups;
    return bundle;
}

void carryOver(OpenFlowTables &there, OpenFlowTables const &wanted,
               OpenFlowRenderer::Touched const &touched) {
    auto const carry = [](auto &to, auto const &from, auto const &keys) {
        for (auto const &key : keys) {
            if (auto const *const value = findIn(from, key)) {
                to[key] = *value;
            } else {
                to.erase(key);
            }
        }
    };
    carry(there.groups, wanted.groups, touched.groups);
    carry(there.flows, wanted.flows, touched.flows);
}

} // namespace UmoAgent
