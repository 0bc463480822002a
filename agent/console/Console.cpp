#include "agent/console/Console.h"

#include "Mox/Trace.h"
#include "Skimtrace/Skimtrace.h"
#include "UmoNat/UmoNatFlowMcastSmCli.h"
#include "agent/base/Descriptor.h"
#include "agent/base/Text.h"
#include "agent/console/TextCommand.h"
#include "agent/scenario/ScenarioReader.h"
#include "agent/show/CarryOut.h"
#include "agent/show/Printers.h"

#include <algorithm>
#include <charconv>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

namespace UmoAgent {

namespace {

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
    Skimtrace::dump(out, count);
}

/// `off` switches everything off; without a setting the levels stay.
void trace(std::ostream &out, std::string const &setting) {
    try {
        if (!setting.empty()) {
            for (std::string const &piece : Mox::traceLevelsIs(setting == "off" ? "" : setting)) {
                out << "no handle for " << piece << '\n';
            }
        }
    } catch (std::invalid_argument const &malformed) {
        throw CommandError(malformed.what());
    }
    printTraceLevels(out);
}

std::string lines(std::vector<std::string> const &texts) {
    std::string joined;
    for (std::string const &text : texts) {
        joined += text + '\n';
    }
    return joined;
}

} // namespace

Console::Console(ForwardingAgent &agent) : agent_(agent) {
    addShowCommands();
    addActingCommands();
}

void Console::addShowCommands() {
    auto const add = [this](char const *name, char const *help, TextCommand::Function function) {
        commands_.commandIs(Mox::make<TextCommand>(name, help, std::move(function)));
    };
    commands_.commandIs(umoNatFlowMcastSmCliCallbackFactory(
        "showNatFlowActionHw",
        "[POLICY]: the programmed actions, a line for each VLAN and interface",
        agent_.state().hwStatus()));
    add("showNatFlowGroup", "the matches, with the groups that they want and hold",
        plain([this](std::ostream &out) {
            printGroups(out, agent_.root(), *agent_.state().hwStatus());
        }));
    add("showRecircVlan", "the VLAN by which copies recirculate",
        plain([this](std::ostream &out) { printRecircVlan(out, agent_.root()); }));
    add("showBacklog", "the actions that wait to be evaluated again",
        plain([this](std::ostream &out) { printBacklog(out, agent_.root()); }));
    add("showChip", "the tables of the switch chip, and what is in them",
        plain([this](std::ostream &out) {
            printChipTables(out, agent_.chip());
            printChip(out, agent_.chip());
        }));
    add("showCounters", "how often each handler and each operation of the chip was called",
        plain([this](std::ostream &out) { printCounters(out, agent_.chip()); }));
    add("showLogEvents", "the catalogue of log events", plain(printLogEvents));
    add("showSkimtrace", "[N]: the last N handler entries, or all that are kept", showSkimtrace);
}

void Console::addActingCommands() {
    auto const add = [this](char const *name, char const *help, TextCommand::Function function) {
        commands_.commandIs(Mox::make<TextCommand>(name, help, std::move(function)));
    };
    add("apply", "FILE.yaml: carries out the events of a file at once, all of them or none",
        [this](std::ostream &out, std::string const &file) { apply(out, file); });
    add("trace", "HANDLE/LEVELS: sets what the agent traces; off: nothing; alone: shows it", trace);
    add("help", "lists the commands", plain([this](std::ostream &out) { printHelp(out); }));
}

void Console::answer(std::uint32_t socket, std::string const &line) const {
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
    printHelp(out);
    writeAll(static_cast<int>(socket), out.str());
}

void Console::apply(std::ostream &out, std::string const &file) {
    if (file.empty()) {
        throw CommandError("expected a file with events");
    }
    if (playing_) {
        throw CommandError("the scenario is still being played; apply when it has ended");
    }
    auto const read = readEvents(file, "TODO", {agent_.state(), agent_.loop().now()});
    if (auto const *faults = std::get_if<ScenarioFaults>(&read)) {
        throw CommandError(lines(*faults) + "nothing was applied");
    }
    auto const &events = std::get<std::vector<Event>>(read);
    for (Event const &event : events) {
        carryOut(agent_, event, out);
    }
    out << "applied " << events.size() << (events.size() == 1 ? " event\n" : " events\n");
}

void Console::printHelp(std::ostream &out) const {
    constexpr int kNameWidth = 20;
    out << "commands:\n";
    for (auto const &[name, command] : commands_.commands()) {
        out << "  " << std::left << std::setw(kNameWidth) << name << ' ' << command->help() << '\n';
    }
}

} // namespace UmoAgent
