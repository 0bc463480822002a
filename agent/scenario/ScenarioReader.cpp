#include "agent/scenario/ScenarioReader.h"

#include "agent/scenario/ScenarioChecks.h"
#include "agent/scenario/StateReader.h"
#include "agent/scenario/StateRemover.h"
#include "agent/scenario/YamlNode.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

constexpr std::uint32_t kMaxRefusals = 1'000'000;

/// Reads one document, carrying the state along from event to event.
class ScenarioDocument {
  public:
    explicit ScenarioDocument(ScenarioErrors &errors) : errors_(errors) {}

    Scenario readScenario(YamlNode const &document);
    std::vector<Event> readEvents(YamlNode const &document, SwitchModel before);

  private:
    void eventList(YamlNode const &node);
    void stateEnds();
    void event(YamlNode const &node);
    void change(YamlNode const *remove, YamlNode const *set, Event &event);
    std::optional<Vyr::Time> timeFromNow(YamlNode const &node);

    ScenarioErrors &errors_;
    ScenarioNodes nodes_{errors_};
    ScenarioValues values_{nodes_};
    ActionVersions versions_;
    StateReader setter_{nodes_, values_, versions_};
    StateRemover remover_{nodes_, values_, versions_};

    SwitchModel state_;
    Vyr::Time now_{};
    bool timesNeeded_ = true;
    std::vector<Event> events_;
};

Scenario ScenarioDocument::readScenario(YamlNode const &document) {
    Scenario scenario;
    auto fields = setter_.fields(state_);
    YamlNode const *events = nullptr;
    YamlNode const *end = nullptr;
    fields.push_back({"events", [&](YamlNode const &value) { events = &value; }});
    fields.push_back({"end", [&](YamlNode const &value) { end = &value; }});
    nodes_.fields(document, "a scenario: a mapping with a state and events", fields);
    stateEnds();
    scenario.initial = state_;
    if (events != nullptr) {
        eventList(*events);
    }
    if (end != nullptr) {
        scenario.end = timeFromNow(*end);
    }
    values_.checkUses(state_.declared);
    scenario.events = std::move(events_);
    return scenario;
}

std::vector<Event> ScenarioDocument::readEvents(YamlNode const &document, SwitchModel before) {
    state_ = std::move(before);
    timesNeeded_ = false;
    nodes_.fields(document, "a mapping with events",
                  {{"events", [&](YamlNode const &value) { eventList(value); }}});
    values_.checkUses(state_.declared);
    return std::move(events_);
}

void ScenarioDocument::eventList(YamlNode const &node) {
    nodes_.list(node, "a list of events", [&](YamlNode const &item) { event(item); });
}

void ScenarioDocument::stateEnds() {
    versions_.raiseIn(state_);
    checkNextHops(state_, state_.event, errors_);
}

void ScenarioDocument::event(YamlNode const &node) {
    nodes_.eventIs(++state_.event);
    YamlNode const *remove = nullptr;
    YamlNode const *set = nullptr;
    bool timed = false;
    Event event;
    auto const at = [&](YamlNode const &value) {
        timed = true;
        now_ = timeFromNow(value).value_or(now_);
    };
    auto const print = [&](YamlNode const &value) {
        nodes_.list(value, "a list of tree, table, chip or groups", [&](YamlNode const &item) {
            if (auto const printout = values_.printout(item)) {
                event.print.push_back(*printout);
            }
        });
    };
    auto const refuse = [&](YamlNode const &value) {
        keep(values_.number<std::uint32_t>(value, 0, kMaxRefusals, "a number of groups"),
             event.refuseGroups);
    };
    nodes_.fields(node, "an event: a mapping with at, and remove, set, note or print",
                  {{"at", at},
                   {"remove", [&](YamlNode const &value) { remove = &value; }},
                   {"set", [&](YamlNode const &value) { set = &value; }},
                   {"refuse-groups", refuse},
                   {"note", [&](YamlNode const &value) { keep(values_.note(value), event.note); }},
                   {"print", print}});
    if (node.isMap() && timesNeeded_ && !timed) {
        errors_.add(nodes_.place(node), "an event without at", "the time at which it happens");
    }
    event.at = now_;
    change(remove, set, event);
    events_.push_back(std::move(event));
}

void ScenarioDocument::change(YamlNode const *remove, YamlNode const *set, Event &event) {
    if (remove != nullptr) {
        remover_.remove(*remove, state_);
    }
    if (set != nullptr) {
        nodes_.fields(*set, "a mapping with a state", setter_.fields(state_));
    }
    stateEnds();
    if (remove != nullptr || set != nullptr) {
        event.state = state_;
    }
}

std::optional<Vyr::Time> ScenarioDocument::timeFromNow(YamlNode const &node) {
    auto const time = values_.time(node);
    if (time && *time < now_) {
        nodes_.unexpected(node, "a time that is not before that of the last event");
        return std::nullopt;
    }
    return time;
}

/// The result of reading one document as `read` does, or what was wrong.
template <class Result>
std::variant<Result, ScenarioFaults>
readText(std::string const &file, std::string const &text,
         std::function<Result(ScenarioDocument &reader, YamlNode const &document)> const &read) {
    ScenarioErrors errors(file);
    ScenarioDocument reader(errors);
    std::optional<Result> result;
    if (auto const document = readDocument(text, errors)) {
        result = read(reader, *document);
    }
    if (!errors.empty()) {
        return errors.lines();
    }
    return std::move(*result);
}

ScenarioFaults unreadable(std::string const &file, std::string const &reason) {
    return {file + ": cannot be read: " + reason};
}

/// The text of a file, or what is wrong with it.
std::variant<std::string, ScenarioFaults> textOf(std::string const &file) {
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        return unreadable(file, "it is a directory");
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return unreadable(file, std::generic_category().message(errno));
    }
    try {
        std::string text(std::istreambuf_iterator<char>(in), {});
        if (in.bad()) {
            return unreadable(file, "reading fails half-way");
        }
        return text;
    } catch (std::bad_alloc const &) {
        return unreadable(file, "it is too large");
    }
}

} // namespace

std::variant<Scenario, ScenarioFaults> readScenario(std::string const &file,
                                                    std::string const &text) {
    return readText<Scenario>(file, text, [](ScenarioDocument &reader, YamlNode const &document) {
        return reader.readScenario(document);
    });
}

std::variant<Scenario, ScenarioFaults> readScenarioFile(std::string const &file) {
    auto const text = textOf(file);
    if (auto const *faults = std::get_if<ScenarioFaults>(&text)) {
        return *faults;
    }
    return readScenario(file, std::get<std::string>(text));
}

std::variant<std::vector<Event>, ScenarioFaults>
readEvents(std::string const &file, std::string const &text, SwitchModel before) {
    return readText<std::vector<Event>>(file, text,
                                        [&](ScenarioDocument &reader, YamlNode const &document) {
                                            return reader.readEvents(document, std::move(before));
                                        });
}

std::variant<std::vector<Event>, ScenarioFaults> readEventsFile(std::string const &file,
                                                                SwitchModel before) {
    std::error_code error;
    if (std::filesystem::exists(file, error) &&
        !(std::filesystem::is_regular_file(file, error) &&
          std::filesystem::file_size(file, error) <= kMaxEventsBytes)) {
        return unreadable(file, "expected a regular file of at most " +
                                    std::to_string(kMaxEventsBytes) + " bytes");
    }
    auto const text = textOf(file);
    if (auto const *faults = std::get_if<ScenarioFaults>(&text)) {
        return *faults;
    }
    return readEvents(file, std::get<std::string>(text), std::move(before));
}

} // namespace UmoAgent
