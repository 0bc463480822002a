#include "agent/Options.h"

#include "Nexo/VlanIntfId.h"
#include "agent/base/Numbers.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace UmoAgent {

namespace {

constexpr char const *kPcapIn = "--pcap-in";
constexpr char const *kPcapAt = "--pcap-at";
constexpr char const *kGroupRange = "--group-range";
constexpr char const *kAudit = "--audit";
constexpr std::uint32_t kLastGroup = 0xffffff00; // OpenFlow reserves the ids after it

/// Reads `INTERFACE=FILE`. An interface whose name has a `=` cannot be given; a file can.
CaptureFeed::Source captureOf(std::string const &text) {
    auto const equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size()) {
        throw CLI::ValidationError(kPcapIn, "INTERFACE=FILE is expected, not " + text);
    }
    try {
        Nexo::IntfId const intf(std::string_view(text).substr(0, equals));
        if (intf.empty() || Nexo::VlanIntfId::isVlanIntfId(intf)) {
            throw CLI::ValidationError(kPcapIn, "no port receives frames as " + text);
        }
        return {intf, text.substr(equals + 1)};
    } catch (std::invalid_argument const &error) {
        throw CLI::ValidationError(kPcapIn, error.what());
    }
}

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

Vyr::Time timeOf(char const *option, std::string const &text) {
    auto const time = readTime(text);
    if (!time) {
        throw CLI::ValidationError(option, "a time such as 5s or 1m30s is expected, not " + text);
    }
    return *time;
}

} // namespace

void declareCaptures(CLI::App &app, CaptureOptions &captures) {
    auto *const in = app.add_option_function<std::vector<std::string>>(
        kPcapIn,
        [&captures](std::vector<std::string> const &texts) {
            std::transform(texts.begin(), texts.end(), std::back_inserter(captures.in), captureOf);
        },
        "Frames that the interface receives, a pcap or pcapng file;\nmay be given several times");
    in->type_name("INTERFACE=FILE")->allow_extra_args(false);
    app.add_option("--pcap-out", captures.out,
                   "Write what each interface sends to DIR/INTERFACE.pcap. Those of an\n"
                   "earlier run are removed first")
        ->type_name("DIR")
        ->needs(in)
        ->check([](std::string const &path) { return path.empty() ? "a path is expected" : ""; });
    app.add_option_function<std::string>(
           kPcapAt,
           [&captures](std::string const &text) { captures.start = timeOf(kPcapAt, text); },
           "When the first frame of each capture arrives, such as 5s; without it at 0s")
        ->type_name("TIME")
        ->needs(in);
    in->excludes("--check");
}

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
           kAudit,
           [&options](std::string const &text) { options.live.audit = timeOf(kAudit, text); },
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
