#include "Mox/Trace.h"
#include "agent/Player.h"
#include "agent/base/Descriptor.h"
#include "agent/scenario/ScenarioReader.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <iostream>
#include <stdexcept>
#include <string>
#include <variant>

/// umo-agent: plays a scenario of a switch with multicast NAT on a software switch chip.
namespace {

using UmoAgent::ExitStatus;

constexpr char const *kFooter =
    "Examples:\n"
    "  umo-agent examples/stadium-video.yaml\n"
    "  umo-agent --show-calls --trace 'UmoNat*/1-3' examples/topology-changes.yaml\n"
    "  umo-agent --socket /tmp/umo.sock examples/live-switch.yaml   # then umo-cli\n"
    "\n"
    "Exit status:\n"
    "  0  the scenario was played, or the agent ended by a signal; the chip is empty\n"
    "  1  a call broke the chip's contract, groups were left in the chip, or standard output\n"
    "     cannot be written\n"
    "  2  bad command line, scenario unreadable or with errors, no socket: nothing was played\n";

struct CommandLine {
    std::string scenario;
    std::string trace;
    UmoAgent::PlayOptions play;
};

void declare(CLI::App &app, CommandLine &line) {
    app.footer(kFooter);
    app.add_option("SCENARIO", line.scenario, "The YAML file to play")->required();
    app.add_flag("--real-time", line.play.realTime,
                 "Play on the wall clock instead of at once in virtual time");
    app.add_flag("--show-calls", line.play.showCalls, "Print each call of the switch chip");
    app.add_option("--socket", line.play.socket,
                   "Answer commands of umo-cli at this Unix socket, and go on after the scenario\n"
                   "until SIGINT, SIGTERM or SIGHUP")
        ->type_name("PATH")
        ->check([](std::string const &path) { return path.empty() ? "a path is expected" : ""; });
    app.add_option(
           "--trace", line.trace,
           "Trace messages to print on standard error, such as\nUmoNat*/1-3,UmoNatFlowMatchSm/9")
        ->type_name("HANDLE/LEVELS")
        ->envname("UMO_TRACE");
}

ExitStatus run(CommandLine const &line) {
    try {
        for (std::string const &piece : Mox::traceLevelsIs(line.trace)) {
            std::cerr << "umo-agent: --trace or UMO_TRACE: no handle for " << piece << '\n';
        }
    } catch (std::invalid_argument const &malformed) {
        std::cerr << "umo-agent: --trace or UMO_TRACE: " << malformed.what() << '\n';
        return ExitStatus::refused;
    }
    auto const read = UmoAgent::readScenarioFile(line.scenario);
    if (auto const *faults = std::get_if<UmoAgent::ScenarioFaults>(&read)) {
        for (std::string const &fault : *faults) {
            std::cerr << fault << '\n';
        }
        return ExitStatus::refused;
    }
    return UmoAgent::play(std::get<UmoAgent::Scenario>(read), line.play, std::cout, std::cerr);
}

} // namespace

int main(int argc, char **argv) {
    UmoAgent::openStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // who stops reading the printouts does not stop the switch
    CLI::App app(
        "Plays a scenario of a switch with multicast NAT: mounts its state, loads the NAT\n"
        "library on a software switch chip, and carries out its events.",
        "umo-agent");
    CommandLine line;
    declare(app, line);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const &error) {
        bool const asked = app.exit(error) == 0; // prints the help, or what is wrong
        return static_cast<int>(asked ? ExitStatus::good : ExitStatus::refused);
    }
    ExitStatus const status = run(line);
    if (!std::cout.flush()) {
        std::cerr << "umo-agent: cannot write to standard output\n";
        return static_cast<int>(ExitStatus::faulty);
    }
    return static_cast<int>(status);
}
