#include "agent/scenario/ScenarioReader.h"
#include "agent/show/CarryOut.h"
#include "agent/show/Printers.h"
#include "agent/switch/ForwardingAgent.h"
#include "tests/support/Frames.h"

#include <gmock/gmock.h>
#include <tins/arp.h>
#include <tins/dot1q.h>
#include <tins/ipv6.h>

#include <sstream>

using namespace UmoAgent;
using namespace TestSupport;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

using Lines = std::vector<std::string>; // what became of a frame

constexpr char const *kSwitch = R"(
bridge-mac: 02:00:00:00:00:01
interfaces: {Et1: {mode: trunk, native-vlan: 10}, Et2: {mode: access, native-vlan: 10},
  Et3: {mode: trunk, native-vlan: 20}, Et4: {mode: trunk}, Et5: {mode: routed, native-vlan: 1006},
  Et6: {mode: trunk, native-vlan: none}, Et7: {native-vlan: none}, Et8: {mode: routed}}
vlans: {10: [Et1, Et2, Et3], 20: [Et3, Et4], 1006: [Et5]}
topologies: {t: {vlans: [10, 20, 1006], ports: {Et1: forwarding, Et2: forwarding, Et3: forwarding,
  Et4: forwarding, Et5: forwarding}}}
learned-macs: {10: {"02:00:00:00:0a:01": Et2}, 20: {"02:00:00:00:14:01": Et3}}
ip-interfaces: {Vlan10: {address: 10.0.1.1/24}, Vlan20: {address: 10.0.2.1/24},
  Et5: {address: 10.0.3.1/24}}
l3-interfaces: {Vlan10: 10, Vlan20: 20, Et5: 1006}
)";

/// Without a host, the copy goes to the group MAC address.
std::string copy(char const *intf, Tins::IP const &packet, std::optional<Tag> tag = {},
                 char const *host = nullptr) {
    Bytes frame = framed(packet, tag, host ? host : "01:00:5e:00:00:00", "02:00:00:00:00:01");
    if (host == nullptr) {
        std::copy_n(frame.begin() + kIp + (tag ? 21 : 17), 3, frame.begin() + 3);
        frame[3] &= 0x7f;
    }
    return lineOf(Nexo::IntfId(intf), frame);
}
std::string dropped(DropReason reason, std::uint64_t bytes, std::uint64_t packets = 1) {
    return std::string(textOf(reason)) + ": " + std::to_string(packets) + " dropped, " +
           std::to_string(bytes) + " bytes";
}
Lines only(DropReason reason, Bytes const &frame) {
    return {dropped(reason, frame.size())};
}

struct ForwardingOfOwnFlows : testing::Test {
    ~ForwardingOfOwnFlows() override {
        agent.shutDown();
        EXPECT_TRUE(agent.clean());
    }

    void start(std::string const &matches, std::string const &more = "") {
        std::string const policies = "policies: {p: {matches: {" + matches + "}}}";
        agent.start(std::get<Scenario>(readScenario("test", kSwitch + more + policies)).initial);
    }
    /// Carries out an event, and returns what it prints.
    std::string event(std::string const &text) {
        EventsToFollow const follow{agent.state(), loop.now()};
        std::ostringstream out;
        carryOut(agent, std::get<0>(readEvents("test", "events: [{" + text + "}]", follow)).at(0),
                 out);
        return out.str();
    }

    /// The copies of a frame in order, then what was dropped. The frame ends where its memory does.
    Lines receive(std::string const &intf, Bytes const &frame) {
        auto const bytes = std::make_unique<std::uint8_t[]>(frame.size());
        std::copy(frame.begin(), frame.end(), bytes.get());
        PacketCounters const &counters = agent.forwarder().counters(), before = counters;
        Lines lines;
        agent.forwarder().transmitIs(
            [&](Nexo::IntfId to, FrameView copied) { lines.push_back(lineOf(to, copied)); });
        agent.forwarder().receive(Nexo::IntfId(intf), {bytes.get(), frame.size()});
        for (DropReason const reason : kAllDropReasons) {
            auto const [packets, size] = counters.dropped(reason);
            if (Traffic const was = before.dropped(reason); packets != was.packets) {
                lines.push_back(dropped(reason, size - was.bytes, packets - was.packets));
            }
        }
        return lines;
    }
    Lines receive(Tins::IP const &packet) { return receive("Et1", framed(packet)); }

    EventLoop loop;
    ForwardingAgent agent{loop, [](std::string const &line) { ADD_FAILURE() << line; }};
};

