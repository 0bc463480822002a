#include "agent/console/ApplyCommand.h"

#include "agent/base/BoundedText.h"
#include "agent/base/Text.h"
#include "agent/console/TextCommand.h"
#include "agent/explain/Silence.h"
#include "agent/scenario/Limits.h"
#include "agent/show/CarryOut.h"

#include <cstddef>
#include <ostream>
#include <set>
#include <system_error>
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

void carryOutAll(ForwardingAgent &agent, std::vector<Event> const &events, std::ostream &out) {
    for (Event const &event : events) {
        carryOut(agent, event, out);
    }
}

/// Warns of actions that the events set and that send nothing.
void warnOf(std::vector<Event> const &events, ForwardingAgent const &agent, std::ostream &out) {
    std::set<Table::Action::Key> actions;
    for (Event const &event : events) {
        for (AnyChange const &change : event.changes) {
            if (auto const *const action = std::get_if<Change<Table::Action>>(&change)) {
                actions.insert(action->key);
            }
        }
    }
    warnOfSilence(out, agent, actions);
}

} // namespace

ApplyCommand::ApplyCommand(ForwardingAgent &agent, EventLoop &loop, Scope scope)
    : agent_(agent), loop_(loop), reading_(loop), dryRun_(loop), scope_(scope) {}

void ApplyCommand::apply(std::string const &arguments, Done done) {
    std::string const dryRun = std::string(kDryRun) + ' ';
    bool const dry = arguments == kDryRun || arguments.rfind(dryRun, 0) == 0;
    std::string const file = dry ? argumentsOf(arguments) : arguments;
    if (file.empty() || !hindrance_.empty()) {
        done(markedError(kName, hindrance_.empty() ? "expected a file with events" : hindrance_));
        return;
    }
    reading_.read(file, [this, file, dry, done = std::move(done)](auto read) {
        try {
            auto const events = eventsOf(std::move(read), file);
            if (dry) {
                rehearse(events, done);
                return;
            }
            BoundedText answer(Limits::kAnswerBytes);
            std::ostream out(&answer);
            carryOutAll(agent_, events, out);
            out << "applied " << counted(events.size(), "event", "events") << '\n';
            warnOf(events, agent_, out);
            done(answer.text());
        } catch (CommandError const &error) {
            done(markedError(kName, error.what()));
        }
    });
}

/// The copy first does what is queued already, so that only what follows from the file is told, and
/// then what the file leaves to be done later, without waiting for either.
void ApplyCommand::rehearse(std::vector<Event> const &events, Done const &done) {
    if (dryRun_.running()) {
        throw CommandError("another dry run is in progress");
    }
    auto const work = [&](std::ostream &out) {
        loop_.rehearse();
        BoundedText text(Limits::kAnswerBytes);
        std::ostream told(&text);
        std::size_t calls = 0;
        agent_.callLogIs([&](std::string const &line) {
            told << stamp(loop_.now()) << ' ' << line << '\n';
            ++calls;
        });
        carryOutAll(agent_, events, told);
        loop_.rehearse();
        out << text.text() << "nothing was changed: these would be "
            << counted(calls, "call", "calls") << " of the chip\n";
        warnOf(events, agent_, out);
    };
    try {
        dryRun_.start(work, [done](std::string const &text, std::string const &error) {
            done(error.empty() ? text : markedError(kName, error));
        });
    } catch (std::system_error const &error) {
        throw CommandError(error.what());
    }
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
