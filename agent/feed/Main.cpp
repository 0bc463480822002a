#include "Nexo/EthAddr.h"
#include "Nexo/IpAndPort.h"
#include "Vyr/Clock.h"
#include "agent/base/CommandLine.h"
#include "agent/base/Descriptor.h"
#include "agent/base/Numbers.h"
#include "agent/base/Text.h"
#include "agent/capture/CaptureWriter.h"
#include "agent/packet/GroupMac.h"

#include <CLI/CLI.hpp>
#include <tins/dot1q.h>
#include <tins/ethernetII.h>
#include <tins/ip.h>
#include <tins/rawpdu.h>
#include <tins/udp.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// umo-feed: makes a capture of UDP packets, the same for the same options.
namespace {

constexpr char const *kFooter =
    "The first frame is at second 0. The payload starts with the packet's number in four bytes,\n"
    "the highest first; the first packet has number 1.\n"
    "\n"
    "Examples:\n"
    "  umo-feed feed.pcap                       # 5 s of UDP from 10.1.1.1 to 239.1.1.1\n"
    "  umo-feed --destination 10.0.10.9:5000 --vlan 10 --count 3 --interval 1s three.pcap\n"
    "\n"
    "Exit status:\n"
    "  0  the capture is complete\n"
    "  1  it cannot be written\n"
    "  2  bad command line\n";

enum class ExitStatus { good = 0, notWritten = 1, refused = 2 };

/// An IPv4 address and a port, neither of them 0.
struct UdpEnd {
    Nexo::IpAndPort value;

    static UdpEnd parse(std::string_view text) {
        auto const end = Nexo::IpAndPort::parse(text);
        if (end.addr().isZero() || end.port() == 0) {
            throw std::invalid_argument("\"" + std::string(text) +
                                        "\": expected an IPv4 address and a port other than 0");
        }
        return {end};
    }
    [[nodiscard]] std::string stringValue() const { return value.stringValue(); }
};

/// The time between two packets.
struct Interval {
    Vyr::Time value;