struct Forwarding : ForwardingOfOwnFlows {
    Forwarding() { start(flows); }
};

} // namespace

TEST_F(Forwarding, MulticastCopiesGetNewEndsTheGroupMacAndEachInterfacesTag) {
    auto const in = packet("239.1.1.1:2"), out = packet("239.130.2.3:8", "10.9.9.9:7", 63);
    auto const copies = [&](std::uint8_t priority, std::uint8_t dropEligible) {
        Tag const ten{10, priority, dropEligible}, twenty{20, priority, dropEligible};
        return Lines{copy("Et3", out), copy("Et4", out, twenty), copy("Et1", out),
                     copy("Et2", out), copy("Et3", out, ten),    copy("Et5", out)};
    };
    EXPECT_EQ(receive("Et1", framed(in)), copies(0, 0)); // also out where it came in
    EXPECT_EQ(receive("Et1", framed(in, Tag{20, 5, 1})), copies(5, 1));
    EXPECT_EQ(receive("Et2", framed(in, Tag{0, 3, 0})), copies(3, 0));
}

TEST_F(Forwarding, UnicastCopiesGoToTheNextHopsOfAllActions) {
    auto const a = packet("10.5.0.2:2", kFrom, 63), b = packet("10.8.8.8:9", kFrom, 63);
    EXPECT_EQ(receive(packet("10.5.0.2:2")),
              (Lines{copy("Et2", a, {}, kHostA), copy("Et5", a, {}, "02:00:00:00:00:55"),
                     copy("Et3", b, {}, kHostB)}));
}

TEST_F(Forwarding, FlowWithoutDestinationHasAGroupForEachKindOfPacket) {
    auto const b = copy("Et5", packet("239.2.2.3:2", "10.2.2.2:1", 63));
    auto const a = packet("239.3.3.3:2", "10.9.9.9:1", 63);
    EXPECT_EQ(receive(packet("239.3.3.3:2", "10.2.2.2:1")),
              (Lines{b, copy("Et1", a), copy("Et2", a), copy("Et3", a, Tag{10})}));
    auto const unicast = packet("10.3.3.3:2", "10.9.9.9:1", 63);
    EXPECT_EQ(receive(packet("10.3.3.3:2", "10.2.2.2:1")),
              (Lines{b, copy("Et2", unicast, {}, kHostA)}));
}

TEST_F(Forwarding, CopiesWithoutEgressAreClassifiedOnceMore) {
    EXPECT_EQ(receive("Et1", framed(packet("239.1.1.6:2"), Tag{10, 6})),
              Lines{copy("Et4", packet("239.8.8.8:7", "10.9.9.9:1", 62), Tag{20, 6})});
    std::pair<Tins::IP, DropReason> const drops[] = {
        {packet("239.1.1.7:2"), DropReason::noMatch},
        {packet("239.1.1.4:2"), DropReason::noPortSet}, // multicast, which does not recirculate
        {packet("10.1.1.3:2"), DropReason::recirculatedTwice},
        {packet("239.1.1.6:2", kFrom, 2), DropReason::expired}};
    for (auto const &[in, reason] : drops) {
        EXPECT_EQ(receive(in), only(reason, framed(in)));
    }
}

TEST_F(ForwardingOfOwnFlows, LongestPrefixesThenMostPortsThenNamesDecide) {
    start(orderedFlows);
    event("set: {policies: {a: {matches: {b: {flow: {destination: 239.1.8.0/24}, actions: {a: "
          "{source: 10.9.9.10, egress: [Et5]}}}}}, p: {matches: {a: {flow: {destination: "
          "239.1.8.0/24}, actions: {a: {source: 10.9.9.11, egress: [Et5]}}}}}}}");
    std::vector<OrderedPacket> packets = orderedPackets;
    packets.push_back({10, "10.1.1.1:1", "239.1.8.7:2"});
    for (auto const &[match, from, to] : packets) {
        auto const source = "10.9.9." + std::to_string(match) + from.substr(from.find(':'));
        EXPECT_EQ(receive(packet(to, from)), Lines{copy("Et5", packet(to, source, 63))}) << match;
    }
    auto const outside = packet("239.5.5.5:9", "10.4.1.1:7");
    EXPECT_EQ(receive(outside), only(DropReason::noMatch, framed(outside)));
}

