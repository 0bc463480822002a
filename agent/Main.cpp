#include "Mox/Trace.h"
#include "agent/Player.h"
#include "agent/ScenarioReader.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <stdexcept>
#include <string>
#include <variant>

/// umo-agent: plays a scenario of a switch with multicast NAT on a software switch chip.
namespace {

using UmoAgent::ExitStatus;

constexpr char const *kFooter =
    "Exit status:\n"
    "  0  the scenario was played and the chip is empty at its end\n"
    "  1  a call broke the chip's contract, or groups were left in the chip\n"
    "  2  bad command line, or the scenario cannot be read or has errors: nothing was played\n";

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
    app.add_option("--trace", line.trace,
                   "Trace messages to print on standard error, such as UmoNat*/1-3,Vyr/9")
        ->type_name("HANDLE/LEVELS")
        ->envname("UMO_TRACE");
}

ExitStatus run(CommandLine const &line) {
    try {
        Mox::traceLevelsIs(line.trace);
    } catch (std::invalid_argument const &malformed) {
        std::cerr << "umo-agent: --trace or UMO_TRACE: " << malformed.what() << '\n';
        return ExitStatus::badScenario;
    }
    auto const read = UmoAgent::readScenarioFile(line.scenario);
    if (auto const *faults = std::get_if<UmoAgent::ScenarioFaults>(&read)) {
        for (std::string const &fault : *faults) {
            std::cerr << fault << '\n';
        }
        return ExitStatus::badScenario;
    }
    return UmoAgent::play(std::get<UmoAgent::Scenario>(read), line.play, std::cout, std::cerr);
}

} // namespace

int main(int argc, char **argv) {
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
        return static_cast<int>(asked ? ExitStatus::good : ExitStatus::badScenario);
    }
    ExitStatus const status = run(line);
    if (!std::cout.flush()) {
        std::cerr << "umo-agent: cannot write to standard output\n";
        return static_cast<int>(ExitStatus::faulty);
    }
    return static_cast<int>(status);
}
