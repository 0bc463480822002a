#include "agent/live/BridgeReader.h"
#include "agent/live/JsonSplitter.h"
#include "agent/switch/Draft.h"
#include "agent/switch/SwitchState.h"

#include <gmock/gmock.h>

#include <random>
#include <sstream>

using namespace UmoAgent;
using Bridging::SwitchportMode;
using Bridging::VlanId;
using Bridging::Topology::PortState;
using Nexo::EthAddr;
using Nexo::IntfId;
using Nexo::IpAddrWithMask;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// `access 10: 10 forwarding #1`: mode, native VLAN, VLANs, state and OpenFlow port.
std::string textOf(LivePort const &port) {
    std::ostringstream out;
    out << port.settings.mode << ' ' << port.settings.nativeVlan.value() << ":";
    for (VlanId const vlan : port.vlans) {
        out << ' ' << vlan;
    }
    out << ' ' << port.state << " #" << port.number;
    return out.str();
}

struct BridgeReaderTest : testing::Test {
    BridgeReaderTest() { add({"br0"}, "internal").mac = "02:00:00:00:00:01"; }

    /// Adds a port whose link is up; its number is its place.
    Ovs::Interface &add(Ovs::Port port, std::string const &type = "") {
        auto &interface = rows.interfaces[port.name];
        auto const number = static_cast<std::int64_t>(rows.ports.size());
        interface = {port.name, type, number, "up", "up", ""};
        port.interfaces.push_back(port.name);
        rows.bridges["b"].name = "br0";
        rows.bridges["b"].ports.push_back(port.name);
        rows.ports[port.name] = port;
        return interface;
    }
    BridgeState read() {
        auto const reading = readBridge(rows, "br0", kernel);
        leftOut = reading->leftOut;
        return reading->state;
    }
    std::string port(std::string_view name) {
        auto const ports = read().ports;
        auto const at = ports.find(IntfId(name));
        return at == ports.end() ? "none" : textOf(at->second);
    }

    Ovs::Rows rows;
    std::map<std::string, IpAddrWithMask> kernel;
    std::vector<std::string> leftOut;
};

} // namespace

TEST_F(BridgeReaderTest, EachVlanModeGivesTheVlansThatLeaveThePortAndHow) {
    struct {
        Ovs::Port port;
        std::string expected;
    } const cases[] = {
        {{"Et1", {}, "", 10, {}}, "access 10: 10"},
        {{"Et2", {}, "access", 0, {5}}, "access 1: 1"},
        {{"Et3", {}, "access", {}, {}}, "access 1: 1"},
        {{"Et4", {}, "", {}, {0, 20}}, "trunk 1: 1 20"},
        {{"Et5", {}, "trunk", 10, {20, 30}}, "trunk 1: 20 30"},
        {{"Et6", {}, "trunk", {}, {2, 3}}, "trunk 1: 2 3"},
        {{"Et7", {}, "", {}, {}}, "trunk 1: 1 2 3 10 20 30 40 50 60"},
        {{"Et8", {}, "native-untagged", 40, {20}}, "trunk 40: 20 40"},
        {{"Et9", {}, "native-untagged", 40, {0, 20}}, "trunk 40: 20 40"},
        {{"Et10", {}, "native-untagged", 0, {20}}, "trunk 1: 1 20"},
        {{"Et11", {}, "native-tagged", 50, {}}, "trunk 1: 2 3 10 20 30 40 50 60"},
        {{"Et12", {}, "native-tagged", {}, {2}}, "trunk 3: 1 2"},
        {{"Et13", {}, "dot1q-tunnel", 60, {20}}, "dot1qTunnel 60: 60"},
    };
    for (auto const &one : cases) {
        add(one.port);
    }
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(port(cases[i].port.name),
                  cases[i].expected + " forwarding #" + std::to_string(i + 1));
    }
    EXPECT_THAT(leftOut, IsEmpty());
    add({"Et14", {}, "", 1, {}});
    add({"Et15", {}, "", 4095, {}});
    read();
    EXPECT_THAT(leftOut, ElementsAre(HasSubstr("VLAN 4095"), HasSubstr("VLAN 1 and untagged")));
}