TEST_F(Forwarding, InterfaceAcceptsWhatItsModeAndNativeVlanCarry) {
    auto const of = [&](std::string const &intfAndTag) {
        std::istringstream words(intfAndTag);
        std::string intf;
        std::uint16_t vlan = 0;
        bool const tagged = words >> intf && words >> vlan;
        return receive(intf, framed(packet(), tagged ? std::optional(Tag{vlan, 7}) : std::nullopt));
    };
    auto const out = copy("Et5", packet("239.2.2.2:8", "10.9.9.9:1", 63));
    for (char const *const each :
         {"Et1", "Et1 0", "Et1 10", "Et1 4094", "Et2", "Et2 0", "Et2 10", "Et5", "Et5 0", "Et8"}) {
        EXPECT_EQ(of(each), Lines{out}) << each;
    }
    for (char const *const each :
         {"Et1 4095", "Et2 20", "Et5 10", "Et6", "Et6 0", "Et7", "Et7 1"}) {
        EXPECT_THAT(of(each), ElementsAre(StartsWith(textOf(DropReason::wrongVlan)))) << each;
    }
}

TEST_F(Forwarding, EveryTransportAndIpOptionsAreCarried) {
    auto const expectCopy = [&](Tins::IP const &in, Tins::IP const &out) {
        EXPECT_EQ(receive(in), Lines{copy("Et5", out)});
    };
    expectCopy(packet<TCP>(), packet<TCP>("239.2.2.2:8", "10.9.9.9:1", 63));
    auto const ping = Tins::ICMP() / payload;
    expectCopy(ip("239.1.1.2", "10.1.7.8") / ping, ip("239.2.2.2", "10.9.9.9", 63) / ping);
    for (std::size_t const size : {2U, 38U}) {
        Bytes const data(size, 0x11);
        auto in = packet(), out = packet("239.2.2.2:8", "10.9.9.9:1", 63);
        in.add_option({148, data.begin(), data.end()}); // router alert
        out.add_option({148, data.begin(), data.end()});
        expectCopy(in, out);
    }
    Bytes const noPort = framed(ip("239.1.1.9", "10.1.7.8") / ping);
    EXPECT_EQ(receive("Et1", noPort), only(DropReason::noMatch, noPort));
}

TEST_F(Forwarding, ShortCopiesArePaddedWithZeroBytesWhateverCameBehindThePacket) {
    Bytes in = framed(packet("239.1.1.8:2", kFrom, 64, {"x"}));
    std::fill(in.begin() + 43, in.end(), std::uint8_t{0xee});
    in.insert(in.end(), 40, 0xee);
    auto const out = packet("239.1.1.8:2", "10.9.9.9:1", 63, {"x"});
    EXPECT_EQ(framed(out).size(), 60U);
    EXPECT_EQ(framed(out, Tag{20}).size(), 64U);
    EXPECT_EQ(receive("Et1", in), (Lines{copy("Et3", out), copy("Et4", out, Tag{20})}));
}

TEST_F(Forwarding, TransportChecksumIsNeitherAddedNorRepaired) {
    auto const expectCopies = [&]<class Transport>(Transport, std::size_t at, unsigned zero) {
        auto const in = [](unsigned port) {
            return framed(packet<Transport>(kTo, "10.1.7.8:" + std::to_string(port)));
        };
        auto const out = [](unsigned port) {
            return framed(packet<Transport>("239.2.2.2:8", "10.9.9.9:" + std::to_string(port), 63),
                          {}, "01:00:5e:02:02:02", "02:00:00:00:00:01");
        };
        auto const expectCopy = [&](Bytes const &from, Bytes const &to) {
            EXPECT_EQ(receive("Et1", from), Lines{lineOf(Nexo::IntfId("Et5"), to)});
        };
        expectCopy(adding(0x1111, in(1), at), adding(0x1111, out(1), at)); // wrong ones
        for (bool const ofCopy : {false, true}) { // the port makes it come out as zero
            unsigned const port = word(adding(1, ofCopy ? out(1) : in(1), at), at);
            EXPECT_EQ(word(ofCopy ? out(port) : in(port), at), zero);
            expectCopy(in(port), out(port));
        }
        if (zero != 0) { // then 0 is none
            expectCopy(with(in(1), at, 0), with(out(1), at, 0));
        }
    };
    expectCopies(UDP(), kUdpChecksum, 0xffff);
    expectCopies(TCP(), kTcpChecksum, 0);
}

