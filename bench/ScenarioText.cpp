#include "ScenarioText.h"

#include <cstdio>
#include <functional>

namespace Bench {

namespace {

constexpr std::size_t kPorts = 64;
constexpr std::size_t kVlans = 50;
constexpr std::size_t kMembers = 8;
constexpr std::size_t kFirstVlan = 100;
constexpr std::size_t kMatchesOfPolicy = 1000;

/// The items that `item` returns for 0 to `count` - 1, separated by commas.
std::string listed(std::size_t count, std::function<std::string(std::size_t)> const &item) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += (i == 0 ? "" : ", ") + item(i);
    }
    return text;
}

std::string portName(std::size_t number) {
    return "Ethernet" + std::to_string(number + 1);
}

std::string vlanName(std::size_t vlan) {
    return std::to_string(kFirstVlan + vlan);
}

std::string memberOf(std::size_t vlan, std::size_t member) {
    return portName((vlan * kMembers + member) % kPorts);
}

/// `10.A.B.C` for the number; any first byte.
std::string address(unsigned first, std::size_t number) {
    char text[32];
    std::snprintf(text, sizeof text, "%u.%zu.%zu.%zu", first, number >> 16U & 255U,
                  number >> 8U & 255U, number & 255U);
    return text;
}

std::string hostMac(std::size_t number) {
    char text[32];
    std::snprintf(text, sizeof text, "\"02:00:00:%02zx:%02zx:%02zx\"", number >> 16U & 255U,
                  number >> 8U & 255U, number & 255U);
    return text;
}

std::string switchText() {
    std::string const svis = listed(kVlans, [](std::size_t vlan) {
        return "Vlan" + vlanName(vlan) + ": {address: 10.0.0.1/24}";
    });
    return "chip: {groups: 1000000, port-sets-per-group: 1000000}\ninterfaces: {" +
           listed(kPorts, [](std::size_t port) { return portName(port) + ": {mode: trunk}"; }) +
           "}\nvlans: {" +
           listed(kVlans,
                  [](std::size_t vlan) {
                      return vlanName(vlan) + ": [" +
                             listed(kMembers,
                                    [&](std::size_t member) { return memberOf(vlan, member); }) +
                             "]";
                  }) +
           "}\ntopologies: {main: {vlans: [" + listed(kVlans, vlanName) + "], ports: {" +
           listed(kPorts, [](std::size_t port) { return portName(port) + ": forwarding"; }) +
           "}}}\nip-interfaces: {" + svis + "}\nl3-interfaces: {" +
           listed(
               kVlans,
               [](std::size_t vlan) { return "Vlan" + vlanName(vlan) + ": " + vlanName(vlan); }) +
           "}\n";
}

std::string actionText(std::size_t number) {
    std::size_t const vlan = number % kVlans;
    std::string text =
        "action-" + std::to_string(number) + ": {source: " + address(10, number + 1) + ":5000, ";
    if (number / 2 % 2 == 0) {
        text += "destination: " + address(11, number + 1) + ":5000, ";
    }
    return text + "egress: {" +
           (number % 2 == 0 ? "Vlan" + vlanName(vlan) + ": {"
                            : memberOf(vlan, 0) + ": {vlan: " + vlanName(vlan) + ", ") +
           "mac: " + hostMac(number) + "}}}";
}

std::size_t actionsOfMatch(std::size_t actions, Shape shape) {
    return shape == Shape::oneMatch ? actions : 10;
}

std::string policyOf(std::size_t match, Shape shape) {
    return "policy-" + std::to_string(shape == Shape::policies ? match / kMatchesOfPolicy : 0);
}

} // namespace

std::string scenarioText(std::size_t actions, Shape shape) {
    std::string text = switchText() + "policies:\n";
    std::string policy;
    std::size_t const inMatch = actionsOfMatch(actions, shape);
    for (std::size_t number = 0; number < actions; ++number) {
        std::size_t const match = number / inMatch;
        if (number % inMatch == 0) {
            if (policy != policyOf(match, shape)) {
                policy = policyOf(match, shape);
                text += "  " + policy + ":\n    matches:\n";
            }
            text += "      match-" + std::to_string(match) +
                    ":\n        flow: {destination: " + address(239, match + 1) +
                    ", destination-port: 5000}\n        actions:\n";
        }
        text += "          " + actionText(number) + "\n";
    }
    return text;
}

std::string oneActionEvents(std::size_t actions, Shape shape, std::size_t first,
                            std::size_t events) {
    std::string text = "events:\n";
    for (std::size_t event = first; event < first + events; ++event) {
        std::size_t const number = event * 7919 % actions; // spread over all actions
        std::size_t const match = number / actionsOfMatch(actions, shape);
        text += "- {at: 0, set: {policies: {" + policyOf(match, shape) + ": {matches: {match-" +
                std::to_string(match) + ": {actions: {action-" + std::to_string(number) +
                ": {source: " + address(12, event + 1) + "}}}}}}}}\n";
    }
    return text;
}

} // namespace Bench
