#include "agent/base/Text.h"
#include "agent/show/Printers.h"
#include "agent/show/TextTable.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace UmoAgent {

namespace {

constexpr auto kRight = TextTable::Align::right;

/// `239.1.1.1:5000`; without a port if it is 0.
std::string addressText(Nexo::IpAndPort const &address) {
    return address.port() == 0 ? address.addr().stringValue() : address.stringValue();
}

/// By the interface's name, numbers in it by value; streams of an interface in their order.
auto byInterface(std::map<Stream, Traffic> const &streams) {
    std::vector<std::pair<Stream const, Traffic> const *> sorted;
    sorted.reserve(streams.size());
    for (auto const &stream : streams) {
        sorted.push_back(&stream);
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](auto const *a, auto const *b) {
        return strverscmp(a->first.intf.stringValue().c_str(),
                          b->first.intf.stringValue().c_str()) < 0;
    });
    return sorted;
}

} // namespace

void printTraffic(std::ostream &out, ForwardingAgent &agent, Counted counted) {
    PacketCounters const &counters = agent.forwarder().counters();
    if (counters.received() == Traffic{}) {
        return;
    }
    TextTable table({{"traffic"}, {"packets", kRight}, {"bytes", kRight}});
    auto const add = [&](std::string what, Traffic const &traffic) {
        table.add(
            {std::move(what), std::to_string(traffic.packets), std::to_string(traffic.bytes)});
    };
    auto const addCounted = [&](std::string what, Traffic const &traffic) {
        if (counted == Counted::everything || traffic.packets != 0) {
            add(std::move(what), traffic);
        }
    };
    add("received", counters.received());
    for (Rule const &rule : agent.forwarder().rules()) {
        addCounted("flow of policy " + printable(rule.policy()) + ", match " +
                       printable(rule.match().name()),
                   rule.traffic);
    }
    ChipTraffic const &traffic = agent.chip().traffic();
    for (auto const &[id, group] : agent.chip().groups()) {
        addCounted("group " + std::to_string(id), traffic.ofGroup(id));
        for (auto const &[portSetId, portSet] : group.portSets) {
            addCounted("  copies of port set " + std::to_string(portSetId),
                       traffic.ofPortSet(portSetId));
        }
    }
    add("copies sent", counters.sent());
    for (DropReason const reason : kAllDropReasons) {
        if (counters.dropped(reason).packets != 0) {
            add("dropped, " + std::string(textOf(reason)), counters.dropped(reason));
        }
    }
    table.print(out);
}

void printPackets(std::ostream &out, ForwardingAgent const &agent, Counted counted) {
    constexpr std::size_t kRowsOfASummary = 50;
    PacketCounters const &counters = agent.forwarder().counters();
    if (counters.sent() == Traffic{}) {
        out << "packets: " << counters.received().packets << " received, no copies sent\n";
        return;
    }
    TextTable table(
        {{"interface"}, {"VLAN", kRight}, {"source"}, {"destination"}, {"copies", kRight}});
    std::uint64_t others = counters.otherStreams().packets;
    std::size_t rows = 0;
    for (auto const *const stream : byInterface(counters.streams())) {
        if (counted == Counted::something && ++rows > kRowsOfASummary) {
            others += stream->second.packets;
            continue;
        }
        auto const &[intf, vlan, source, destination] = stream->first;
        table.add({intf.stringValue(), std::to_string(vlan), addressText(source),
                   addressText(destination), std::to_string(stream->second.packets)});
    }
    if (others != 0) {
        table.add({"others", "-", "-", "-", std::to_string(others)});
    }
    table.print(out);
}

} // namespace UmoAgent