    static Interval parse(std::string_view text) {
        constexpr Vyr::Time kMost = std::chrono::minutes(1);
        auto const time = UmoAgent::readTime(text);
        if (!time || *time > kMost) {
            throw std::invalid_argument(
                "\"" + std::string(text) +
                "\": expected a time such as 50ms, 20us or 1s, at most 60s");
        }
        return {*time};
    }
};

struct Options {
    UdpEnd source = UdpEnd::parse("10.1.1.1:4000");
    UdpEnd destination = UdpEnd::parse("239.1.1.1:5000");
    Nexo::EthAddr sourceMac{0x020000000001};
    std::optional<Nexo::EthAddr> destinationMac;
    std::optional<std::uint16_t> vlan;
    std::uint16_t ttl = 16; // CLI11 prints smaller numbers as characters
    std::uint32_t count = 100;
    Interval interval{std::chrono::milliseconds(50)};
    std::size_t size = 100;
    std::string file;
};

/// Reads an option's text by `Value::parse`, and reports what that says is wrong.
template <class Value, class Target>
CLI::Option *addParsed(CLI::App &app, std::string const &name, Target &target,
                       std::string const &help) {
    return app.add_option_function<std::string>(
        name,
        [name, &target](std::string const &text) {
            try {
                target = Value::parse(text);
            } catch (std::invalid_argument const &error) {
                throw CLI::ValidationError(name, error.what());
            }
        },
        help);
}

void declare(CLI::App &app, Options &options) {
    app.footer(kFooter);
    app.set_version_flag("--version", "umo-feed " UMO_VERSION, "Print the version");
    app.add_option("FILE", options.file, "The pcap file to write")->required();
    addParsed<UdpEnd>(app, "--source", options.source, "Source address and UDP port")
        ->type_name("ADDRESS:PORT")
        ->default_str(options.source.stringValue());
    addParsed<UdpEnd>(app, "--destination", options.destination, "Destination address and UDP port")
        ->type_name("ADDRESS:PORT")
        ->default_str(options.destination.stringValue());
    addParsed<Nexo::EthAddr>(app, "--source-mac", options.sourceMac, "Source MAC")
        ->type_name("MAC")
        ->default_str(options.sourceMac.stringValue());
    addParsed<Nexo::EthAddr>(app, "--destination-mac", options.destinationMac,
                             "Destination MAC. By default the group MAC of a multicast\n"
                             "destination, 02:00:00:00:00:02 for a unicast one")
        ->type_name("MAC");
    app.add_option("--vlan", options.vlan, "Send with a tag of this VLAN; without it, untagged")
        ->type_name("VLAN")
        ->check(CLI::Range(1, 4094));
    app.add_option("--ttl", options.ttl, "Time to live")
        ->type_name("TTL")
        ->check(CLI::Range(1, 255))
        ->capture_default_str();
    app.add_option("--count", options.count, "How many packets")
        ->type_name("PACKETS")
        ->check(CLI::Range(1, 10'000'000))
        ->capture_default_str();
    addParsed<Interval>(app, "--interval", options.interval,
                        "Time between two packets, such as 20us or 1s")
        ->type_name("TIME")
        ->default_str("50ms");
    app.add_option("--size", options.size, "Bytes of UDP payload; 8972 fill a jumbo frame")
        ->type_name("BYTES")
        ->check(CLI::Range(4, 8972))
        ->capture_default_str();
}

Nexo::EthAddr destinationMac(Options const &options) {
    Nexo::IpAddr const destination = options.destination.value.addr();
    constexpr Nexo::EthAddr kRouter(0x020000000002);
    return options.destinationMac.value_or(
        destination.isMulticast() ? UmoAgent::groupMac(destination) : kRouter);
}

/// The packet without its payload.
Tins::EthernetII headersOf(Options const &options) {
    Nexo::IpAndPort const source = options.source.value, destination = options.destination.value;
    Tins::EthernetII frame(destinationMac(options).stringValue(), options.sourceMac.stringValue());
    if (options.vlan) {
        frame /= Tins::Dot1Q(*options.vlan);
    }
    Tins::IP ip(destination.addr().stringValue(), source.addr().stringValue());
    ip.ttl(static_cast<std::uint8_t>(options.ttl));
    frame /= ip;
    frame /= Tins::UDP(destination.port(), source.port());
    return frame;
}

std::vector<std::uint8_t> payloadOf(std::uint32_t number, std::size_t size) {
    std::vector<std::uint8_t> payload(size);
    for (std::size_t i = 0; i < sizeof number; ++i) {
        payload[i] = static_cast<std::uint8_t>(number >> (24 - 8 * i));
    }
    return payload;
}

/// Returns why the capture is not complete; empty if it is.
std::string writeFeed(Options const &options) {
    UmoAgent::CaptureWriter capture(options.file);
    Tins::EthernetII const headers = headersOf(options);
    for (std::uint32_t number = 1; number <= options.count && capture.loss().empty(); ++number) {
        Tins::EthernetII frame = headers;
        frame.rfind_pdu<Tins::IP>().id(static_cast<std::uint16_t>(number));
        frame /= Tins::RawPDU(payloadOf(number, options.size));
        capture.write((number - 1) * options.interval.value, frame.serialize());
    }
    return capture.finish();
}

} // namespace

int main(int argc, char **argv) {
    UmoAgent::openStandardDescriptors();
    CLI::App app(
        "Makes a capture of UDP packets, to be forwarded by a switch. The same options make\n"
        "the same capture.",
        "umo-feed");
    Options options;
    declare(app, options);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const &error) {
        bool const asked = UmoAgent::explain(app, error);
        return static_cast<int>(asked ? ExitStatus::good : ExitStatus::refused);
    }
    if (std::string const loss = writeFeed(options); !loss.empty()) {
        std::cerr << "umo-feed: " << UmoAgent::printable(loss) << '\n';
        return static_cast<int>(ExitStatus::notWritten);
    }
    return static_cast<int>(ExitStatus::good);
}