TEST_F(Forwarding, FragmentsAreTranslatedUnlessThatNeedsPorts) {
    std::pair<Tins::IP, Tins::IP> const whole[] = {
        {packet("239.1.1.8:2"), packet("239.1.1.8:2", "10.9.9.9:1", 63)},
        {packet<TCP>("239.1.1.8:2"), packet<TCP>("239.1.1.8:2", "10.9.9.9:1", 63)}};
    constexpr std::pair<std::size_t, std::size_t> kParts[] = {{0, 24}, {24, 48}, {48, 1000}};
    for (auto const &[from, to] : kParts) { // the first with the checksum of the whole packet
        for (auto const &[in, out] : whole) {
            auto const part = fragment(out, from, to);
            EXPECT_EQ(receive(fragment(in, from, to)),
                      (Lines{copy("Et3", part), copy("Et4", part, Tag{20})}));
        }
        for (char const *const needsPorts : {"239.1.1.2:2", "239.1.1.9:2"}) {
            for (bool const df : {false, true}) {
                Bytes const in = framed(fragment(packet(needsPorts), from, to, df));
                EXPECT_EQ(receive("Et1", in), only(DropReason::fragment, in)) << needsPorts << from;
            }
        }
    }
    Bytes const noChecksum = framed(fragment(packet<TCP>("239.1.1.8:2"), 0, 8));
    EXPECT_EQ(receive("Et1", noChecksum), only(DropReason::fragment, noChecksum));
}

TEST_F(Forwarding, BadFramesAreDroppedByReason) {
    Bytes const good = framed(packet());
    // Its destination's words add up to zero, so the checksum is also right for a header without.
    Bytes const noSum = framed(packet("10.5.245.250:2"));
    auto const ipv6 = Tins::IPv6("ff02::1", "fe80::1") / UDP(1, 2);
    std::pair<Bytes, DropReason> const bad[] = {
        {framed(packet("239.1.1.9:3")), DropReason::noMatch},
        {framed(packet(kTo, kFrom, 1)), DropReason::expired},
        {framed(packet(kTo, kFrom, 0)), DropReason::expired},
        {framed(ipv6), DropReason::ipv6},
        {framed(ipv6, Tag{10}), DropReason::ipv6},
        {framed(Tins::ARP("10.1.1.1", "10.1.1.2")), DropReason::notIp},
        {framed(Tins::Dot1Q(10) / packet(), Tag{20}), DropReason::notIp},
        {withHeader(0, 0x55b9, good), DropReason::badHeader},
        {withHeader(0, 0x44b9, noSum), DropReason::badHeader}, // length of the header
        {withHeader(2, 0, good), DropReason::badHeader},       // total length
        {withHeader(2, 19, good), DropReason::badHeader},
        {withHeader(2, 27, good), DropReason::truncated}, // in the UDP header
        {withHeader(2, 80, good), DropReason::truncated},
        {adding(1, good, kIp + 10), DropReason::badHeader}};
    for (auto const &[in, reason] : bad) {
        EXPECT_EQ(receive("Et1", in), only(reason, in)) << lineOf({}, in);
    }
    EXPECT_EQ(receive("Et9", good), only(DropReason::noInterface, good));
    auto options = packet<TCP>();
    options.stream_identifier(7);
    for (Bytes in : {framed(packet(), Tag{20}), framed(options)}) { // cut off anywhere
        EXPECT_THAT(receive("Et1", in), ElementsAre(StartsWith("Ethernet5")));
        while (!in.empty()) {
            in.pop_back();
            EXPECT_EQ(receive("Et1", in), only(DropReason::truncated, in)) << lineOf({}, in);
        }
    }
}

