#include "sim/Soak.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <fstream>
#include <iostream>
#include <map>
#include <regex>
#include <string>

#include <sys/wait.h>

/// umo-soak: runs simulated switches through long random streams of events, each determined by its
/// seed, and checks invariants after every event.
namespace {

constexpr char const *kFooter = "Exit status:\n"
                                "  0  no fault was found\n"
                                "  1  a fault was found; the scenario file that shows it is named\n"
                                "  2  bad command line\n";

struct CommandLine {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    Sim::Task each{.events = 1000}; // except its seed
    std::size_t jobs = 1;
    bool shrink = false;
};

struct Totals {
    std::uint64_t seeds, events, calls, packets, hash, faults;
};

/// `7`, or `1..200`.
bool readSeeds(std::string const &text, CommandLine &line) {
    static std::regex const seeds(R"((\d{1,18})(\.\.(\d{1,18}))?)");
    std::smatch parts;
    if (!std::regex_match(text, parts, seeds)) {
        return false;
    }
    line.first = std::stoull(parts[1]);
    line.last = parts[3].matched ? std::stoull(parts[3]) : line.first;
    return line.first <= line.last;
}

void report(std::uint64_t seed, CommandLine const &line, Sim::Result const &result) {
    std::cout << "seed " << seed << ", event " << result.script.events.size() << ": "
              << result.fault << std::endl;
    bool const shrink = line.shrink && !result.rejected;
    Sim::Script const script = shrink ? Sim::shrunk(result.script) : result.script;
    std::string const fault = shrink ? Sim::simulate({.script = &script}).fault : result.fault;
    std::string const file = "umo-soak-" + std::to_string(seed) + ".yaml";
    if (!(std::ofstream(file) << Sim::scenario(script, fault)).flush()) {
        std::cerr << "umo-soak: cannot write " << file << '\n';
    }
    std::cout << "  " << script.events.size() << " events that show it: umo-agent --show-calls "
              << file << std::endl;
}

/// Simulates seeds, several at a time, until all are done or one fails.
Totals soak(CommandLine const &line) {
    Totals totals{};
    std::map<pid_t, std::pair<std::uint64_t, Sim::Child>> running;
    Sim::Task task = line.each;
    task.seed = line.first;
    for (;;) {
        bool const more = task.seed <= line.last && totals.faults == 0;
        if (more && running.size() < line.jobs) {
            Sim::Child const child = Sim::start(task);
            running.emplace(child.process, std::pair(task.seed++, child));
            continue;
        }
        if (running.empty()) {
            return totals;
        }
        int status = 0;
        auto const ended = running.find(wait(&status));
        auto const [seed, child] = ended->second;
        running.erase(ended);
        Sim::Result const result = Sim::resultOf(child, status);
        totals.seeds += 1;
        totals.events += result.script.events.size();
        totals.calls += result.calls;
        totals.packets += result.packets;
        totals.hash += result.hash * (2 * seed + 1); // independent of the order in which they end
        if (!result.fault.empty()) {
            totals.faults += 1;
            report(seed, line, result);
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    CLI::App app("Simulates switches with multicast NAT from seeds, and checks them.", "umo-soak");
    CommandLine line;
    std::string seeds = "1..20";
    app.footer(kFooter);
    app.add_option("--seeds", seeds, "The seeds, A..B or one")->capture_default_str();
    app.add_option("--events", line.each.events, "Events for each seed")->capture_default_str();
    app.add_option("--jobs", line.jobs, "Seeds at a time")
        ->capture_default_str()
        ->check(CLI::Range(1, 256));
    app.add_flag("--faults", line.each.faults, "The chip refuses groups, and its size changes");
    app.add_flag("--shrink", line.shrink, "Cut a failing scenario down to a few events");
    try {
        app.parse(argc, argv);
        if (!readSeeds(seeds, line)) {
            throw CLI::ValidationError("--seeds", "A..B with A not above B, not " + seeds);
        }
    } catch (CLI::ParseError const &error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    auto const start = std::chrono::steady_clock::now();
    Totals const totals = soak(line);
    std::chrono::duration<double> const took = std::chrono::steady_clock::now() - start;
    std::cout << totals.seeds << " seeds, " << totals.events << " events, " << totals.calls
              << " helper calls, " << totals.packets << " packets compared, hash " << std::hex
              << totals.hash << std::dec << ", " << totals.faults << " faults, " << took.count()
              << " s" << std::endl;
    return totals.faults == 0 ? 0 : 1;
}
