#include "agent/cli/Diff.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace UmoAgent {

namespace {

using nlohmann::json;

/// The members that name a row, in the order in which they do.
constexpr std::array<std::string_view, 16> kNames{
    "policy", "match",    "action", "interface", "vlan",    "port",   "copies",  "source",
    "group",  "port-set", "table",  "traffic",   "command", "handle", "metrics", "name"};

/// The row's own names, each number with what it is; its place if it has none.
std::string nameOf(json const &row, std::size_t place) {
    if (row.is_string()) {
        return row.get<std::string>();
    }
    std::string name;
    for (std::string_view const member : kNames) {
        auto const found = row.is_object() ? row.find(member) : row.end();
        if (row.is_object() && found != row.end() && found->is_primitive()) {
            name += (name.empty() ? "" : " ") + (found->is_string()
                                                     ? found->get<std::string>()
                                                     : std::string(member) + ' ' + found->dump());
        }
    }
    return name.empty() ? std::to_string(place) : name;
}

/// The same value with mappings instead of lists. Rows of the same name are numbered; a text is
/// only a name.
json named(json const &value) {
    if (!value.is_structured()) {
        return value;
    }
    json result = json::object();
    for (auto const &[key, member] : value.items()) {
        bool const row = value.is_array();
        std::string const name = row ? nameOf(member, result.size()) : key;
        std::string unique = name;
        for (int copy = 2; result.contains(unique); ++copy) {
            unique = name + " #" + std::to_string(copy);
        }
        result[unique] = row && member.is_string() ? json() : named(member);
    }
    return result;
}

void compare(std::string const &path, json const &before, json const &now,
             std::vector<Difference> &found) {
    if (before == now) {
        return;
    }
    if (!before.is_object() || !now.is_object()) {
        found.push_back({path, before.dump(), now.dump()});
        return;
    }
    std::string const prefix = path.empty() ? "" : path + ", ";
    for (auto const &[key, value] : before.items()) {
        if (!now.contains(key)) {
            found.push_back({prefix + key, value.dump(), std::nullopt});
        } else {
            compare(prefix + key, value, now.at(key), found);
        }
    }
    for (auto const &[key, value] : now.items()) {
        if (!before.contains(key)) {
            found.push_back({prefix + key, std::nullopt, value.dump()});
        }
    }
}

json parsed(std::string const &text, char const *what) {
    constexpr int kDeepest = 100; // no answer is; each level takes stack
    bool deep = false;
    auto const value = json::parse(
        text,
        [&](int depth, json::parse_event_t /*event*/, json const & /*parsed*/) {
            deep = deep || depth > kDeepest;
            return !deep;
        },
        false);
    if (value.is_discarded() || deep) {
        throw std::invalid_argument(std::string(what) + " is not JSON of an answer");
    }
    return named(value);
}

} // namespace

std::vector<Difference> differences(std::string const &before, std::string const &now) {
    std::vector<Difference> found;
    compare("", parsed(before, "the saved answer"), parsed(now, "the agent's answer"), found);
    return found;
}

std::string textOf(std::vector<Difference> const &differences) {
    std::string lines;
    for (Difference const &difference : differences) {
        lines += difference.path;
        if (difference.before && difference.now) {
            lines += ": " + *difference.before + " -> " + *difference.now;
        } else {
            auto const &value = difference.now ? difference.now : difference.before;
            lines += difference.now ? ": new" : ": gone";
            if (value != "null") {
                lines += (difference.now ? ", " : ", was ") + *value;
            }
        }
        lines += '\n';
    }
    return lines;
}

std::string jsonOf(std::vector<Difference> const &differences) {
    auto list = nlohmann::ordered_json::array();
    for (Difference const &difference : differences) {
        auto &row = list.emplace_back(nlohmann::ordered_json{{"path", difference.path}});
        if (difference.before) {
            row["before"] = nlohmann::ordered_json::parse(*difference.before);
        }
        if (difference.now) {
            row["now"] = nlohmann::ordered_json::parse(*difference.now);
        }
    }
    return nlohmann::ordered_json{{"differences", list}}.dump() + '\n';
}

} // namespace UmoAgent
