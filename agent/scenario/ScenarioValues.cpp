#include "agent/scenario/ScenarioValues.h"

#include "Nexo/VlanIntfId.h"
#include "agent/base/Numbers.h"
#include "agent/scenario/Limits.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <system_error>

namespace UmoAgent {

namespace {

constexpr std::uint16_t kMinVlan = 1;
constexpr std::uint16_t kMaxVlan = 4094;

template <class Value>
using Words = std::vector<std::pair<std::string_view, Value>>;

/// One of a few words.
template <class Value>
std::optional<Value> word(ScenarioNodes &nodes, YamlNode node, Words<Value> const &words) {
    std::string expected;
    for (auto const &[name, value] : words) {
        if (node.isScalar(name)) {
            return value;
        }
        expected.append(expected.empty() ? "" : ", ").append(name);
    }
    nodes.unexpected(node, "one of " + expected);
    return std::nullopt;
}

/// The result of `parse` on a scalar's text. For malformed text `parse` throws
/// std::invalid_argument, whose message quotes the text and says what was expected.
template <class Parse>
auto parsed(ScenarioNodes &nodes, YamlNode node, std::string_view expected, Parse parse)
    -> std::optional<decltype(parse(std::string_view()))> {
    auto const text = nodes.text(node, expected);
    if (!text) {
        return std::nullopt;
    }
    try {
        return parse(*text);
    } catch (std::invalid_argument const &error) {
        nodes.errors().add(node.place(), error.what());
        return std::nullopt;
    }
}

/// The text, if it has at most `most` bytes.
std::optional<std::string> shortText(ScenarioNodes &nodes, YamlNode node,
                                     std::optional<std::string_view> text, std::size_t most,
                                     char const *what) {
    if (text && text->size() > most) {
        nodes.errors().add(node.place(),
                           std::string("a ") + what + " of " + std::to_string(text->size()) +
                               " bytes",
                           "one of at most " + std::to_string(most));
        return std::nullopt;
    }
    return text ? std::optional(std::string(*text)) : std::nullopt;
}

} // namespace

std::optional<std::uint64_t> ScenarioValues::numberBetween(YamlNode node, std::uint64_t min,
                                                           std::uint64_t max,
                                                           std::string_view what) {
    std::string const expected =
        std::string(what) + ", a number from " + std::to_string(min) + " to " + std::to_string(max);
    auto const text = nodes_.text(node, expected);
    if (!text) {
        return std::nullopt;
    }
    auto const value = wholeNumber(*text);
    if (!value || *value < min || *value > max) {
        nodes_.unexpected(node, expected);
        return std::nullopt;
    }
    return value;
}

std::optional<Bridging::VlanId> ScenarioValues::vlan(YamlNode node) {
    auto const value = number(node, kMinVlan, kMaxVlan, "a VLAN");
    return value ? std::optional(Bridging::VlanId(*value)) : std::nullopt;
}

std::optional<Bridging::VlanId> ScenarioValues::l3Id(YamlNode node) {
    auto const value = number(node, kMinVlan, kMaxVlan, "an L3 id");
    return value ? std::optional(Bridging::VlanId(*value)) : std::nullopt;
}

std::optional<std::uint16_t> ScenarioValues::transportPort(YamlNode node) {
    return number<std::uint16_t>(node, 1, 65535, "a transport port");
}

std::optional<bool> ScenarioValues::boolean(YamlNode node) {
    return word(nodes_, node, Words<bool>{{"true", true}, {"false", false}});
}

std::optional<Vyr::Time> ScenarioValues::time(YamlNode node) {
    static constexpr std::string_view kExpected = "a time such as 10s, 500ms, 1m30s or 2h";
    auto const text = nodes_.text(node, kExpected);
    if (!text) {
        return std::nullopt;
    }
    auto const value = readTime(*text);
    if (!value) {
        nodes_.unexpected(node, std::string(kExpected) + ", at most a year");
    }
    return value;
}

std::optional<Pelo::String> ScenarioValues::name(YamlNode node) {
    static constexpr std::string_view kExpected = "a name";
    auto const text = nodes_.text(node, kExpected);
    if (text && text->empty()) {
        nodes_.unexpected(node, kExpected);
        return std::nullopt;
    }
    return shortText(nodes_, node, text, Limits::kNameBytes, "name");
}

std::optional<std::string> ScenarioValues::note(YamlNode node) {
    return shortText(nodes_, node, nodes_.text(node, "a text"), Limits::kNoteBytes, "note");
}

std::optional<Bridging::SwitchportMode> ScenarioValues::switchportMode(YamlNode node) {
    using Bridging::SwitchportMode;
    return word(nodes_, node,
                Words<SwitchportMode>{{"access", SwitchportMode::access},
                                      {"trunk", SwitchportMode::trunk},
                                      {"dot1q-tunnel", SwitchportMode::dot1qTunnel},
                                      {"routed", SwitchportMode::routed}});
}

std::optional<Bridging::VlanIdOrNone> ScenarioValues::nativeVlan(YamlNode node) {
    if (node.isScalar("none")) {
        return Bridging::VlanIdOrNone();
    }
    auto const value = number(node, kMinVlan, kMaxVlan, "none or a VLAN");
    return value ? std::optional(Bridging::VlanIdOrNone(*value)) : std::nullopt;
}

std::optional<Bridging::Topology::PortState> ScenarioValues::portState(YamlNode node) {
    using Bridging::Topology::PortState;
    return word(nodes_, node,
                Words<PortState>{{"disabled", PortState::disabled},
                                 {"blocking", PortState::blocking},
                                 {"learning", PortState::learning},
                                 {"forwarding", PortState::forwarding}});
}

std::optional<Printout> ScenarioValues::printout(YamlNode node) {
    using What = Printout::What;
    Words<Printout> const words{{"tree", {What::tree}},
                                {"chip", {What::chip}},
                                {"groups", {What::groups}},
                                {"table", {What::table}},
                                {"packets", {What::packets}}};
    constexpr std::string_view kJson = " --json";
    for (auto const &[name, printout] : words) {
        if (node.isScalar(std::string(name).append(kJson))) {
            return Printout{printout.what, true};
        }
    }
    return word(nodes_, node, words);
}

std::optional<Nexo::EthAddr> ScenarioValues::stationMac(YamlNode node) {
    auto const value = parsed(nodes_, node, "a MAC address", Nexo::EthAddr::parse);
    if (value && value->isZero()) {
        nodes_.unexpected(node, "a MAC address other than zero");
        return std::nullopt;
    }
    if (value && value->isMulticast()) {
        nodes_.unexpected(node, "the MAC address of one station, not of a group");
        return std::nullopt;
    }
    return value;
}

std::optional<Nexo::IpAddrWithMask> ScenarioValues::interfaceAddress(YamlNode node) {
    if (node.isScalar("none")) {
        return Nexo::IpAddrWithMask();
    }
    auto const value = parsed(nodes_, node, "none or an address with its mask length",
                              Nexo::IpAddrWithMask::parse);
    if (value && value->addr().isZero()) {
        nodes_.unexpected(node, "none or an address other than zero");
        return std::nullopt;
    }
    return value;
}

std::optional<Nexo::IpAddrWithMask> ScenarioValues::prefix(YamlNode node) {
    return parsed(nodes_, node, "an address or a prefix", [](std::string_view text) {
        return text.find('/') == std::string_view::npos
                   ? Nexo::IpAddrWithMask(Nexo::IpAddr::parse(text), 32)
                   : Nexo::IpAddrWithMask::parse(text);
    });
}

std::optional<Nexo::IpAndPort> ScenarioValues::translatedEnd(YamlNode node) {
    auto const value = parsed(nodes_, node, "an address with a port", Nexo::IpAndPort::parse);
    if (value && value->addr().isZero()) {
        nodes_.unexpected(node, "an address other than zero");
        return std::nullopt;
    }
    return value;
}

std::optional<Nexo::IntfId> ScenarioValues::interfaceName(YamlNode node) {
    auto const intf = parsed(nodes_, node, "an interface",
                             [](std::string_view name) { return Nexo::IntfId(name); });
    if (!intf) {
        return std::nullopt;
    }
    std::uint16_t const vlan = Nexo::VlanIntfId::vlanId(*intf);
    bool const unusableVlan =
        Nexo::VlanIntfId::isVlanIntfId(*intf) && (vlan < kMinVlan || vlan > kMaxVlan);
    if (intf->empty() || unusableVlan) {
        nodes_.unexpected(node,
                          unusableVlan ? "a VLAN interface, Vlan1 to Vlan4094" : "an interface");
        return std::nullopt;
    }
    return intf;
}

std::optional<Nexo::IntfId> ScenarioValues::portName(YamlNode node) {
    auto const intf = interfaceName(node);
    if (intf && Nexo::VlanIntfId::isVlanIntfId(*intf)) {
        nodes_.unexpected(node, "an interface other than a VLAN's");
        return std::nullopt;
    }
    return intf;
}

std::optional<Nexo::IntfId> ScenarioValues::interface(YamlNode node) {
    auto const intf = interfaceName(node);
    if (intf) {
        use(*intf, node);
    }
    return intf;
}

std::optional<Nexo::IntfId> ScenarioValues::port(YamlNode node) {
    auto const intf = portName(node);
    if (intf) {
        use(*intf, node);
    }
    return intf;
}

void ScenarioValues::use(Nexo::IntfId intf, YamlNode node) {
    if (!Nexo::VlanIntfId::isVlanIntfId(intf) && !declared_(intf)) {
        used_.emplace_back(intf, node.place()); // it may be declared later
    }
}

void ScenarioValues::checkUses() {
    for (auto const &[intf, place] : used_) {
        if (!declared_(intf)) {
            nodes_.errors().add(place, "unknown interface " + intf.stringValue(),
                                "one that the scenario declares under interfaces");
        }
    }
}

} // namespace UmoAgent
