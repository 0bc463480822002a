#include "agent/LiveSwitch.h"
#include "agent/scenario/ScenarioReader.h"
#include "tests/support/Frames.h"
#include "tests/support/VirtualSwitch.h"

#include <gmock/gmock.h>
#include <tins/arp.h>
#include <tins/dot1q.h>
#include <tins/ipv6.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <regex>
#include <sstream>
#include <utility>

using namespace UmoAgent;
using namespace TestSupport;
using namespace std::chrono_literals;
using Bridging::Topology::PortState;
using testing::SizeIs;

namespace {

using Copies = std::vector<std::pair<Nexo::IntfId, Bytes>>; // by port and in order

std::vector<std::string> linesOf(Copies const &copies) {
    std::vector<std::string> lines;
    lines.reserve(copies.size());
    for (auto const &[intf, frame] : copies) {
        lines.push_back(lineOf(intf, frame));
    }
    return lines;
}

struct Port {
    std::string name;
    std::vector<std::string> settings;
};
/// VLANs 10 and 20 have trunks, tagged and native, and access ports, VLAN 30 only ports of its own.
Port const ports[] = {{"Et1", {"vlan_mode=native-untagged", "tag=10", "trunks=10"}},
                      {"Et2", {"tag=10"}},
                      {"Et3", {"vlan_mode=native-untagged", "tag=20", "trunks=10"}},
                      {"Et4", {"trunks=20"}},
                      {"Et5", {"tag=30"}},
                      {"Et6", {"vlan_mode=native-untagged", "tag=4095", "trunks=40"}}, // no native
                      {"Et7", {"tag=4095"}},                                           // no VLAN
                      {"Et8", {"vlan_mode=dot1q-tunnel", "tag=30"}},
                      {"Et9", {"vlan_mode=native-tagged", "tag=10", "trunks=10"}}};
constexpr unsigned kLearned = 0x88b5;                        // the type of frames that are bridged
constexpr std::size_t kVlan10 = 4, kVlan20 = 2, kVlan30 = 2; // copies

/// Open vSwitch beside the software chip, with the same state.
struct LiveForwarding : testing::Test {
    LiveForwarding() {
        loop.wallTime();
        ovs.bridge("br0", {"fail-mode=secure", "other-config:hwaddr=\"02:00:00:00:00:01\""});
        for (auto const &[name, settings] : ports) {
            ovs.port("br0", name, settings);
        }
        for (std::string const vlan : {"10", "20", "30"}) {
            ovs.vsctl({"add-port", "br0", "v" + vlan, "tag=" + vlan, "--", "set", "interface",
                       "v" + vlan, "type=internal"});
        }
        ovs.ofctl({"add-flow", "br0", "dl_type=0x88b5,actions=NORMAL"});
        ovs.ofctl({"mod-port", "br0", "Et6", "no-flood"}); // VLAN 4095 goes nowhere
        ovs.ofctl({"mod-port", "br0", "Et7", "no-flood"});
    }
    ~LiveForwarding() override {
        EXPECT_TRUE(live && live->shutDown(false));
        EXPECT_TRUE(live->agent().clean());
        EXPECT_THAT(ovs.ofctl({"-O", "OpenFlow15", "dump-groups", "br0"}),
                    testing::Not(testing::HasSubstr("group_id")));
    }

    /// Lets the switch see a frame of each host.
    void learnHosts() {
        auto const learn = [&](std::string const &port, char const *host, std::optional<Tag> tag) {
            Bytes const frame = framed(packet(), tag, "ff:ff:ff:ff:ff:ff", host);
            ovs.receive(port, with(frame, tag ? 16 : 12, kLearned));
        };
        learn("Et2", kHostA, {});
        learn(portOfB, kHostB, Tag{20});
        for (Port const &each : ports) {
            ovs.sent(each.name);
        }
    }

