#include "agent/scenario/ScenarioReader.h"

#include "agent/base/FileText.h"
#include "agent/scenario/Limits.h"
#include "agent/scenario/StateReader.h"

#include <new>
#include <set>
#include <string_view>
#include <utility>

namespace UmoAgent {

namespace {

constexpr std::uint32_t kMaxRefusals = 1'000'000;

/// Reads one document, keeping a draft of the switch from event to event.
class ScenarioDocument {
  public:
    ScenarioDocument(ScenarioErrors &errors, SwitchState const &mounted,
                     Scope scope = Scope::wholeSwitch, std::function<void()> breathe = nullptr)
        : errors_(errors), nodes_(errors, std::move(breathe)), draft_(mounted), scope_(scope) {}

    Scenario readScenario(YamlNode document);
    Changes readFeeds(YamlNode document);
    /// Times may be left out, and must not be after `now`.
    std::vector<Event> readEvents(YamlNode document, Vyr::Time now);

  private:
    std::vector<ScenarioNodes::Field> fields(Verb verb, std::set<std::string_view> const &ofFeeds);
    void eventList(YamlNode node);
    void event(YamlNode node);
    void time(YamlNode node);
    std::optional<Vyr::Time> timeFromNow(YamlNode node);

    ScenarioErrors &errors_;
    ScenarioNodes nodes_;
    Draft draft_;
    Scope scope_;
    ScenarioValues values_{nodes_, [this](Nexo::IntfId intf) {
                               return scope_ == Scope::policies || draft_.everDeclared(intf);
                           }};
    ChangeList changes_{draft_, nodes_};
    StateReader state_{nodes_, values_, changes_};

