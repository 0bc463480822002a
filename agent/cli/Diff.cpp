#include "agent/cli/Diff.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
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
    json result = json::object();
    if (value.is_array()) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            std::string const name = nameOf(value[i], i);
            std::string unique = name;
            for (int copy = 2; result.contains(unique); ++copy) {
                unique = name + " #" + std::to_string(copy);
            }
            result[unique] = value[i].is_string() ? json() : named(value[i]);
        }
    } else if (value.is_object()) {
        for (auto const &[key, member] : value.items()) {
            result[key] = named(member);
        }
    } else {
        return value;
    }
    return result;
}

void compare(std::string const &path, json const &before, json const &now,
             std::vector<std::string> &lines) {
    if (before == now) {
        return;
    }
    if (!before.is_object() || !now.is_object()) {
        lines.push_back(path + ": " + before.dump() + " -> " + now.dump());
        return;
    }
    std::string const prefix = path.empty() ? "" : path + ", ";
    auto const valueOf = [](char const *separator, json const &value) {
        return value.is_null() ? "" : separator + value.dump();
    };
    for (auto const &[key, value] : before.items()) {
        if (!now.contains(key)) {
            lines.push_back(prefix + key + ": gone" + valueOf(", was ", value));
        } else {
            compare(prefix + key, value, now.at(key), lines);
        }
    }
    for (auto const &[key, value] : now.items()) {
        if (!before.contains(key)) {
            lines.push_back(prefix + key + ": new" + valueOf(", ", value));
        }
    }
}

json parsed(std::string const &text, char const *what) {
    auto value = json::parse(text, nullptr, false);
    if (value.is_discarded()) {
        throw std::invalid_argument(std::string(what) + " is not JSON");
    }
    return named(value);
}

} // namespace

std::vector<std::string> differences(std::string const &before, std::string const &now) {
    std::vector<std::string> lines;
    compare("", parsed(before, "the saved answer"), parsed(now, "the agent's answer"), lines);
    return lines;
}

} // namespace UmoAgent