    static Feeds feedsOf(std::string const &matches) {
        auto const read = readFeeds(
            "test", "ip-interfaces: {Vlan10: {address: 10.0.1.1/24}, Vlan20: {address: "
                    "10.0.2.1/24}, Vlan30: {address: 10.0.3.1/24}}\npolicies: {p: {matches: {" +
                        std::regex_replace(matches, std::regex("Et5"), "Vlan30") + "}}}");
        EXPECT_THAT(std::get_if<ScenarioFaults>(&read), testing::IsNull());
        return Feeds::of(std::get<Changes>(read));
    }
    void start(std::string const &matches, GroupRange groups = {}) {
        learnHosts();
        live.emplace(loop, LiveSwitch::Options{"br0", ovs.directory() + "/db.sock", groups, {}},
                     feedsOf(matches),
                     LiveSwitch::Log{[](std::string const &) {},
                                     [](std::string const &line) {
                                         bool const fault =
                                             line.find("is programmed: ") == std::string::npos &&
                                             line.find("left out") == std::string::npos;
                                         EXPECT_FALSE(fault) << line;
                                     }});
        inStepAfter(0);
    }

    /// Lets the agent run until the switch has taken more bundles than `bundles`, nothing is left
    /// to be evaluated or sent, and an audit finds nothing wrong.
    void inStepAfter(std::uint64_t bundles) {
        auto const &programmer = live->programmer();
        auto const deadline = loop.now() + 10s;
        std::string audit;
        for (bool asked = false; audit.empty();) {
            loop.runUntil(loop.now() + 1ms);
            ASSERT_LT(loop.now(), deadline) << programmer.trouble();
            if (!asked && programmer.counters().bundles > bundles && evaluated()) {
                asked = true;
                live->programmer().audit([&](SwitchProgrammer::AuditAnswer const &answer) {
                    asked = evaluated(); // else once more
                    audit = asked ? answer.lines.back() : "";
                });
            }
        }
        EXPECT_THAT(audit, testing::StartsWith("the switch has what it should have"));
        ovs.appctl("revalidator/purge");
    }
    /// Whether the agent knows the hosts and all ports but one, and has nothing to evaluate.
    [[nodiscard]] bool evaluated() {
        auto const &state = live->agent().state();
        auto const forwarding = [&](Port const &port) {
            return state.find<Table::TopologyPort>({"bridge", Nexo::IntfId(port.name)}) ==
                   (port.name == down ? PortState::disabled : PortState::forwarding);
        };
        auto const learned = [&](std::uint16_t vlan, char const *host, char const *port) {
            return state.find<Table::LearnedMac>(
                       {Bridging::VlanId(vlan), Nexo::EthAddr::parse(host)}) == Nexo::IntfId(port);
        };
        return std::all_of(std::begin(ports), std::end(ports), forwarding) &&
               learned(10, kHostA, "Et2") && learned(20, kHostB, portOfB) &&
               live->agent().root().topologySm()->actionSmUpdateBacklog().empty();
    }
    /// Makes a change that concerns the switch.
    template <class Work>
    void change(Work const &work) {
        auto const bundles = live->programmer().counters().bundles;
        work();
        learnHosts(); // Open vSwitch may have forgotten them
        inStepAfter(bundles);
    }

    struct Sent {
        Copies bySwitch, byChip;
    };
    /// What the two send for the frame. Both get it twice: Open vSwitch has its flows in a cache
    /// when the second one comes.
    Sent receive(std::string const &port, Bytes const &frame) {
        std::map<Nexo::IntfId, Copies> byChip;
        live->agent().forwarder().transmitIs([&](Nexo::IntfId intf, FrameView copy) {
            byChip[intf].emplace_back(intf, Bytes(copy.begin(), copy.end()));
        });
        for (int i = 0; i < 2; ++i) {
            ovs.receive(port, frame);
            live->agent().forwarder().receive(Nexo::IntfId(port), frame);
        }
        live->agent().forwarder().transmitIs(nullptr);
        Sent sent;
        for (Port const &each : ports) {
            Nexo::IntfId const intf(each.name);
            for (Bytes &copy : ovs.sent(each.name)) {
                sent.bySwitch.emplace_back(intf, std::move(copy));
            }
            auto const &copies = byChip[intf];
            sent.byChip.insert(sent.byChip.end(), copies.begin(), copies.end());
        }
        return sent;
    }
    /// Both send the same copies, `copies` for each frame.
    void expectSame(std::size_t copies, std::string const &port, Bytes const &frame) {
        auto const sent = receive(port, frame);
        EXPECT_THAT(sent.byChip, SizeIs(2 * copies)) << lineOf(Nexo::IntfId(port), frame);
        EXPECT_EQ(linesOf(sent.bySwitch), linesOf(sent.byChip))
            << lineOf(Nexo::IntfId(port), frame);
    }
    void expectSame(std::size_t copies, Tins::IP const &packet) {
        expectSame(copies, "Et1", framed(packet));
    }
    /// Open vSwitch sends the copies that the chip sends for `like`, apart from what `differ`
    /// makes of each. `like` is the frame itself, or the chip sends none for the frame.
    template <class Differ>
    void expectOther(std::size_t copies, Bytes const &frame, Bytes const &like,
                     Differ const &differ) {
        auto const sent = receive("Et1", frame);
        EXPECT_THAT(sent.byChip, SizeIs(frame == like ? 2 * copies : 0));
        Copies expected = receive("Et1", like).byChip;
        EXPECT_THAT(expected, SizeIs(2 * copies));
        EXPECT_NE(linesOf(sent.bySwitch), linesOf(sent.byChip));
        for (auto &[intf, copy] : expected) {
            bool const tagged = word(copy, 12) == 0x8100;
            Bytes tag(copy.begin() + 12, copy.begin() + (tagged ? 16 : 12));
            copy.erase(copy.begin() + 12, copy.begin() + (tagged ? 16 : 12));
            differ(copy, tag);
            copy.insert(copy.begin() + 12, tag.begin(), tag.end());
        }
        EXPECT_EQ(linesOf(sent.bySwitch), linesOf(expected)) << lineOf({}, frame);
    }

