#include "agent/console/Console.h"

#include "Base/Assert.h"
#include "Mox/Trace.h"
#include "Skimtrace/Skimtrace.h"
#include "agent/base/Descriptor.h"
#include "agent/base/Numbers.h"
#include "agent/base/Text.h"
#include "agent/console/CommandTable.h"
#include "agent/explain/Explanation.h"
#include "agent/explain/ExplanationText.h"
#include "agent/explain/Picture.h"
#include "agent/show/Printers.h"
#include "agent/show/Record.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace UmoAgent {

namespace {

constexpr char const *kAudit = "audit";
constexpr char const *kEvents = "events";

/// A command without arguments.
TextCommand::Function plain(std::function<void(Reply const &reply)> print) {
    return [print = std::move(print)](Reply const &reply, std::string const &arguments) {
        if (!arguments.empty()) {
            throw CommandError("found " + inQuotes(arguments) + ", expected no arguments");
        }
        print(reply);
    };
}

/// Reads `POLICY [MATCH [ACTION]]`.
Subject subjectOf(std::string const &arguments) {
    std::istringstream words(arguments);
    Subject subject;
    std::string more;
    words >> subject.policy >> subject.match >> subject.action >> more;
    if (subject.policy.empty() || !more.empty()) {
        throw CommandError(more.empty() ? "the name of a policy is expected"
                                        : "found " + inQuotes(more) +
                                              " after the names of policy, match and action");
    }
    return subject;
}

/// Reads `NAME VALUE`, and tunes the agent.
void setTuning(ForwardingAgent &agent, std::string const &arguments) {
    std::istringstream words(arguments);
    std::string name, value, more;
    words >> name >> value >> more;
    auto tuning = *agent.state().find<Table::Tuning>({});
    auto const number = wholeNumber(value);
    auto const time = readTime(value);
    bool const isLimit = name == "backlog-limit";
    if (!more.empty() || (!isLimit && name != "backlog-interval" && name != "retry-delay")) {
        throw CommandError("found " + inQuotes(arguments) +
                           ", expected backlog-limit, backlog-interval or retry-delay and a value");
    }
    if (isLimit ? !number || *number > Table::Tuning::kLargestLimit : !time) {
        throw CommandError("found " + inQuotes(value) + ", expected " +
                           (isLimit
                                ? "a number of actions up to " +
                                      std::to_string(Table::Tuning::kLargestLimit) + ", 0 for all"
                                : "a time such as 100ms"));
    }
    if (isLimit) {
        tuning.backlogLimit = static_cast<std::uint32_t>(*number);
    } else {
        (name == "retry-delay" ? tuning.retryDelay : tuning.backlogInterval) = *time;
    }
    static_cast<void>(agent.apply({Change<Table::Tuning>{{}, tuning}})); // never refused
}

void showSkimtrace(Reply const &reply, std::string const &arguments) {
    std::size_t count = Skimtrace::kCapacity;
    if (!arguments.empty()) {
        char const *const end = arguments.data() + arguments.size();
        auto const [stop, error] = std::from_chars(arguments.data(), end, count);
        if (error != std::errc() || stop != end) {
            throw CommandError("found " + inQuotes(arguments) + ", expected a number of entries");
        }
    }
    printSkimtrace(reply, count);
}

/// `off` switches everything off; without an argument the levels stay.
void trace(Reply const &reply, std::string const &setting) {
    try {
        printTraceLevels(reply, setting.empty()
                                    ? std::vector<std::string>()
                                    : Mox::traceLevelsIs(setting == "off" ? "" : setting));
    } catch (std::invalid_argument const &malformed) {
        throw CommandError(malformed.what());
    }
}

} // namespace

Console::Console(ForwardingAgent &agent, EventLoop &loop, Scope scope)
    : agent_(agent), loop_(loop), apply_(agent, loop, scope), chronicle_(agent, loop) {
    addShowCommands();
    addActingCommands();
    Base::assertThat(commands_.commands().size() + 2 == kCommands.size(),
                     "each command is answered");
}

void Console::listenAt(std::string path) {
    server_.emplace(loop_, std::move(path),
                    [this](std::uint32_t socket, std::string const &line,
                           CommandServer::Done const &done) { answer(socket, line, done); });
    server_->handoverIs([this](std::string const &line, Descriptor &socket) {
        auto const [words, json] = withoutJsonWord(line);
        return Agent::AgentCommands::nameOf(words) == kEvents && argumentsOf(words).empty() &&
               chronicle_.follow(socket, json);
    });
}

void Console::add(char const *name, TextCommand::Function function, char const *comment) {
    commands_.commandIs(Mox::make<TextCommand>(
        name, helpOf(name), std::move(function), [this] { return trouble(); }, comment));
}

