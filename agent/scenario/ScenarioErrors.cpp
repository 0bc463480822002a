#include "agent/scenario/ScenarioErrors.h"

#include "agent/scenario/Limits.h"

#include <functional>
#include <iterator>

namespace UmoAgent {

void ScenarioErrors::add(Place place, std::string text) {
    std::string const where = std::to_string(place.line) + ':' + std::to_string(place.column);
    if (!known_.insert(std::hash<std::string>()(where + ' ' + text)).second) {
        return;
    }
    errors_.emplace(place, std::move(text));
    if (errors_.size() > Limits::kMistakes) {
        errors_.erase(std::prev(errors_.end()));
    }
}

void ScenarioErrors::add(Place place, std::string_view found, std::string_view expected) {
    add(place, std::string("found ").append(found).append(", expected ").append(expected));
}

void ScenarioErrors::tooMuch(Place place, std::size_t most, std::string_view ofWhat) {
    add(place, std::string("more than ").append(std::to_string(most)).append(" ").append(ofWhat),
        "fewer");
    throw ReadingEnds{};
}

ScenarioFaults ScenarioErrors::lines() const {
    ScenarioFaults lines;
    for (auto const &[place, text] : errors_) {
        std::string line = file_;
        if (place.line > 0) {
            line.append(":").append(std::to_string(place.line));
            line.append(":").append(std::to_string(place.column));
        }
        lines.push_back(line.append(": ").append(text));
    }
    if (known_.size() > errors_.size()) {
        lines.push_back(file_ + ": " + std::to_string(known_.size()) +
                        " mistakes in all, of which these are the first");
    }
    return lines;
}

} // namespace UmoAgent