    EventLoop loop;
    VirtualSwitch ovs;
    std::optional<LiveSwitch> live;
    char const *portOfB = "Et3", *down = "";
};

} // namespace

TEST_F(LiveForwarding, OpenVSwitchSendsTheCopiesThatTheChipSends) {
    start(flows);
    // Translations, fan-out and tags.
    Bytes const all = framed(packet("239.1.1.1:2"));
    expectSame(kVlan10 + kVlan20 + kVlan30, "Et1", all);
    expectSame(kVlan10 + kVlan20 + kVlan30, "Et2", framed(packet("239.1.1.1:2"), Tag{0, 3}));
    expectSame(kVlan10 + kVlan20 + kVlan30, "Et1", framed(packet("239.1.1.1:2"), Tag{20, 5}));
    expectSame(kVlan10 + kVlan20 + kVlan30, "Et4", framed(packet("239.1.1.1:2"), Tag{20, 5}));
    expectSame(1 + kVlan30 + 1, packet("10.5.0.2:2"));
    expectSame(kVlan10 + 1, packet("239.1.1.5:2"));
    expectSame(kVlan30 + kVlan10, packet("239.3.3.3:2", "10.2.2.2:1"));
    expectSame(kVlan30 + 1, packet("10.3.3.3:2", "10.2.2.2:1"));
    expectSame(0, packet("10.3.3.3:2", "10.3.2.2:1"));
    expectSame(0, packet("239.1.1.1:2", "10.3.7.8:1")); // another source, another port
    expectSame(0, packet("239.1.1.1:2", "10.1.7.8:2"));

    // Recirculation.
    expectSame(1, "Et1", framed(packet("239.1.1.6:2"), Tag{10, 6}));
    expectSame(1, "Et5", framed(packet("239.1.1.6:2", kFrom, 3)));
    expectSame(0, packet("239.1.1.6:2", kFrom, 2));
    expectSame(0, packet("239.1.1.7:2"));
    expectSame(0, packet("239.1.1.4:2"));
    expectSame(0, packet("10.1.1.3:2"));

    // What ports accept.
    std::pair<std::size_t, std::vector<std::string>> const accepted[] = {
        {kVlan30,
         {"Et1", "Et1 0", "Et1 10", "Et1 4094", "Et2", "Et2 0", "Et2 10", "Et4", "Et5", "Et5 0",
          "Et5 30", "Et6 40", "Et8", "Et8 30", "Et9"}},
        {0, {"Et1 4095", "Et2 20", "Et5 10", "Et6", "Et6 0", "Et6 4095", "Et7", "Et7 1"}}};
    for (auto const &[copies, cases] : accepted) {
        for (std::string const &each : cases) {
            std::istringstream words(each);
            std::string port;
            std::uint16_t vlan = 0;
            bool const tagged = words >> port && words >> vlan;
            expectSame(copies, port,
                       framed(packet(), tagged ? std::optional(Tag{vlan, 7}) : std::nullopt));
        }
    }

    // Transports, their checksums, options.
    auto const ping = Tins::ICMP() / payload;
    expectSame(kVlan30, packet<TCP>());
    expectSame(kVlan30, ip("239.1.1.2", "10.1.7.8") / ping);
    expectSame(0, ip("239.1.1.9", "10.1.7.8") / ping);
    for (std::size_t const size : {2U, 38U}) {
        Bytes const data(size, 0x11);
        auto in = packet();
        in.add_option({148, data.begin(), data.end()});
        expectSame(kVlan30, in);
    }
    auto const expectSameChecksums = [&]<class Transport>(Transport, std::size_t at) {
        Bytes const good = framed(packet<Transport>());
        expectSame(kVlan30, "Et1", adding(0x1111, good, at));
        expectSame(kVlan30, "Et1", with(good, at, 0));                // none, if it is UDP
        for (char const *const copied : {"10.1.7.8:", "10.9.9.9:"}) { // zero comes out
            bool const in = copied[3] == '1';
            auto const on = [&](unsigned port) {
                return framed(packet<Transport>(in ? kTo : "239.2.2.2:8",
                                                copied + std::to_string(port), in ? 64 : 63));
            };
            auto const from = "10.1.7.8:" + std::to_string(word(adding(1, on(1), at), at));
            expectSame(kVlan30, "Et1", framed(packet<Transport>(kTo, from)));
        }
    };
    expectSameChecksums(UDP(), kUdpChecksum);
    expectSameChecksums(TCP(), kTcpChecksum);

    // Fragments.
    constexpr std::pair<std::size_t, std::size_t> kParts[] = {{0, 24}, {24, 48}, {48, 1000}};
    for (auto const &[from, to] : kParts) {
        if (from == 0) {
            expectSame(kVlan20, fragment(packet("239.1.1.8:2"), from, to));
            expectSame(kVlan20, fragment(packet<TCP>("239.1.1.8:2"), from, to));
        }
        for (char const *const needsPorts : {"239.1.1.2:2", "239.1.1.9:2", "239.1.1.6:2"}) {
            expectSame(0, fragment(packet(needsPorts), from, to));
            expectSame(0, fragment(packet<TCP>(needsPorts), from, to, true));
        }
        // Only one of the match's copies gets another port.
        expectSame(1 + kVlan30, fragment(packet("10.5.0.2:2"), from, to));
        expectSame(1 + kVlan30, fragment(packet<TCP>("10.5.0.2:2"), from, to));
        expectSame(kVlan20, fragment(ip("239.1.1.8", "10.1.7.8") / ping, from, to));
    }

    // Short frames, and those that both drop.
    Bytes const good = framed(packet()), small = framed(packet("239.1.1.8:2", kFrom, 64, {"x"}));
    // Its destination's words add up to zero, so the checksum is also right for a header without.
    Bytes const noSum = framed(packet("10.5.245.250:2"));
    auto const ipv6 = Tins::IPv6("ff02::1", "fe80::1") / UDP(1, 2);
    expectSame(kVlan20, "Et1", small);
    expectSame(kVlan20, "Et1", framed(packet("239.1.1.8:2", kFrom, 64, {"x"}), Tag{10}));
    for (Bytes const &bad :
         {framed(packet("239.1.1.9:3")), framed(packet(kTo, kFrom, 1)),
          framed(packet(kTo, kFrom, 0)), framed(ipv6), framed(ipv6, Tag{10}),
          framed(Tins::ARP("10.1.1.1", "10.1.1.2")), framed(Tins::Dot1Q(10) / packet(), Tag{20}),
          withHeader(0, 0x44b9, noSum), withHeader(2, 0, good), withHeader(2, 19, good),
          withHeader(2, 80, good)}) {
        expectSame(0, "Et1", bad);
    }
    auto options = packet<TCP>();
    options.stream_identifier(7);
    for (Bytes in : {framed(packet(), Tag{20}), framed(options)}) { // cut off anywhere
        expectSame(kVlan30, "Et1", in);
        for (in.pop_back(); in.size() >= kIp; in.pop_back()) {
            expectSame(0, "Et1", in);
        }
    }
}

