#include "agent/console/ApplyCommand.h"

#include "agent/base/BoundedText.h"
#include "agent/console/TextCommand.h"
#include "agent/explain/Silence.h"
#include "agent/scenario/Limits.h"
#include "agent/show/CarryOut.h"

#include <ostream>
#include <set>
#include <utility>

namespace UmoAgent {

namespace {

[[noreturn]] void refuse(ScenarioFaults const &faults) {
    std::string lines;
    for (std::string const &fault : faults) {
        lines += fault + '\n';
    }
    throw CommandError(lines + "nothing was applied");
}

} // namespace

ApplyCommand::ApplyCommand(ForwardingAgent &agent, EventLoop &loop, Scope scope)
    : agent_(agent), loop_(loop), reading_(loop), scope_(scope) {}

void ApplyCommand::apply(std::string const &file, Done done) {
    if (file.empty() || !hindrance_.empty()) {
        done(markedError(kName, hindrance_.empty() ? "expected a file with events" : hindrance_));
        return;
    }
    reading_.read(file, [this, file, done = std::move(done)](auto read) {
        BoundedText answer(Limits::kAnswerBytes);
        std::ostream out(&answer);
        try {
            carryOutEvents(std::move(read), file, out);
        } catch (CommandError const &error) {
            done(markedError(kName, error.what()));
            return;
        }
        done(answer.text());
    });
}

void ApplyCommand::carryOutEvents(std::variant<Document, ScenarioFaults> read,
                                  std::string const &file, std::ostream &out) {
    auto const events = eventsOf(std::move(read), file);
    std::set<Table::Action::Key> actions;
    for (Event const &event : events) {
        carryOut(agent_, event, out);
        for (AnyChange const &change : event.changes) {
            if (auto const *const action = std::get_if<Change<Table::Action>>(&change)) {
                actions.insert(action->key);
            }
        }
    }
    out << "applied " << events.size() << (events.size() == 1 ? " event\n" : " events\n");
    warnOfSilence(out, agent_, actions);
}

/// The document is freed before the events are carried out.
std::vector<Event> ApplyCommand::eventsOf(std::variant<Document, ScenarioFaults> read,
                                          std::string const &file) {
    if (auto const *const faults = std::get_if<ScenarioFaults>(&read)) {
        refuse(*faults);
    }
    ScenarioErrors errors(file);
    auto events = readEvents(std::get<Document>(read), errors,
                             {agent_.state(), loop_.now(), [this] { loop_.breathe(); }, scope_});
    if (auto const *const faults = std::get_if<ScenarioFaults>(&events)) {
        refuse(*faults);
    }
    return std::get<std::vector<Event>>(std::move(events));
}

} // namespace UmoAgent
