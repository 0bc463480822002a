#include "Mox/Trace.h"
#include "agent/Options.h"
#include "agent/Player.h"
#include "agent/base/CommandLine.h"
#include "agent/base/Descriptor.h"
#include "agent/base/FileText.h"
#include "agent/base/OutputQueue.h"
#include "agent/base/Text.h"
#include "agent/base/TraceOutput.h"
#include "agent/scenario/Limits.h"
#include "agent/scenario/ScenarioReader.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>

/// umo-agent: plays a scenario of a switch with multicast NAT on a software switch chip, or
/// programs a bridge of Open vSwitch.
namespace {

using UmoAgent::ExitStatus;

constexpr char const *kFooter =
    "Examples:\n"
    "  umo-agent examples/stadium-video.yaml\n"
    "  umo-agent --show-calls --trace 'UmoNat*/1-3' examples/topology-changes.yaml\n"
    "  umo-agent --socket /tmp/umo.sock examples/live-switch.yaml   # then umo-cli\n"
    "  umo-agent --bridge br0 --socket /run/umo.sock feeds.yaml       # a real switch\n"
    "  umo-agent --pcap-in Ethernet1=feed.pcap --pcap-out out/ examples/market-data-feed.yaml\n"
    "\n"
    "Exit status:\n"
    "  0  the scenario was played, or the agent ended by a signal; the chip is empty\n"
    "  1  a call broke the chip's contract, groups were left in the chip, a capture is damaged\n"
    "     or cannot be written, standard output cannot be written or was not read, or the flows\n"
    "     could not be taken out of the bridge\n"
    "  2  bad command line, scenario unreadable or with errors, no such capture, no folder for\n"
    "     captures, no socket: nothing was played\n"
    "  134, in a shell: SIGABRT. The library stopped the process, and said why: \"psId\" if a\n"
    "     group of the chip has no room for a port set\n";

struct CommandLine {
    std::string file;
    std::string trace;
    bool check = false;
    UmoAgent::PlayOptions play;
    UmoAgent::LiveOptions live;
};

void declare(CLI::App &app, CommandLine &line) {
    app.footer(kFooter);
    app.set_version_flag("--version", "umo-agent " UMO_VERSION, "Print the version");
    app.add_option("FILE", line.file,
                   "The YAML file to play, - for standard input; with --bridge the feeds")
        ->required();
    app.add_flag("--check", line.check,
                 "Only validate the scenario: report its errors, and warn of actions that would\n"
                 "send nothing at its end");
    app.add_flag("--real-time", line.play.realTime,
                 "Play in real time instead of at once in virtual time");
    app.add_flag("--show-calls", line.play.showCalls, "Print each call of the switch chip");
    app.add_option("--socket", line.play.socket,
                   "Answer commands of umo-cli at this Unix socket, and keep running after the\n"
                   "scenario until SIGINT, SIGTERM or SIGHUP")
        ->type_name("PATH")
        ->check([](std::string const &path) { return path.empty() ? "a path is expected" : ""; });
    app.add_option("--metrics-file", line.play.metricsFile,
                   "Write metrics to this file every 10 s, in the text format of Prometheus, such\n"
                   "as for node_exporter's textfile collector")
        ->type_name("PATH")
        ->check([](std::string const &path) { return path.empty() ? "a path is expected" : ""; });
    UmoAgent::declareCaptures(app, line.play.captures);
    UmoAgent::declareLive(app, line.live);
    app.add_option(
           "--trace", line.trace,
           "Trace messages to print on standard error, such as\nUmoNat*/1-3,UmoNatFlowMatchSm/9")
        ->type_name("HANDLE/LEVELS")
        ->envname("UMO_TRACE");
}

/// Reads the file by `read`, which is given its name and text. Prints the errors if there are any.
template <class Read>
auto contentOf(std::string const &file, Read const &read) {
    using Content = std::variant_alternative_t<0, decltype(read(file, file))>;
    bool const standardInput = file == "-";
    std::string const name = standardInput ? "standard input" : file;
    auto text = standardInput ? UmoAgent::readText(STDIN_FILENO, UmoAgent::Limits::kBytes)
                              : UmoAgent::readFileText(file, UmoAgent::Limits::kBytes);
    if (auto const *const unreadable = std::get_if<UmoAgent::Unreadable>(&text)) {
        std::cerr << UmoAgent::printable(name) << ": cannot be read: " << unreadable->reason
                  << '\n';
        return std::optional<Content>();
    }
    auto content = read(name, std::get<std::string>(text));
    if (auto const *const faults = std::get_if<UmoAgent::ScenarioFaults>(&content)) {
        for (std::string const &fault : *faults) {
            std::cerr << UmoAgent::printable(fault) << '\n';
        }
        return std::optional<Content>();
    }
    return std::optional<Content>(std::move(std::get<Content>(content)));
}

/// Runs `agent` with the output streams and their buffers.
template <class Agent>
ExitStatus withOutputs(Agent const &agent) {
    UmoAgent::OutputQueue outQueue(STDOUT_FILENO), errorQueue(STDERR_FILENO);
    std::ostream out(&outQueue), errors(&errorQueue);
    UmoAgent::TraceOutput const traces(errors);
    ExitStatus const status =
        agent(std::vector<UmoAgent::OutputQueue *>{&outQueue, &errorQueue}, out, errors);
    if (std::string const loss = outQueue.loss(); !loss.empty()) {
        errors << "umo-agent: standard output: " << loss << '\n';
        errorQueue.finish();
        return ExitStatus::faulty;
    }
    return status;
}

ExitStatus play(CommandLine const &line) {
    auto scenario = contentOf(line.file, [](std::string const &name, std::string const &text) {
        return UmoAgent::readScenario(name, text);
    });
    if (!scenario) {
        return ExitStatus::refused;
    }
    return withOutputs([&](auto queues, std::ostream &out, std::ostream &errors) {
        if (line.check) { // what it would warn of
            Mox::traceLevelsIs("");
            std::ostream nowhere(nullptr);
            UmoAgent::play(std::move(*scenario), {}, nowhere, errors);
            return ExitStatus::good; // whatever became of it: it is valid
        }
        UmoAgent::PlayOptions options = line.play;
        options.queues = std::move(queues);
        return UmoAgent::play(std::move(*scenario), options, out, errors);
    });
}

ExitStatus follow(CommandLine const &line) {
    auto const feeds = contentOf(line.file, [](std::string const &name, std::string const &text) {
        return UmoAgent::readFeeds(name, text);
    });
    if (!feeds || line.check) {
        return feeds ? ExitStatus::good : ExitStatus::refused;
    }
    return withOutputs([&](auto queues, std::ostream &out, std::ostream &errors) {
        UmoAgent::LiveOptions options = line.live;
        options.showCalls = line.play.showCalls;
        options.socket = line.play.socket;
        options.metricsFile = line.play.metricsFile;
        options.file = line.file;
        options.queues = std::move(queues);
        return UmoAgent::follow(*feeds, options, out, errors);
    });
}

ExitStatus run(CommandLine const &line) {
    try {
        for (std::string const &piece : Mox::traceLevelsIs(line.trace)) {
            std::cerr << "umo-agent: --trace or UMO_TRACE: no handle for "
                      << UmoAgent::printable(piece) << '\n';
        }
    } catch (std::invalid_argument const &malformed) {
        std::cerr << "umo-agent: --trace or UMO_TRACE: " << UmoAgent::printable(malformed.what())
                  << '\n';
        return ExitStatus::refused;
    }
    return line.live.live.bridge.empty() ? play(line) : follow(line);
}

} // namespace

int main(int argc, char **argv) {
    UmoAgent::openStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away does not stop the switch
    CLI::App app(
        "Plays a scenario of a switch with multicast NAT: mounts its state, loads the NAT\n"
        "library on a software switch chip, and carries out its events.",
        "umo-agent");
    CommandLine line;
    declare(app, line);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const &error) {
        bool const asked = UmoAgent::explain(app, error);
        return static_cast<int>(asked ? ExitStatus::good : ExitStatus::refused);
    }
    return static_cast<int>(run(line));
}