TEST_F(LiveForwarding, OpenVSwitchDiffersFromTheChipInThis) {
    start(flows);
    Bytes const good = framed(packet());
    // It does not look at the version and the checksum of an IPv4 header.
    expectOther(kVlan30, withHeader(0, 0x55b9, good), good,
                [](Bytes &copy, Bytes &) { copy = withHeader(0, 0x55b9, copy); });
    expectOther(kVlan30, adding(1, good, kIp + 10), good,
                [](Bytes &copy, Bytes &) { copy = adding(1, copy, kIp + 10); });
    // A transport header that the packet is too short for is left as it is.
    expectOther(kVlan30, withHeader(2, 27, good), good, [&](Bytes &copy, Bytes &) {
        copy = withHeader(2, 27, copy);
        std::copy(good.begin() + kIp + 20, good.end(), copy.begin() + kIp + 20);
    });
    auto const whole = packet<TCP>("239.1.1.8:2");
    expectOther(kVlan20, framed(fragment(whole, 0, 8)), framed(fragment(whole, 0, 24)),
                [&](Bytes &copy, Bytes &) {
                    copy = withHeader(2, 28, copy);
                    std::fill(copy.begin() + kIp + 28, copy.end(), std::uint8_t{0});
                });
    // Padding leaves as it came.
    Bytes padded = framed(packet("239.1.1.8:2", kFrom, 64, {"x"}));
    auto const pad = [](Bytes &frame) {
        std::fill(frame.begin() + 43, frame.end(), std::uint8_t{0xee});
        frame.resize(80, 0xee);
    };
    pad(padded);
    expectOther(kVlan20, padded, padded, [&](Bytes &copy, Bytes &) { pad(copy); });
    // A tag that is written anew is never drop eligible; one that stays the same is as it was.
    Bytes const eligible = framed(packet("239.1.1.1:2"), Tag{20, 5, 1});
    expectOther(kVlan10 + kVlan20 + kVlan30, eligible, eligible, [](Bytes &, Bytes &tag) {
        if (!tag.empty() && tag[3] == 10) {
            tag[2] &= 0xef;
        }
    });
    // Its userspace datapath, unlike that of the kernel, takes the payload of a later fragment for
    // a transport header and would damage it. So there are no translated copies of those.
    for (auto const &in : {packet("239.1.1.8:2"), whole}) {
        for (std::size_t const from : {24U, 48U}) {
            Sent const sent = receive("Et1", framed(fragment(in, from, from + 24)));
            EXPECT_THAT(sent.bySwitch, testing::IsEmpty());
            EXPECT_THAT(sent.byChip, testing::SizeIs(2 * kVlan20));
        }
    }
}

