#include "sim/Generator.h"

#include <array>
#include <string_view>
#include <vector>

namespace Sim {

namespace {

constexpr std::size_t kEvaluateAllEvery = 50; // events

constexpr char const *kInitial = R"(interfaces:
  Ethernet1: <switchport>
  Ethernet2: <switchport>
  Ethernet3: <switchport>
  Ethernet4: <switchport>
  Ethernet5: <switchport>
  Ethernet6: <switchport>
  Ethernet7: <switchport>
  Port-Channel1: <switchport>
bridge-mac: <mac>
ip-interfaces: {Vlan10: <ip>, Vlan20: <ip>, Vlan30: <ip>, Vlan40: <ip>, Vlan50: <ip>, Vlan60: <ip>}
l3-interfaces: {(95% Vlan10: 10, )Vlan20: 20, Vlan30: 30, (95% Vlan40: 40, )Vlan50: 50, Vlan60: 60}
vlans:
  {10: <somePorts>, 20: <somePorts>, 30: <somePorts>,
   40: <somePorts>, 50: <somePorts>, 60: <somePorts>}
topologies:
  t0: {vlans: [10, 20, 30], ports: <portStates>}
  t1: {vlans: [40, 50, 60], ports: <portStates>}
policies: {p0: <newPolicy>, p1: <newPolicy>}
)";

/// What an event may remove from a state and set in it. What was removed may be added again at
/// once, as a new entity of the same name.
struct ChangeKind {
    std::size_t weight; // relative frequency
    char const *remove;
    char const *set;
};

std::vector<ChangeKind> const kChanges{
    {5, "", "bridge-mac: <mac>, "},

    {5, "", "interfaces: {<port>: <switchport>}, "},
    {1, "interfaces: [<Port>], ", "(30% interfaces: {<Port>: <switchport>}, )"},

    {6, "", "vlans: {<vlan>: [<port>]}, "},
    {2, "", "vlans: {<vlan>: <somePorts>}, "},
    {1, "vlans: [<Vlan>], ", "(20% vlans: {<Vlan>: <somePorts>}, )"},
    {5, "vlans: {<Vlan>: [<port>]}, ", "(20% vlans: {<Vlan>: [<port>]}, )"},

    {8, "", "topologies: {<topology>: {ports: <portStates>}}, "},
    {5, "", "topologies: {<topology>: {vlans: [<vlan>], ports: <portStates>}}, "},
    {1, "topologies: [<Topology>], ", "(40% topologies: {<Topology>: {ports: <portStates>}}, )"},
    {2, "topologies: {<topology>: {ports: [<port>]}}, ", ""},
    {2, "topologies: {<topology>: {vlans: [<vlan>]}}, ", ""},

    {11, "", "learned-macs: {<vlan>: {<mac>: <port>}}, "},
    {1, "learned-macs: [<Vlan>], ", "(20% learned-macs: {<Vlan>: {<mac>: <port>}}, )"},
    {5, "learned-macs: {<Vlan>: [<Mac>]}, ", "(20% learned-macs: {<Vlan>: {<Mac>: <port>}}, )"},

    {5, "", "ip-interfaces: {<l3Interface>: <ip>}, "},
    {1, "ip-interfaces: [Vlan<Vlan>], ", "(30% ip-interfaces: {Vlan<Vlan>: <ip>}, )"},
    {1, "ip-interfaces: [Ethernet7], ", ""},

    {4, "", "l3-interfaces: {Vlan<Vlan>: <Vlan>}, "},
    {3, "", "l3-interfaces: {Ethernet7: <vlan>}, "},
    {1, "l3-interfaces: [Vlan<Vlan>], ", "(30% l3-interfaces: {Vlan<Vlan>: <Vlan>}, )"},
    {1, "l3-interfaces: [Ethernet7], ", ""},

    {2, "", "policies: {<policy>: <newPolicy>}, "},
    {2, "policies: [<Policy>], ", "(40% policies: {<Policy>: <newPolicy>}, )"},
    {2, "policies: {<Policy>: {matches: [<Match>]}}, ",
     "(40% policies: {<Policy>: {matches: {<Match>: <newMatch>}}}, )"},
    {2, "policies: {<Policy>: {matches: {<Match>: {actions: [<Action>]}}}}, ",
     "(40% policies: {<Policy>: {matches: {<Match>: {actions: {<Action>: <newAction>}}}}}, )"},
    {6, "policies: {<Policy>: {matches: {<Match>: {flow: <flowPart>}}}}, ", ""},
    {8, "policies: {<Policy>: {matches: {<Match>: {actions: {<Action>: <actionPart>}}}}}, ", ""},
    {7, "", "policies: {<policy>: {matches: {<match>: {flow: <flow>}}}}, "},
    {2, "", "policies: {<policy>: {matches: {<match>: {actions: {<action>: <version>}}}}}, "},
    {20, "", "policies: {<policy>: {matches: {<match>: {actions: {<action>: <newAction>}}}}}, "},
};

/// The changes, each repeated by its weight.
std::vector<ChangeKind> const kDeck = [] {
    std::vector<ChangeKind> deck;
    for (ChangeKind const &change : kChanges) {
        deck.insert(deck.end(), change.weight, change);
    }
    return deck;
}();

/// Naming an action raises its version. Incomplete actions are left out, because that would
/// complete them.
std::string evaluateAll(PlainSwitch const &now) {
    std::string text = "set: {policies: {";
    for (auto const &[policyName, policy] : now.policies) {
        text += policyName + ": {matches: {";
        for (auto const &[matchName, match] : policy.matches) {
            text += matchName + ": {actions: {";
            for (auto const &[name, action] : match.actions) {
                text += action.version == 0 ? "" : name + ": {}, ";
            }
            text += "}}, ";
        }
        text += "}}, ";
    }
    return text + "}}";
}

std::string changing(std::string const &removed, std::string const &set) {
    return "remove: {" + removed + "}, set: {" + set + "}}";
}

} // namespace

