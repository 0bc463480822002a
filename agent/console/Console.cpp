#include "agent/console/Console.h"

#include "Base/Assert.h"
#include "Mox/Trace.h"
#include "Skimtrace/Skimtrace.h"
#include "agent/base/Descriptor.h"
#include "agent/base/Text.h"
#include "agent/console/CommandTable.h"
#include "agent/show/Printers.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

constexpr char const *kAudit = "audit";

/// A command without arguments.
TextCommand::Function plain(std::function<void(std::ostream &out)> print) {
    return [print = std::move(print)](std::ostream &out, std::string const &arguments) {
        if (!arguments.empty()) {
            throw CommandError("found " + inQuotes(arguments) + ", expected no arguments");
        }
        print(out);
    };
}

void showSkimtrace(std::ostream &out, std::string const &arguments) {
    std::size_t count = Skimtrace::kCapacity;
    if (!arguments.empty()) {
        char const *const end = arguments.data() + arguments.size();
        auto const [stop, error] = std::from_chars(arguments.data(), end, count);
        if (error != std::errc() || stop != end) {
            throw CommandError("found " + inQuotes(arguments) + ", expected a number of entries");
        }
    }
    printSkimtrace(out, count);
}

/// `off` switches everything off; without an argument the levels stay.
void trace(std::ostream &out, std::string const &setting) {
    try {
        if (!setting.empty()) {
            for (std::string const &piece : Mox::traceLevelsIs(setting == "off" ? "" : setting)) {
                out << "no handle for " << printable(piece) << '\n';
            }
        }
    } catch (std::invalid_argument const &malformed) {
        throw CommandError(malformed.what());
    }
    printTraceLevels(out);
}

} // namespace

Console::Console(ForwardingAgent &agent, EventLoop &loop, Scope scope)
    : agent_(agent), apply_(agent, loop, scope) {
    addShowCommands();
    addActingCommands();
    Base::assertThat(commands_.commands().size() + 2 == kCommands.size(),
                     "each command is answered");
}

void Console::add(char const *name, TextCommand::Function function) {
    commands_.commandIs(Mox::make<TextCommand>(name, helpOf(name), std::move(function)));
}

void Console::addShowCommands() {
    add("showNatFlowActionHw", [this](std::ostream &out, std::string const &arguments) {
        printTable(out, agent_.state().hwStatus(), arguments);
    });
    add("showNatFlowGroup", plain([this](std::ostream &out) {
            printGroups(out, agent_.root(), *agent_.state().hwStatus());
        }));
    add("showRecircVlan",
        plain([this](std::ostream &out) { printRecircVlan(out, agent_.root()); }));
    add("showBacklog", plain([this](std::ostream &out) { printBacklog(out, agent_.root()); }));
    add("showChip", plain([this](std::ostream &out) {
            printChipTables(out, agent_.chip());
            printChip(out, agent_.chip());
            printTraffic(out, agent_);
        }));
    add("packets", plain([this](std::ostream &out) {
            if (programmer_ != nullptr) {
                throw CommandError("packets go through the switch, which counts them; see "
                                   "ovs-ofctl dump-group-stats");
            }
            printPackets(out, agent_);
        }));
    add("showCounters", plain([this](std::ostream &out) {
            printCounters(out, agent_.chip());
            if (programmer_ != nullptr) {
                printSwitchCounters(out, *programmer_);
            }
        }));
    add("showLogEvents", plain(printLogEvents));
    add("showSkimtrace", showSkimtrace);
}

void Console::addActingCommands() {
    add("trace", trace);
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
    auto const later = [this, socket, done, written](std::string const &answer) {
        done(written([&] { writeAll(static_cast<int>(socket), answer + trouble()); }));
    };
    std::string const name = Agent::AgentCommands::nameOf(line);
    bool const strange = std::any_of(line.begin(), line.end(), isControl);
    if (name == ApplyCommand::kName && !strange) {
        apply_.apply(argumentsOf(line), later);
    } else if (name == kAudit && !strange) {
        audit(argumentsOf(line), later);
    } else {
        done(written([&] {
            answerNow(socket, line);
            writeAll(static_cast<int>(socket), trouble());
        }));
    }
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
    std::string const reason = programmer_ == nullptr ? "" : programmer_->trouble();
    return reason.empty() ? "" : "note: " + printable(reason) + '\n';
}

void Console::answerNow(std::uint32_t socket, std::string const &line) const {
    if (std::any_of(line.begin(), line.end(), isControl)) {
        writeAll(static_cast<int>(socket),
                 std::string(kErrorMark) + "a control character in " + inQuotes(line) + '\n');
        return;
    }
    if (commands_.handleCommand(socket, line)) {
        return;
    }
    std::string const name = Agent::AgentCommands::nameOf(line);
    std::ostringstream out;
    out << kErrorMark << (name.empty() ? "no command" : "unknown command " + inQuotes(name))
        << '\n';
    printCommands(out);
    writeAll(static_cast<int>(socket), out.str());
}

} // namespace UmoAgent
