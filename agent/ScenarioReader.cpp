#include "agent/ScenarioReader.h"

#include "agent/ScenarioChecks.h"
#include "agent/StateReader.h"
#include "agent/StateRemover.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>

namespace UmoAgent {

using YAML::Node;

namespace {

/// Reads one document, carrying the state along from event to event.
class ScenarioDocument {
  public:
    explicit ScenarioDocument(ScenarioErrors &errors) : errors_(errors) {}

    Scenario read(Node const &document);

  private:
    void stateEnds();
    void event(Node const &node);
    void change(std::optional<Node> const &remove, std::optional<Node> const &set, Event &event);
    std::optional<Vyr::Time> timeFromNow(Node const &node);

    ScenarioErrors &errors_;
    ScenarioNodes nodes_{errors_};
    ScenarioValues values_{nodes_};
    ActionVersions versions_;
    StateReader setter_{nodes_, values_, versions_};
    StateRemover remover_{nodes_, values_, versions_};

    SwitchModel state_;
    Vyr::Time now_{};
    std::size_t eventNumber_ = 0; // 0: the initial state
    std::vector<Event> events_;
};

Scenario ScenarioDocument::read(Node const &document) {
    Scenario scenario;
    auto fields = setter_.fields(state_);
    std::optional<Node> events;
    std::optional<Node> end;
    fields.push_back({"events", [&](Node const &value) { events.emplace(value); }});
    fields.push_back({"end", [&](Node const &value) { end.emplace(value); }});
    nodes_.fields(document, "a scenario: a mapping with a state and events", fields);
    stateEnds();
    scenario.initial = state_;
    if (events) {
        nodes_.list(*events, "a list of events", [&](Node const &item) { event(item); });
    }
    if (end) {
        scenario.end = timeFromNow(*end);
    }
    values_.checkDeclarations();
    scenario.events = std::move(events_);
    return scenario;
}

void ScenarioDocument::stateEnds() {
    versions_.raiseIn(state_);
    checkNextHops(state_, eventNumber_, errors_);
}

void ScenarioDocument::event(Node const &node) {
    nodes_.eventIs(++eventNumber_);
    std::optional<Node> remove;
    std::optional<Node> set;
    bool timed = false;
    Event event;
    auto const at = [&](Node const &value) {
        timed = true;
        now_ = timeFromNow(value).value_or(now_);
    };
    auto const print = [&](Node const &value) {
        nodes_.list(value, "a list of tree, table, chip or groups", [&](Node const &item) {
            if (auto const printout = values_.printout(item)) {
                event.print.push_back(*printout);
            }
        });
    };
    nodes_.fields(node, "an event: a mapping with at, and remove, set, note or print",
                  {{"at", at},
                   {"remove", [&](Node const &value) { remove.emplace(value); }},
                   {"set", [&](Node const &value) { set.emplace(value); }},
                   {"note", [&](Node const &value) { keep(values_.note(value), event.note); }},
                   {"print", print}});
    if (node.IsMap() && !timed) {
        errors_.add(nodes_.place(node), "an event without at", "the time at which it happens");
    }
    event.at = now_;
    change(remove, set, event);
    events_.push_back(std::move(event));
}

void ScenarioDocument::change(std::optional<Node> const &remove, std::optional<Node> const &set,
                              Event &event) {
    if (remove) {
        remover_.remove(*remove, state_);
    }
    if (set) {
        nodes_.fields(*set, "a mapping with a state", setter_.fields(state_));
    }
    stateEnds();
    if (remove || set) {
        event.state = state_;
    }
}

std::optional<Vyr::Time> ScenarioDocument::timeFromNow(Node const &node) {
    auto const time = values_.time(node);
    if (time && *time < now_) {
        nodes_.unexpected(node, "a time that is not before that of the last event");
        return std::nullopt;
    }
    return time;
}

std::optional<Scenario> readDocument(std::string const &text, ScenarioErrors &errors) {
    std::vector<Node> documents;
    try {
        documents = YAML::LoadAll(text);
    } catch (YAML::Exception const &malformed) {
        YAML::Mark const mark = malformed.mark;
        Place const place = mark.is_null() ? Place{1, 1} : Place{mark.line + 1, mark.column + 1};
        errors.add(place, "malformed YAML: " + malformed.msg);
        return std::nullopt;
    }
    if (documents.empty()) {
        errors.add(Place{1, 1}, "an empty file", "a scenario");
        return std::nullopt;
    }
    if (documents.size() > 1) {
        YAML::Mark const mark = documents[1].Mark();
        errors.add(Place{mark.line + 1, mark.column + 1}, "a second document",
                   "one scenario in a file");
    }
    return ScenarioDocument(errors).read(documents.front());
}

ScenarioFaults unreadable(std::string const &file, std::string const &reason) {
    return {file + ": cannot be read: " + reason};
}

} // namespace

std::variant<Scenario, ScenarioFaults> readScenario(std::string const &file,
                                                    std::string const &text) {
    ScenarioErrors errors(file);
    auto scenario = readDocument(text, errors);
    if (!errors.empty()) {
        return errors.lines();
    }
    return std::move(*scenario);
}

std::variant<Scenario, ScenarioFaults> readScenarioFile(std::string const &file) {
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        return unreadable(file, "it is a directory");
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return unreadable(file, std::generic_category().message(errno));
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) {
        return unreadable(file, "reading fails half-way");
    }
    return readScenario(file, text.str());
}

} // namespace UmoAgent
