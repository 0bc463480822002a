#include "agent/show/Printers.h"
#include "agent/show/TextTable.h"
#include "agent/show/Values.h"

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

/// `239.1.1.1:5000`; without a port if it has none, and `-` without an address.
std::string shortText(Json const &address) {
    if (address.is_null()) {
        return "-";
    }
    auto const port = address.find("port");
    return textOf(address, "address") + (port == address.end() ? "" : ':' + port->dump());
}

void printPacketsText(std::ostream &out, Json const &value) {
    if (value.at("streams").empty() && value.at("others") == 0) {
        out << "packets: " << value.at("received") << " received, no copies sent\n";
        return;
    }
    TextTable table(
        {{"interface"}, {"VLAN", kRight}, {"source"}, {"destination"}, {"copies", kRight}});
    for (Json const &stream : value.at("streams")) {
        table.add({textOf(stream, "interface"), stream.at("vlan").dump(),
                   shortText(stream.at("source")), shortText(stream.at("destination")),
                   stream.at("copies").dump()});
    }
    if (value.at("others") != 0) {
        table.add({"others", "-", "-", "-", value.at("others").dump()});
    }
    table.print(out);
}

} // namespace

Json trafficValue(ForwardingAgent &agent, Counted counted) {
    PacketCounters const &counters = agent.forwarder().counters();
    Json rows = Json::array();
    if (counters.received() == Traffic{}) {
        return rows;
    }
    auto const add = [&](std::string what, Traffic const &traffic) {
        rows.push_back(record({{"traffic", std::move(what)},
                               {"packets", traffic.packets},
                               {"bytes", traffic.bytes}}));
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
    return rows;
}

void printTraffic(std::ostream &out, Json const &traffic) {
    if (traffic.empty()) {
        return;
    }
    TextTable table({{"traffic"}, {"packets", kRight}, {"bytes", kRight}});
    for (Json const &row : traffic) {
        table.add({textOf(row, "traffic"), row.at("packets").dump(), row.at("bytes").dump()});
    }
    table.print(out);
}

void printTraffic(std::ostream &out, ForwardingAgent &agent, Counted counted) {
    printTraffic(out, trafficValue(agent, counted));
}

void printPackets(Reply const &reply, ForwardingAgent const &agent, Counted counted) {
    constexpr std::size_t kRowsOfASummary = 50;
    PacketCounters const &counters = agent.forwarder().counters();
    std::uint64_t others = counters.otherStreams().packets;
    Json streams = Json::array();
    for (auto const *const stream : byInterface(counters.streams())) {
        if (counted == Counted::something && streams.size() == kRowsOfASummary) {
            others += stream->second.packets;
            continue;
        }
        auto const &[intf, vlan, source, destination] = stream->first;
        streams.push_back(record({{"interface", intf.stringValue()},
                                  {"vlan", vlan},
                                  {"source", valueOf(source)},
                                  {"destination", valueOf(destination)},
                                  {"copies", stream->second.packets}}));
    }
    reply.give(record({{"received", counters.received().packets},
                       {"streams", std::move(streams)},
                       {"others", others}}),
               printPacketsText);
}

} // namespace UmoAgent
