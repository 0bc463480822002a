#include "agent/base/Text.h"
#include "agent/show/Printers.h"
#include "agent/show/TextTable.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace UmoAgent {

namespace {

constexpr auto kRight = TextTable::Align::right;

void add(TextTable &table, std::string what, Traffic const &traffic) {
    table.add({std::move(what), std::to_string(traffic.packets), std::to_string(traffic.bytes)});
}

/// `239.1.1.1:5000`; without a port if it is 0.
std::string addressText(Nexo::IpAndPort const &address) {
    return address.port() == 0 ? address.addr().stringValue() : address.stringValue();
}

/// By the interface's name, numbers in it by value; streams of an interface in their order.
auto byInterface(std::map<Stream, Traffic> const &streams) {
    std::vector<std::pair<Stream const, Traffic> const *> sorted;
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

void printTraffic(std::ostream &out, ForwardingAgent const &agent) {
    PacketCounters const &counters = agent.forwarder().counters();
    if (counters.received() == Traffic{}) {
        return;
    }
    TextTable table({{"traffic"}, {"packets", kRight}, {"bytes", kRight}});
    add(table, "received", counters.received());
    for (Rule const &rule : agent.forwarder().rules()) {
        add(table,
            "flow of policy " + printable(rule.policy()) + ", match " +
                printable(rule.match().name()),
            rule.traffic);
    }
    for (auto const &[id, group] : agent.chip().groups()) {
        add(table, "group " + std::to_string(id), agent.chip().traffic().ofGroup(id));
        for (auto const &[portSetId, portSet] : group.portSets) {
            add(table, "  copies of port set " + std::to_string(portSetId),
                agent.chip().traffic().ofPortSet(portSetId));
        }
    }
    add(table, "copies sent", counters.sent());
    for (DropReason const reason : kAllDropReasons) {
        if (counters.dropped(reason).packets != 0) {
            add(table, "dropped, " + std::string(textOf(reason)), counters.dropped(reason));
        }
    }
    table.print(out);
}

void printPackets(std::ostream &out, ForwardingAgent const &agent) {
    PacketCounters const &counters = agent.forwarder().counters();
    if (counters.sent() == Traffic{}) {
        out << "packets: " << counters.received().packets << " received, no copies sent\n";
        return;
    }
    TextTable table(
        {{"interface"}, {"VLAN", kRight}, {"source"}, {"destination"}, {"copies", kRight}});
    for (auto const *const stream : byInterface(counters.streams())) {
        auto const &[intf, vlan, source, destination] = stream->first;
        table.add({intf.stringValue(), std::to_string(vlan), addressText(source),
                   addressText(destination), std::to_string(stream->second.packets)});
    }
    if (auto const &others = counters.otherStreams(); others.packets != 0) {
        table.add({"others", "-", "-", "-", std::to_string(others.packets)});
    }
    table.print(out);
}

} // namespace UmoAgent
