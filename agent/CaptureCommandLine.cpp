#include "agent/CaptureCommandLine.h"

#include "Nexo/VlanIntfId.h"
#include "agent/base/Numbers.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace UmoAgent {

namespace {

constexpr char const *kPcapIn = "--pcap-in";
constexpr char const *kPcapAt = "--pcap-at";

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

Vyr::Time startOf(std::string const &text) {
    auto const time = readTime(text);
    if (!time) {
        throw CLI::ValidationError(kPcapAt, "a time such as 5s or 1m30s is expected, not " + text);
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
           kPcapAt, [&captures](std::string const &text) { captures.start = startOf(text); },
           "When the first frame of each capture arrives, such as 5s; without it at 0s")
        ->type_name("TIME")
        ->needs(in);
    in->excludes("--check");
}

} // namespace UmoAgent