TEST_F(ForwardingOfOwnFlows, MatchWithoutGroupsDropsUntilItGetsThem) {
    start("a: {flow: {destination: 239.1.1.1}, actions: {a: {egress: [Et5]}}}, "
          "b: {flow: {destination: 239.1.1.2}, actions: {a: {egress: [Et5]}}}",
          "chip: {groups: 1}\n");
    EXPECT_EQ(receive(packet()), only(DropReason::noGroup, framed(packet())));
    event("remove: {policies: {p: {matches: [a]}}}");
    loop.runUntil(9'999ms);
    EXPECT_EQ(receive(packet()), only(DropReason::noGroup, framed(packet())));
    loop.runUntil(10s);
    EXPECT_EQ(receive(packet()), Lines{copy("Et5", packet(kTo, kFrom, 63))});
}

TEST_F(Forwarding, HostMovesAndPortFailsInMidStreamWithoutLossElsewhere) {
    auto const a = packet("239.1.1.5:2", kFrom, 63), b = packet("10.0.2.7:2", kFrom, 63);
    Lines const before{copy("Et1", a), copy("Et2", a), copy("Et3", a, Tag{10}),
                       copy("Et3", b, {}, kHostB)};
    Lines const after{copy("Et1", a), copy("Et3", a, Tag{10}), copy("Et4", b, Tag{20}, kHostB)};
    EXPECT_EQ(receive(packet("239.1.1.5:2")), before);
    event("set: {topologies: {t: {ports: {Et2: disabled}}}, "
          "learned-macs: {20: {'02:00:00:00:14:01': Et4}}}");
    for (int time = 10; time <= 200; time += 10) {
        loop.runUntil(time * 1ms);
        EXPECT_EQ(receive(packet("239.1.1.5:2")), time < 100 ? before : after) << time;
    }
}

TEST_F(Forwarding, CopyToAnInterfaceThatHasGoneIsDroppedAlone) {
    event("remove: {interfaces: [Et3], vlans: {20: [Et3], 10: [Et3]}, "
          "topologies: {t: {ports: [Et3]}}, learned-macs: [20]}");
    auto const left = copy("Et4", packet("239.1.1.8:2", "10.9.9.9:1", 63), Tag{20});
    EXPECT_EQ(receive(packet("239.1.1.8:2")), (Lines{left, dropped(DropReason::noInterface, 93)}));
    loop.runUntil(100ms);
    EXPECT_EQ(receive(packet("239.1.1.8:2")), Lines{left});
}

TEST_F(Forwarding, NextPacketSeesChangedFlowsAndCountersOfTheOthersStay) {
    auto const one = packet(), port = packet("239.1.1.9:2");
    auto const sent = ElementsAre(StartsWith("Ethernet5"));
    Lines const missed = only(DropReason::noMatch, framed(one));
    auto const counted = [&] {
        std::string text;
        for (auto const &rule : agent.forwarder().rules()) {
            auto const &[packets, bytes] = rule.traffic;
            EXPECT_EQ(bytes, 93 * packets);
            text += packets == 0 ? "" : rule.match().name() + ' ' + std::to_string(packets) + ' ';
        }
        return text;
    };
    EXPECT_THAT(receive(one), sent);
    EXPECT_THAT(receive(port), sent);
    event("set: {policies: {p: {matches: {port: {flow: {destination: 239.1.1.3}}}}}}");
    EXPECT_EQ(receive(port), missed);
    EXPECT_THAT(receive(one), sent);
    EXPECT_EQ(counted(), "port 1 one 2 ");
    event("set: {policies: {p: {matches: {new: {flow: {destination: 239.1.1.9}, "
          "actions: {a: {egress: [Et5]}}}}}}}");
    EXPECT_THAT(receive(port), sent);
    EXPECT_EQ(counted(), "port 1 new 1 one 2 ");
    event("remove: {policies: [p]}");
    EXPECT_EQ(receive(one), missed);
    EXPECT_EQ(counted(), "");
    event("set: {policies: {q: {matches: {one: {flow: {destination: 239.1.1.2}, "
          "actions: {a: {egress: [Et5]}}}}}}}");
    EXPECT_THAT(receive(one), sent);
    EXPECT_EQ(counted(), "one 1 ");
}

TEST_F(ForwardingOfOwnFlows, PrintoutsShowCopiesAndTraffic) {
    start("m: {flow: {destination: 239.1.1.0/24}, actions: {a: {source: '10.9.9.9:7', "
          "egress: [Vlan20]}, b: {destination: 10.7.7.7}}}");
    EXPECT_EQ(event("print: packets"), "[    0.000 s]\npackets: 0 received, no copies sent\n");
    std::string const chip = event("print: chip");
    for (Tins::IP const &in : {packet(), packet(), packet("10.1.1.2:2"),
                               ip("239.1.1.3", "10.1.7.8") / Tins::ICMP() / payload}) {
        receive(in);
    }
    EXPECT_EQ(event("print: packets"), R"([    0.000 s]
interface  VLAN  source      destination  copies
Ethernet3    20  10.9.9.9    239.1.1.3         1
Ethernet3    20  10.9.9.9:7  239.1.1.2:2       2
Ethernet4    20  10.9.9.9    239.1.1.3         1
Ethernet4    20  10.9.9.9:7  239.1.1.2:2       2
)");
    EXPECT_EQ(event("print: chip"), chip + R"(traffic                    packets  bytes
received                         4    372
flow of policy p, match m        3    279
group 1                          3    279
  copies of port set 1           6    570
  copies of port set 2           3    279
copies sent                      6    570
dropped, no match                4    372
)");
}