std::string Generator::initial() {
    for (;;) {
        std::string text = grammar_.text(kInitial);
        try {
            readInitial(text);
            return text;
        } catch (Rejected const &) {
            // Try another.
        }
    }
}

Step Generator::step(UmoAgent::SwitchState const &mounted, PlainSwitch const &now) {
    std::string begin = "{at: " + time() +
                        "ms, "; // one draw per statement: the order is the same for all compilers
    begin += grammar_.text(faults_ ? "(5% refuse-groups: <refusals>, )" : "");
    if (++events_ % kEvaluateAllEvery == 0) {
        return readStep(grammar_.text(begin + evaluateAll(now) + "}"), mounted);
    }
    if (flaps_ > 0) {
        --flaps_;
        std::string const state = flaps_ % 2 == 0 ? "forwarding" : "blocking";
        return readStep(begin + flapping_ + state + "}}}}}", mounted);
    }
    if (random_.chance(3)) {
        flaps_ = 2 + random_.below(6);
        flapping_ = grammar_.text("set: {topologies: {<topology>: {ports: {<port>: ");
    }
    return change(begin, mounted, now);
}

/// An event with one or several changes.
Step Generator::change(std::string const &begin, UmoAgent::SwitchState const &mounted,
                       PlainSwitch const &now) {
    Step step;
    std::string removed;
    std::string set = grammar_.text(faults_ ? "(8% chip: {groups: <groups>}, )" : "");
    for (std::size_t left = random_.chance(8) ? 2 + random_.below(3) : 1; left > 0;) {
        ChangeKind const change = random_.pick(kDeck);
        namesAnew(now);
        std::string const alsoRemoved = removed + grammar_.text(change.remove);
        std::string const alsoSet = set + grammar_.text(change.set);
        try {
            step = readStep(grammar_.text(begin + changing(alsoRemoved, alsoSet)), mounted);
            removed = alsoRemoved;
            set = alsoSet;
            --left;
        } catch (Rejected const &) {
            // Try another change.
        }
    }
    return step;
}

/// Makes the names that repeat within a change mostly those of an existing action, so that there is
/// something to remove.
void Generator::namesAnew(PlainSwitch const &now) {
    std::vector<std::array<std::string_view, 4>> present;
    for (auto const &[policyName, policy] : now.policies) {
        for (auto const &[matchName, match] : policy.matches) {
            for (auto const &[name, action] : match.actions) {
                for (auto const &[intf, egress] : action.egress) {
                    present.push_back({policyName, matchName, name, intf.stringValue()});
                }
            }
        }
    }
    grammar_.forget();
    if (!present.empty() && random_.chance(75)) {
        auto const [policy, match, action, egress] = random_.pick(present);
        grammar_.choose("Policy", policy);
        grammar_.choose("Match", match);
        grammar_.choose("Action", action);
        grammar_.choose("Egress", egress);
    }
}

/// Times around those at which the switch has something to do. The events of a burst have the same
/// time; other steps are just below or above the delays of the backlog and the retry.
std::string Generator::time() {
    if (burst_ > 0) {
        --burst_;
    } else if (flaps_ > 0) {
        now_ += 30;
    } else {
        static constexpr std::array<unsigned, 14> kSteps{
            1, 37, 99, 100, 101, 250, 1000, 1000, 3333, 6667, 9999, 10'000, 10'001, 60'000};
        now_ += random_.chance(1) ? 3'600'000 : random_.pick(kSteps);
        burst_ = random_.chance(10) ? 1 + random_.below(8) : 0;
    }
    return std::to_string(now_);
}

} // namespace Sim