void Console::addShowCommands() {
    add("showNatFlowActionHw", [this](Reply const &reply, std::string const &arguments) {
        printTable(reply, agent_.state().hwStatus(), arguments);
    });
    add("showNatFlowGroup", [this](Reply const &reply, std::string const &policy) {
        if (!policy.empty() && agent_.root().policySm().find(policy) == nullptr) {
            throw CommandError("there is no policy " + inQuotes(policy));
        }
        printGroups(reply, agent_.root(), *agent_.state().hwStatus(), policy);
    });
    auto const explained = [this](void (*print)(std::ostream & out, Json const &explanation)) {
        return [this, print](Reply const &reply, std::string const &arguments) {
            try {
                reply.give(explanationOf(agent_, subjectOf(arguments)), print);
            } catch (std::invalid_argument const &unknown) {
                throw CommandError(unknown.what());
            }
        };
    };
    add("explain", explained(printExplanation));
    add("picture", explained(printPicture), "# ");
    add("showRecircVlan",
        plain([this](Reply const &reply) { printRecircVlan(reply, agent_.root()); }));
    add("showBacklog", plain([this](Reply const &reply) { printBacklog(reply, agent_.root()); }));
    add("showChip", plain([this](Reply const &reply) { printChip(reply, agent_, true); }));
    add("packets", plain([this](Reply const &reply) {
            if (programmer_ != nullptr) {
                throw CommandError("packets go through the switch, which counts them; see "
                                   "ovs-ofctl dump-group-stats");
            }
            printPackets(reply, agent_);
        }));
    add("showCounters",
        plain([this](Reply const &reply) { printCounters(reply, agent_.helper(), programmer_); }));
    add("metrics", plain([this](Reply const &reply) { printMetrics(reply, agent_, programmer_); }),
        "# ");
    add("showLogEvents", plain(printLogEvents));
    add("showSkimtrace", showSkimtrace);
}

void Console::addActingCommands() {
    add("trace", trace);
    add("set", [this](Reply const &reply, std::string const &arguments) {
        if (!arguments.empty()) {
            setTuning(agent_, arguments);
        }
        printTuning(reply, *agent_.state().find<Table::Tuning>({}));
    });
    add(kEvents, [](Reply const & /*reply*/, std::string const &arguments) {
        throw CommandError(arguments.empty()
                               ? "too many follow the events already"
                               : "found " + inQuotes(arguments) + ", expected no arguments");
    });
    add("help", plain(printCommands));
}

void Console::answer(std::uint32_t socket, std::string const &line, Done const &done) {
    auto const written = [](auto const &write) {
        try {
            write();
            return true;
        } catch (std::system_error const &) {
            return false; // no room for the answer
        }
    };
    auto const [plainLine, json] = withoutJsonWord(line);
    auto const later = [this, socket, done, written, json = json](std::string const &answer) {
        done(written([&] { writeAll(static_cast<int>(socket), answerOf(answer, json)); }));
    };
    std::string const name = Agent::AgentCommands::nameOf(plainLine);
    bool const strange = std::any_of(line.begin(), line.end(), isControl);
    if (name == ApplyCommand::kName && !strange) {
        apply_.apply(argumentsOf(plainLine), later);
    } else if (name == kAudit && !strange) {
        audit(argumentsOf(plainLine), later);
    } else {
        std::string const &words = plainLine;
        bool const inJson = json;
        done(written([&] { answerNow(socket, words, inJson); }));
    }
}

/// An answer in lines, in the form that was asked for. A refusal is the same in both.
std::string Console::answerOf(std::string const &text, bool json) const {
    std::string const note = trouble();
    if (!json || text.rfind(kErrorMark, 0) == 0) {
        return text + noteLine(note);
    }
    std::istringstream in(text);
    Json lines = Json::array();
    for (std::string line; std::getline(in, line);) {
        lines.push_back(printable(line));
    }
    std::ostringstream out;
    Reply{out, true, printable(note)}.give(record({{"lines", std::move(lines)}}), nullptr);
    return out.str();
}

/// Compares the switch with what it should have. Its answer comes when it has been mended.
void Console::audit(std::string const &arguments,
                    std::function<void(std::string const &answer)> done) {
    if (!arguments.empty() || programmer_ == nullptr) {
        done(markedError(kAudit, arguments.empty()
                                     ? "the agent plays a scenario, on no switch"
                                     : "found " + inQuotes(arguments) + ", expected no arguments"));
        return;
    }
    programmer_->audit([done = std::move(done)](SwitchProgrammer::AuditAnswer const &answer) {
        std::string text;
        for (std::string const &line : answer.lines) {
            text += line + '\n';
        }
        done(answer.done ? text : markedError(kAudit, text));
    });
}

/// What a reader of any answer must know: the switch does not have what it says.
std::string Console::trouble() const {
    return programmer_ == nullptr ? "" : programmer_->trouble();
}

void Console::answerNow(std::uint32_t socket, std::string const &line, bool json) const {
    if (std::any_of(line.begin(), line.end(), isControl)) {
        writeAll(static_cast<int>(socket), std::string(kErrorMark) + "a control character in " +
                                               inQuotes(line) + '\n' + noteLine(trouble()));
        return;
    }
    if (commands_.handleCommand(socket, json ? line + ' ' + kJsonWord : line)) {
        return;
    }
    std::string const name = Agent::AgentCommands::nameOf(line);
    std::ostringstream out;
    out << kErrorMark << (name.empty() ? "no command" : "unknown command " + inQuotes(name))
        << '\n';
    printCommands({out});
    writeAll(static_cast<int>(socket), out.str() + noteLine(trouble()));
}

} // namespace UmoAgent