TEST_F(BridgeReaderTest, APortForwardsOnlyIfLinkAndSpanningTreeLetIt) {
    Ovs::Interface &link = add({"Et1", {}, "", 10, {}});
    auto const state = [this](std::string const &stp, std::string const &rstp) {
        rows.ports["Et1"].stpState = stp;
        rows.ports["Et1"].rstpState = rstp;
        return read().ports.at(IntfId("Et1")).state;
    };
    EXPECT_EQ(state("blocking", "Discarding"), PortState::forwarding);
    rows.bridges["b"].stp = true;
    EXPECT_EQ(state("", ""), PortState::forwarding); // STP is off on this port
    EXPECT_EQ(state("listening", "Forwarding"), PortState::blocking);
    EXPECT_EQ(state("learning", ""), PortState::learning);
    EXPECT_EQ(state("disabled", ""), PortState::disabled);
    EXPECT_EQ(state("forwarding", "Discarding"), PortState::forwarding);
    rows.bridges["b"].rstp = true;
    EXPECT_EQ(state("forwarding", "Discarding"), PortState::blocking);
    EXPECT_EQ(state("blocking", "Forwarding"), PortState::forwarding);
    link.linkState = "down";
    EXPECT_EQ(state("", "Forwarding"), PortState::disabled);
    link.linkState = "up";
    link.adminState = "";
    EXPECT_EQ(state("", "Forwarding"), PortState::disabled);
    auto const linksUnknown = [this] { return readBridge(rows, "br0", kernel)->linksUnknown; };
    EXPECT_FALSE(linksUnknown());
    link.linkState = "";
    EXPECT_TRUE(linksUnknown());
    link.ofport = -1; // so nothing will be said of it
    EXPECT_FALSE(linksUnknown());
    link.linkState = link.adminState = "up";
    EXPECT_EQ(port("Et1"), "access 10: 10 disabled #0");
}

TEST_F(BridgeReaderTest, InternalPortsWithATagAreVlanInterfacesWithTheKernelsAddress) {
    auto const one = IpAddrWithMask::parse("10.0.0.1/24"),
               two = IpAddrWithMask::parse("10.0.0.2/8");
    add({"host10", {}, "", 10, {}}, "internal");
    add({"host20", {}, "", 20, {}}, "internal");
    add({"twice20", {}, "", 20, {}}, "internal");
    add({"Ethernet1"}, "internal");
    kernel = {{"host10", one}, {"host20", two}, {"Ethernet1", one}, {"br0", one}};
    BridgeState const state = read();
    EXPECT_THAT(state.vlanInterfaces, ElementsAre(VlanId(10), VlanId(20)));
    EXPECT_THAT(state.addresses, testing::UnorderedElementsAre(std::pair(IntfId("Vlan10"), one),
                                                               std::pair(IntfId("Vlan20"), two)));
    EXPECT_EQ(port("Ethernet1"), "trunk 1: 1 10 20 forwarding #4");
    EXPECT_EQ(state.ports.size(), 1U);
    EXPECT_EQ(state.mac, EthAddr::parse("02:00:00:00:00:01"));
    EXPECT_THAT(leftOut, ElementsAre(HasSubstr("\"twice20\"")));
    rows.bridges["b"].hwaddr = "02:00:00:00:00:02";
    EXPECT_EQ(read().mac, EthAddr::parse("02:00:00:00:00:02"));
}

TEST_F(BridgeReaderTest, WhatCannotBeRenderedIsNamed) {
    add({"bond0", {"second"}, "", 70, {}});
    add({"patch0"}, "patch");
    add({"Vlan5", {}, "", 5, {}});
    add({"Et1", {}, "", 10, {}});
    add({"Ethernet1", {}, "", 10, {}});
    rows.mirrors["m"].name = "spy";
    rows.bridges["b"].mirrors = {"m"};
    EXPECT_EQ(port("Et1"), "access 10: 10 forwarding #4");
    EXPECT_THAT(leftOut,
                ElementsAre(HasSubstr("\"Ethernet1\""), HasSubstr("\"Vlan5\""),
                            HasSubstr("\"bond0\""), HasSubstr("\"patch0\""), HasSubstr("\"spy\"")));
    EXPECT_FALSE(readBridge(rows, "br1", kernel));
}

TEST_F(BridgeReaderTest, LearnedMacsAreThoseOfKnownPorts) {
    add({"Et1"});
    add({"Et2"}).ofport = -1;
    auto const learned = readLearnedMacs(" port  VLAN  MAC                Age\n"
                                         "    1     0  02:00:00:00:00:aa    4\n"
                                         "    1    10  02:00:00:00:00:bb  static\n"
                                         "    9    10  02:00:00:00:00:cc    2\n"
                                         "    1    11  nonsense             2\n"
                                         "LOCAL     0  02:00:00:00:00:dd    2\n"
                                         "    0     0  02:00:00:00:00:ee    2\n",
                                         read().ports);
    LearnedMacs const expected{
        {VlanId(1), {{EthAddr::parse("02:00:00:00:00:aa"), IntfId("Et1")}}},
        {VlanId(10), {{EthAddr::parse("02:00:00:00:00:bb"), IntfId("Et1")}}}};
    EXPECT_EQ(learned, expected);
}

