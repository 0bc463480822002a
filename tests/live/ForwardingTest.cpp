#include "agent/LiveSwitch.h"
#include "agent/scenario/ScenarioReader.h"
#include "tests/support/Frames.h"
#include "tests/support/VirtualSwitch.h"

#include <gmock/gmock.h>
#include <tins/arp.h>
#include <tins/dot1q.h>
#include <tins/ipv6.h>

#include <regex>
#include <cstdio>
#include <sstream>

using namespace UmoAgent;
using namespace TestSupport;
using namespace std::chrono_literals;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Lines = std::vector<std::string>; // copies, by port and in order

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
constexpr std::size_t kVlan10 = 4, kVlan20 = 2, kVlan30 = 2; // copies

struct Copies {
    Lines ofSwitch, ofChip;
};

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
        learn("Et2", kHostA);
        learn("Et3", kHostB);
    }
    ~LiveForwarding() override {
        EXPECT_TRUE(live->shutDown(false));
        EXPECT_TRUE(live->agent().clean());
        EXPECT_THAT(ovs.ofctl({"-O", "OpenFlow15", "dump-groups", "br0"}),
                    testing::Not(testing::HasSubstr("group_id")));
    }

    /// Lets the switch see a frame of the host.
    void learn(std::string const &port, std::string const &host, std::optional<Tag> tag = {}) {
        Bytes frame = framed(packet(), tag, "ff:ff:ff:ff:ff:ff", host);
        ovs.receive(port, with(std::move(frame), tag ? 16 : 12, 0x88b5));
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
        live.emplace(loop, LiveSwitch::Options{"br0", ovs.directory() + "/db.sock", groups, {}},
                     feedsOf(matches),
                     LiveSwitch::Log{[](std::string const &) {},
                                     [](std::string const &line) {
                                         bool const fault =
                                             line.find("programmed: ") == std::string::npos &&
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
        ovs.appctl("revalidator/wait");
    }
    [[nodiscard]] bool evaluated() {
        return live->agent().root().topologySm()->actionSmUpdateBacklog().empty();
    }
    /// Makes a change that concerns the switch.
    template <class Work>
    void change(Work const &work) {
        auto const bundles = live->programmer().counters().bundles;
        work();
        inStepAfter(bundles);
    }

    /// What the two send for the frame. Both get it twice: Open vSwitch has its flows in a cache
    /// when the second one comes.
    Copies receive(std::string const &port, Bytes const &frame) {
        std::map<Nexo::IntfId, Lines> byPort;
        live->agent().forwarder().transmitIs([&](Nexo::IntfId intf, FrameView copied) {
            byPort[intf].push_back(lineOf(intf, copied));
        });
        for (int i = 0; i < 2; ++i) {
            ovs.receive(port, frame);
            live->agent().forwarder().receive(Nexo::IntfId(port), frame);
        }
        Copies copies;
        for (Port const &each : ports) {
            Nexo::IntfId const intf(each.name);
            for (Bytes const &copied : ovs.sent(each.name)) {
                copies.ofSwitch.push_back(lineOf(intf, copied));
            }
            auto const &chip = byPort[intf];
            copies.ofChip.insert(copies.ofChip.end(), chip.begin(), chip.end());
        }
        framesCompared += 2;
        copiesCompared += copies.ofChip.size();
        return copies;
    }
    /// Both send the same copies, that many for each frame.
    void expectSame(std::size_t copies, std::string const &port, Bytes const &frame) {
        auto const [ofSwitch, ofChip] = receive(port, frame);
        EXPECT_THAT(ofChip, SizeIs(2 * copies)) << lineOf(Nexo::IntfId(port), frame);
        EXPECT_EQ(ofSwitch, ofChip) << lineOf(Nexo::IntfId(port), frame);
    }
    void expectSame(std::size_t copies, Tins::IP const &packet) {
        expectSame(copies, "Et1", framed(packet));
    }

    EventLoop loop;
    VirtualSwitch ovs;
    std::optional<LiveSwitch> live;
    std::size_t framesCompared = 0, copiesCompared = 0;
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
        expectSame(kVlan20, fragment(packet("239.1.1.8:2"), from, to));
        expectSame(kVlan20, fragment(packet<TCP>("239.1.1.8:2"), from, to));
        for (char const *const needsPorts : {"239.1.1.2:2", "239.1.1.9:2", "239.1.1.6:2"}) {
            expectSame(0, fragment(packet(needsPorts), from, to));
            expectSame(0, fragment(packet<TCP>(needsPorts), from, to, true));
        }
        // Only one of the match's copies gets another port.
        expectSame(1 + kVlan30, fragment(packet("10.5.0.2:2"), from, to));
    }

    // Bad frames.
    Bytes const good = framed(packet());
    Bytes const noSum = framed(packet("10.5.245.250:2"));
    auto const ipv6 = Tins::IPv6("ff02::1", "fe80::1") / UDP(1, 2);
    for (Bytes const &bad :
         {framed(packet("239.1.1.9:3")), framed(packet(kTo, kFrom, 1)),
          framed(packet(kTo, kFrom, 0)), framed(ipv6), framed(ipv6, Tag{10}),
          framed(Tins::ARP("10.1.1.1", "10.1.1.2")), framed(Tins::Dot1Q(10) / packet(), Tag{20}),
          withHeader(0, 0x44b9, noSum), withHeader(2, 0, good), withHeader(2, 19, good),
          withHeader(2, 80, good)}) {
        expectSame(0, "Et1", bad);
    }
    expectSame(0, "Et1", withHeader(0, 0x55b9, good));
    expectSame(0, "Et1", withHeader(2, 27, good));
    expectSame(0, "Et1", adding(1, good, kIp + 10));
    expectSame(0, "Et1", framed(fragment(packet<TCP>("239.1.1.8:2"), 0, 8)));
    auto options = packet<TCP>();
    options.stream_identifier(7);
    for (Bytes in : {framed(packet(), Tag{20}), framed(options)}) {
        expectSame(kVlan30, "Et1", in);
        for (in.pop_back(); in.size() >= kIp; in.pop_back()) {
            expectSame(0, "Et1", in);
        }
    }
    // padding
    Bytes in = framed(packet("239.1.1.8:2", kFrom, 64, {"x"}));
    expectSame(kVlan20, "Et1", in);
    expectSame(kVlan20, "Et1", framed(packet("239.1.1.8:2", kFrom, 64, {"x"}), Tag{10}));
    std::fill(in.begin() + 43, in.end(), std::uint8_t{0xee});
    expectSame(kVlan20, "Et1", in);
    expectSame(kVlan10 + kVlan20 + kVlan30, "Et1", framed(packet("239.1.1.1:2"), Tag{20, 5, 1}));
    std::printf("compared %zu frames, %zu copies\n", framesCompared, copiesCompared);
}