    Vyr::Time now_{};
    std::optional<Vyr::Time> atOnce_; // the time at which everything happens, if at once
    std::vector<Event> events_;
    std::size_t printouts_ = 0;
};

/// The keys of a state that the scope has; `ofFeeds` are those if it is a real switch's.
std::vector<ScenarioNodes::Field>
ScenarioDocument::fields(Verb verb, std::set<std::string_view> const &ofFeeds) {
    auto all = state_.fields(verb);
    if (scope_ == Scope::policies) {
        std::erase_if(all, [&](auto const &field) { return ofFeeds.count(field.name) == 0; });
    }
    return all;
}

Changes ScenarioDocument::readFeeds(YamlNode document) {
    nodes_.fields(document, "a mapping with policies",
                  fields(Verb::set, {"policies", "ip-interfaces", "tuning"}));
    Changes changes = state_.end();
    values_.checkUses();
    return changes;
}

Scenario ScenarioDocument::readScenario(YamlNode document) {
    Scenario scenario;
    auto fields = state_.fields(Verb::set);
    std::optional<YamlNode> events, end;
    fields.push_back({"events", [&](YamlNode value) { events = value; }});
    fields.push_back({"end", [&](YamlNode value) { end = value; }});
    nodes_.fields(document, "a scenario: a mapping with a state and events", fields);
    scenario.initial = state_.end();
    if (events) {
        eventList(*events);
    }
    if (end) {
        scenario.end = timeFromNow(*end);
    }
    values_.checkUses();
    scenario.events = std::move(events_);
    return scenario;
}

std::vector<Event> ScenarioDocument::readEvents(YamlNode document, Vyr::Time now) {
    atOnce_ = now;
    nodes_.fields(document, "a mapping with events",
                  {{"events", [&](YamlNode value) { eventList(value); }}});
    values_.checkUses();
    draft_.letGo(nodes_.breathe());
    return std::move(events_);
}

void ScenarioDocument::eventList(YamlNode node) {
    nodes_.list(node, "a list of events", [&](YamlNode item) {
        if (events_.size() == Limits::kEvents) {
            errors_.tooMuch(item.place(), Limits::kEvents, "events");
        }
        event(item);
    });
}

void ScenarioDocument::event(YamlNode node) {
    std::optional<YamlNode> remove, set;
    bool timed = false;
    Event event;
    auto const at = [&](YamlNode value) {
        timed = true;
        time(value);
    };
    auto const print = [&](YamlNode value) {
        nodes_.list(value, "a list of tree, table, chip, groups or packets", [&](YamlNode item) {
            if (auto const printout = values_.printout(item)) {
                event.print.push_back(*printout);
            }
        });
    };
    auto const refuse = [&](YamlNode value) {
        keep(values_.number<std::uint32_t>(value, 0, kMaxRefusals, "a number of groups"),
             event.refuseGroups);
    };
    nodes_.fields(node, "an event: a mapping with at, and remove, set, note or print",
                  {{"at", at},
                   {"remove", [&](YamlNode value) { remove = value; }},
                   {"set", [&](YamlNode value) { set = value; }},
                   {"refuse-groups", refuse},
                   {"note", [&](YamlNode value) { keep(values_.note(value), event.note); }},
                   {"print", print}});
    printouts_ += event.print.size();
    if (atOnce_ && printouts_ > Limits::kPrintouts) {
        errors_.tooMuch(node.place(), Limits::kPrintouts, "printouts in one answer");
    }
    changes_.count(sizeof event + event.note.size(), node);
    if (node.isMap() && !atOnce_ && !timed) {
        errors_.add(node.place(), "an event without at", "the time at which it happens");
    }
    event.at = now_;
    if (remove) {
        nodes_.fields(*remove, "a mapping that mirrors a state",
                      fields(Verb::remove, {"policies"}));
    }
    if (set) {
        nodes_.fields(*set, "a mapping with a state", fields(Verb::set, {"policies"}));
    }
    event.changes = state_.end();
    event.changes.shrink_to_fit();
    events_.push_back(std::move(event));
}

void ScenarioDocument::time(YamlNode node) {
    auto const time = timeFromNow(node);
    if (time && atOnce_ && *time > *atOnce_) {
        nodes_.unexpected(node, "a time that has come: what is applied happens at once");
    }
    now_ = time.value_or(now_);
}

std::optional<Vyr::Time> ScenarioDocument::timeFromNow(YamlNode node) {
    auto const time = values_.time(node);
    if (time && *time < now_) {
        nodes_.unexpected(node, "a time that is not before that of the last event");
        return std::nullopt;
    }
    return time;
}

/// The result of `read`, or the errors that it found.
template <class Read>
auto readOrFaults(ScenarioErrors &errors, Read const &read)
    -> std::variant<decltype(read()), ScenarioFaults> {
    try {
        auto result = read();
        if (errors.empty()) {
            return result;
        }
    } catch (ReadingEnds const &) {
        // The errors are recorded.
    } catch (std::bad_alloc const &) {
        errors.add(Place{}, "cannot be read: there is not enough memory");
    }
    return errors.lines();
}

} // namespace

std::variant<Scenario, ScenarioFaults> readScenario(std::string const &file,
                                                    std::string const &text) {
    ScenarioErrors errors(file);
    return readOrFaults(errors, [&] {
        SwitchState const nothing;
        auto const document = readDocument(text, errors);
        return document ? ScenarioDocument(errors, nothing).readScenario(YamlNode(*document))
                        : Scenario{};
    });
}

std::variant<Scenario, ScenarioFaults> readScenarioFile(std::string const &file) {
    auto const text = readFileText(file, Limits::kBytes);
    if (auto const *const unreadable = std::get_if<Unreadable>(&text)) {
        return ScenarioFaults{file + ": cannot be read: " + unreadable->reason};
    }
    return readScenario(file, std::get<std::string>(text));
}

std::variant<Changes, ScenarioFaults> readFeeds(Document const &document, ScenarioErrors &errors) {
    return readOrFaults(errors, [&] {
        SwitchState const nothing;
        return ScenarioDocument(errors, nothing, Scope::policies).readFeeds(YamlNode(document));
    });
}

std::variant<Changes, ScenarioFaults> readFeeds(std::string const &file, std::string const &text) {
    ScenarioErrors errors(file);
    if (auto const document = readDocument(text, errors)) {
        return readFeeds(*document, errors);
    }
    return errors.lines();
}

std::variant<std::vector<Event>, ScenarioFaults>
readEvents(Document const &document, ScenarioErrors &errors, EventsToFollow const &follow) {
    return readOrFaults(errors, [&] {
        auto events = ScenarioDocument(errors, follow.mounted, follow.scope, follow.breathe)
                          .readEvents(YamlNode(document), follow.now);
        if (follow.breathe) {
            follow.breathe(); // freeing much memory took time
        }
        return events;
    });
}

std::variant<std::vector<Event>, ScenarioFaults>
readEvents(std::string const &file, std::string const &text, EventsToFollow const &follow) {
    ScenarioErrors errors(file);
    if (auto const document = readDocument(text, errors)) {
        return readEvents(*document, errors, follow);
    }
    return errors.lines();
}

} // namespace UmoAgent