namespace {

IntfId const kPorts[] = {IntfId("Et1"), IntfId("Et2"), IntfId("Et3")};
std::pair<VlanId, IntfId> const kVlans[] = {
    {VlanId(1), IntfId("Vlan1")}, {VlanId(2), IntfId("Vlan2")}, {VlanId(3), IntfId("Vlan3")}};

BridgeState randomState(std::mt19937 &random) {
    auto const any = [&](unsigned size) { return static_cast<std::uint16_t>(random() % size); };
    BridgeState state;
    state.mac = EthAddr(any(2));
    for (IntfId const intf : kPorts) {
        for (auto const &[vlan, l3] : kVlans) {
            if (any(3) == 0) {
                LivePort &port = state.ports[intf];
                port.vlans.insert(vlan);
                port.settings.nativeVlan = Bridging::VlanIdOrNone(any(3));
                port.state = any(2) != 0 ? PortState::forwarding : PortState::blocking;
                state.learnedMacs[vlan][EthAddr(any(3))] = intf;
            } else if (any(8) == 0) {
                state.vlanInterfaces.insert(vlan);
                state.addresses[l3] = {Nexo::IpAddr(any(3)), 24};
            }
        }
    }
    return state;
}

/// What is mounted of all that `randomState` can make.
std::string rowsOf(SwitchState const &state) {
    std::ostringstream out;
    out << *state.find<Table::BridgeMac>({}) << state.find<Table::Topology>("bridge").has_value();
    for (IntfId const intf : kPorts) {
        auto const settings = state.find<Table::Interface>(intf);
        out << ", " << (settings ? settings->nativeVlan.value() : 99) << ' '
            << state.find<Table::TopologyPort>({"bridge", intf}).value_or(PortState::disabled);
    }
    for (auto const &[vlan, l3] : kVlans) {
        out << ", " << state.find<Table::Vlan>(vlan).has_value()
            << state.find<Table::VlanTopology>(vlan).has_value()
            << state.find<Table::Fdb>(vlan).has_value()
            << state.find<Table::L3Interface>(l3).has_value() << ' '
            << state.find<Table::IpInterface>(l3).value_or(Table::IpInterface::Value()).address;
        for (std::size_t i = 0; i < 3; ++i) {
            out << ' ' << state.find<Table::VlanMember>({vlan, kPorts[i]}).has_value() << ' '
                << state.find<Table::LearnedMac>({vlan, EthAddr(i)}).value_or(IntfId());
        }
    }
    return out.str();
}

void mount(SwitchState &state, Changes const &changes) {
    Draft draft(state);
    ASSERT_THAT(draft.makeAll(changes), IsEmpty());
    state.mount(draft);
}

} // namespace

TEST(BridgeStateTest, DifferencesLeadFromAnyStateToAnyOther) {
    std::mt19937 random(1); // NOLINT(*-msc51-cpp): the same in each run
    SwitchState followed;
    BridgeState last;
    for (int step = 0; step < 500; ++step) {
        BridgeState const next = step % 50 == 49 ? BridgeState() : randomState(random);
        mount(followed, difference(last, next));
        SwitchState fresh;
        mount(fresh, difference({}, next));
        ASSERT_EQ(rowsOf(followed), rowsOf(fresh)) << step;
        ASSERT_THAT(difference(next, next), IsEmpty());
        last = next;
    }
    ASSERT_TRUE(last.ports.empty());
    EXPECT_EQ(rowsOf(followed), rowsOf(SwitchState()));
}

TEST(JsonSplitterTest, FindsTheObjectsHoweverTheyAreCut) {
    std::vector<std::string> const objects{R"({})", R"({"a":["}",{"\"":"\\"},"{[\\\"]"]})",
                                           R"({"b":[[],{"c":1}]})"};
    std::string const stream = objects[0] + objects[1] + " \r\n\t" + objects[2];
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        JsonSplitter splitter;
        std::vector<std::string> found;
        for (std::string_view const part :
             {std::string_view(stream).substr(0, cut), std::string_view(stream).substr(cut)}) {
            splitter.add(part);
            while (auto const text = splitter.next()) {
                found.push_back(*text);
            }
        }
        EXPECT_THAT(found, ElementsAre(objects[0], objects[1], " \r\n\t" + objects[2])) << cut;
        EXPECT_FALSE(splitter.broken());
    }
    for (std::string_view const wrong : {"hello", "[]", "}", "{}]", "1"}) {
        JsonSplitter splitter;
        splitter.add(wrong);
        while (splitter.next()) {
        }
        EXPECT_TRUE(splitter.broken()) << wrong;
    }
}