TEST_F(LiveForwarding, FlowsThatSelectTheSamePacketComeInTheSameOrder) {
    auto const to55 = [](std::string const &name, std::string const &flow) {
        return name + ": {flow: " + flow + ", actions: {a: {source: 10.9.8." + name +
               ", egress: {Et5: {mac: '02:00:00:00:00:55'}}}}}, ";
    };
    start(orderedFlows + to55("21", "{destination: 239.1.9.1, source-port: 1}") +
          to55("22", "{destination: 239.1.9.1, destination-port: 2}") +
          to55("23", "{destination: 239.1.9.1}") +
          to55("24", "{destination: 239.1.9.2, destination-port: 2}") +
          to55("25", "{destination: 239.1.9.2, destination-port: 2}") +
          to55("26", "{destination: 239.1.9.3, destination-port: 2}") +
          to55("27", "{destination: 239.1.9.3, source-port: 1}") +
          to55("28", "{destination: 239.1.9.3, source-port: 3}") +
          to55("29", "{destination: 224.0.0.0/3}") + to55("30", "{destination: 128.0.0.0/1}") +
          to55("31", "{source-port: 5}"));
    for (auto const &[match, from, to] : orderedPackets) {
        expectSame(kVlan30, packet(to, from));
        expectSame(kVlan30, packet<TCP>(to, from));
    }
    for (std::string const host : {"239.1.9.1:", "239.1.9.2:", "239.1.9.3:", "239.5.5.5:",
                                   "250.1.1.1:", "130.1.1.1:", "10.1.1.1:"}) {
        for (std::string const from : {"10.4.1.1:1", "10.4.1.1:3", "10.4.1.1:5", "10.2.1.1:1"}) {
            for (std::string const port : {"2", "7", "9"}) {
                bool const ninth = from[3] == '2' && port == "9";
                bool const none = host[1] == '0' && from.back() != '5' && !ninth;
                expectSame(none ? 0 : kVlan30, packet(host + port, from));
            }
            bool const first = host[1] != '0' && host.find(".1.9.") == std::string::npos;
            expectSame(first ? kVlan30 : 0, fragment(packet(host + "2", from), 0, 24));
        }
    }
}

