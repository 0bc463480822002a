#include "agent/scenario/ScenarioErrors.h"

#include <algorithm>
#include <tuple>

namespace UmoAgent {

void ScenarioErrors::add(Place place, std::string_view found, std::string_view expected) {
    add(place, std::string("found ").append(found).append(", expected ").append(expected));
}

std::vector<std::string> ScenarioErrors::lines() const {
    auto sorted = errors_;
    std::stable_sort(sorted.begin(), sorted.end(), [](auto const &a, auto const &b) {
        return std::tie(a.first.line, a.first.column) < std::tie(b.first.line, b.first.column);
    });
    std::vector<std::string> lines;
    for (auto const &[place, text] : sorted) {
        std::string line = file_;
        if (place.line > 0) {
            line.append(":").append(std::to_string(place.line));
            line.append(":").append(std::to_string(place.column));
        }
        lines.push_back(line.append(": ").append(text));
    }
    // What stands behind an alias is read wherever the alias stands.
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    return lines;
}

} // namespace UmoAgent
