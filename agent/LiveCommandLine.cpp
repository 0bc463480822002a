#include "agent/LiveCommandLine.h"

#include "agent/base/Numbers.h"

#include <CLI/CLI.hpp>

#include <limits>
#include <string>
#include <string_view>

namespace UmoAgent {

namespace {

constexpr char const *kGroupRange = "--group-range";
constexpr char const *kAudit = "--audit";
constexpr std::uint32_t kLastGroup = 0xffffff00; // OpenFlow reserves the ids after it

/// Reads `FIRST-LAST`.
GroupRange rangeOf(std::string const &text) {
    auto const dash = text.find('-');
    if (dash != std::string::npos) {
        auto const first = wholeNumber(std::string_view(text).substr(0, dash));
        auto const last = wholeNumber(std::string_view(text).substr(dash + 1));
        if (first && last && *first >= 1 && *first <= *last && *last <= kLastGroup) {
            return {static_cast<std::uint32_t>(*first), static_cast<std::uint32_t>(*last)};
        }
    }
    throw CLI::ValidationError(kGroupRange, "two group ids such as 100000-165535, from 1 to " +
                                                std::to_string(kLastGroup) +
                                                ", are expected, not " + text);
}

Vyr::Time periodOf(std::string const &text) {
    auto const time = readTime(text);
    if (!time) {
        throw CLI::ValidationError(kAudit, "a time such as 10s is expected, not " + text);
    }
    return *time;
}

} // namespace

void declareLive(CLI::App &app, LiveOptions &options) {
    auto *const bridge =
        app.add_option("--bridge", options.live.bridge,
                       "Instead of playing a scenario, follow this bridge of Open vSwitch and\n"
                       "program it; the file has policies, and may have ip-interfaces")
            ->type_name("NAME")
            ->check([](std::string const &name) {
                return name.empty() || name.find('/') != std::string::npos ? "a bridge is expected"
                                                                           : "";
            });
    app.add_option("--ovsdb", options.live.ovsdb,
                   "The Unix socket of ovsdb-server, in the folder with those of ovs-vswitchd;\n"
                   "without it " +
                       options.live.ovsdb)
        ->type_name("PATH")
        ->transform([](std::string const &path) {
            return path.rfind("unix:", 0) == 0 ? path.substr(5) : path;
        })
        ->needs(bridge);
    app.add_option_function<std::string>(
           kGroupRange,
           [&options](std::string const &text) { options.live.groups = rangeOf(text); },
           "The ids of OpenFlow groups that are the agent's; without it " +
               std::to_string(options.live.groups.first) + '-' +
               std::to_string(options.live.groups.last))
        ->type_name("FIRST-LAST")
        ->needs(bridge);
    app.add_option_function<std::string>(
           kAudit, [&options](std::string const &text) { options.live.audit = periodOf(text); },
           "How often to compare the switch with what it should have; 0 for never, without it 10s")
        ->type_name("TIME")
        ->needs(bridge);
    app.add_flag("--leave", options.leave, "At the end, leave the flows in the switch")
        ->needs(bridge);
    for (char const *const other : {"--real-time", "--pcap-in"}) {
        bridge->excludes(other);
    }
}

} // namespace UmoAgent