TEST_F(LiveForwarding, ChangesReachBoth) {
    start(flows);
    auto const expectCopies = [&](std::size_t ten, std::size_t twenty, std::size_t thirty) {
        expectSame(ten + twenty + thirty, packet("239.1.1.1:2"));
        expectSame(ten + 1, packet("239.1.1.5:2"));
        expectSame(1 + thirty + 1, packet("10.5.0.2:2"));
    };
    auto const hostB = [&] {
        return receive("Et2", framed(packet("10.5.0.2:2"))).bySwitch.at(2).first;
    };
    expectCopies(kVlan10, kVlan20, kVlan30);
    EXPECT_EQ(hostB(), Nexo::IntfId("Et3"));
    change([&] { portOfB = "Et4"; });
    EXPECT_EQ(hostB(), Nexo::IntfId("Et4"));
    expectCopies(kVlan10, kVlan20, kVlan30);

    change([&] { ovs.portDown(down = "Et9"); });
    expectCopies(kVlan10 - 1, kVlan20, kVlan30);
    change([&] { ovs.portUp(std::exchange(down, "")); });
    expectCopies(kVlan10, kVlan20, kVlan30);

    change([&] { ovs.vsctl({"set", "port", "Et8", "tag=20"}); });
    expectCopies(kVlan10, kVlan20 + 1, kVlan30 - 1);
    change([&] { ovs.vsctl({"set", "port", "Et8", "vlan_mode=native-tagged", "tag=10"}); });
    expectCopies(kVlan10 + 1, kVlan20 + 1, kVlan30);

    change([&] { // numbers only
        std::vector<std::string> renumber;
        for (std::size_t i = 0; i < std::size(ports); ++i) {
            std::vector<std::string> const one{"--", "set", "interface", ports[i].name,
                                               "ofport_request=" + std::to_string(20 + i)};
            renumber.insert(renumber.end(), one.begin(), one.end());
        }
        ovs.vsctl(renumber);
    });
    EXPECT_EQ(ovs.vsctl({"get", "interface", "Et1", "ofport"}), "20\n");
    expectCopies(kVlan10 + 1, kVlan20 + 1, kVlan30);

    change([&] {
        EXPECT_TRUE(live->feedsAre(feedsOf("one: {flow: {destination: 239.1.1.1, source-port: "
                                           "1}, actions: {a: {egress: [Vlan20]}}}")));
    });
    expectSame(kVlan20 + 1, packet("239.1.1.1:2"));
    expectSame(0, packet("239.1.1.5:2"));
    change([&] {
        ovs.vsctl({"set", "bridge", "br0", R"(other-config:hwaddr="02:00:00:00:00:02")"});
    });
    expectSame(kVlan20 + 1, packet("239.1.1.1:2"));
    change([&] { ovs.vsctl({"del-port", "v20"}); });
    expectSame(0, packet("239.1.1.1:2"));
}

TEST_F(LiveForwarding, MatchHasAsManyGroupsAsItsCopiesNeed) {
    constexpr std::size_t kActions = 150;
    std::string actions;
    for (std::size_t i = 1; i <= kActions; ++i) {
        actions += "a" + std::to_string(i) + ": {source: '10.9.9.9:" + std::to_string(i) +
                   "', egress: [Vlan10]}, ";
    }
    start("m: {flow: {destination: 239.1.1.1}, actions: {" + actions + "}}");
    EXPECT_GT(kActions * kVlan10, 2 * OpenFlowRenderer::kCopiesInGroup);
    expectSame(kActions * kVlan10, packet("239.1.1.1:2"));
    expectSame(0, fragment(packet("239.1.1.1:2"), 0, 24));
}

TEST_F(LiveForwarding, MatchWithoutGroupSendsNothing) {
    start("a: {flow: {destination: 239.1.1.1}, actions: {a: {egress: [Vlan20]}}}, "
          "b: {flow: {destination: 239.1.1.2}, actions: {a: {egress: [Vlan20]}}}",
          {5000, 5000});
    expectSame(kVlan20, packet("239.1.1.1:2"));
    expectSame(0, packet("239.1.1.2:2"));
}
