#include "sim/Grammar.h"

#include <cctype>
#include <vector>

namespace Sim {

namespace {

/// The alternatives of each name in patterns. A frequent one is listed several times.
std::map<std::string, std::vector<std::string_view>> const kPatterns{
    {"port",
     {"Ethernet1", "Ethernet2", "Ethernet3", "Ethernet4", "Ethernet5", "Ethernet6", "Ethernet7",
      "Port-Channel1"}},
    {"vlan", {"10", "20", "30", "40", "50", "60"}},
    {"topology", {"t0", "t1", "t2"}},
    {"policy", {"p0", "p1", "p2"}},
    {"match", {"m0", "m1", "m2"}},
    {"action", {"a0", "a1", "a2", "a3"}},
    {"egress", {"Vlan<vlan>", "<port>"}},
    {"mac", {"'02:00:00:00:00:0a'", "'02:00:00:00:00:0b'", "'02:00:00:00:00:0c'"}},

    {"somePorts",
     {"[(65% Ethernet1, )(65% Ethernet2, )(65% Ethernet3, )(65% Ethernet4, )(65% Ethernet5, )"
      "(65% Ethernet6, )(65% Ethernet7, )(65% Port-Channel1, )]"}},
    {"portStates",
     {"{(65% Ethernet1: <state>, )(65% Ethernet2: <state>, )(65% Ethernet3: <state>, )"
      "(65% Ethernet4: <state>, )(65% Ethernet5: <state>, )(65% Ethernet6: <state>, )"
      "(65% Ethernet7: <state>, )(65% Port-Channel1: <state>, )}"}},
    {"state", {"forwarding", "forwarding", "forwarding", "forwarding", "forwarding", "<down>"}},
    {"down", {"disabled", "blocking", "learning"}},
    {"switchport", {"{mode: <mode>, native-vlan: <native>}"}},
    {"mode", {"access", "trunk", "trunk", "trunk", "dot1q-tunnel", "routed"}},
    {"native", {"<vlan>", "<vlan>", "<vlan>", "<vlan>", "<vlan>", "<vlanOrNone>"}},
    {"vlanOrNone", {"<vlan>", "<vlan>", "none"}},
    {"ip", {"{address: <address>, routing: <routing>}"}},
    {"address", {"10.0.1.1/24", "10.0.1.1/24", "10.0.2.1/24", "10.0.2.1/24", "<otherAddress>"}},
    {"otherAddress", {"10.0.3.1/24", "none"}},
    {"routing", {"true", "true", "true", "true", "true", "true", "<trueOrFalse>"}},
    {"trueOrFalse", {"true", "false"}},
    {"l3Interface", {"Vlan<vlan>", "Vlan<vlan>", "Vlan<vlan>", "Vlan<vlan>", "Ethernet7"}},
    {"groups", {"100000", "<few>"}},
    {"few", {"0", "4", "6", "8", "9", "10", "11", "12", "13", "14", "15", "16", "18"}},

    {"newPolicy",
     {"{matches: {(50% m0: <newMatch>, )(50% m1: <newMatch>, )(50% m2: <newMatch>, )}}"}},
    {"newMatch",
     {"{flow: <flow>, actions: {(35% a0: <newAction>, )(35% a1: <newAction>, )"
      "(35% a2: <newAction>, )(35% a3: <newAction>, )}}"}},
    {"flow",
     {"{(75% source: <flowSource>, )(50% source-port: <flowPort>, )"
      "(60% destination: <flowDestination>, )(33% destination-port: 6000, )}"}},
    {"flowSource", {"10.1.0.0/16", "10.1.0.0/24", "10.2.0.1"}},
    {"flowPort", {"5000", "5001"}},
    {"flowDestination", {"239.1.1.1", "239.1.1.1/24", "10.5.0.1"}},
    {"newAction", {"<anyAction>", "<anyAction>", "<anyAction>", "<anyAction>", "<groupAction>"}},
    {"anyAction",
     {"{(75% source: <source>, )(50% destination: <destination>, )"
      "(75% egress: <hops>, )(5% version: 0, )}"}},
    {"groupAction", // needs no MAC addresses
     {"{(75% source: <source>, )destination: <group>, egress: {<bareHop>, (50% <bareHop>, )}}"}},
    {"source", {"'10.9.9.1:5000'", "'10.9.9.1:5001'", "10.9.9.2"}},
    {"destination", {"'239.2.2.2:6000'", "'10.8.0.1:7000'", "'10.8.0.1:7001'"}},
    {"group", {"'239.2.2.2:6000'", "239.130.2.3"}},
    {"hops", {"{<hop>, (65% <hop>, )(35% <hop>, )}"}},
    {"hop", {"Vlan<vlan>: {mac: <mac>}", "<port>: {(60% vlan: <vlan>, )mac: <mac>}"}},
    {"bareHop", {"Vlan<vlan>: {}", "<port>: {(60% vlan: <vlan>)}"}},
    {"flowPart", {"source", "source-port", "destination", "destination-port"}},
    {"actionPart", {"source", "destination", "egress", "<egressPart>", "<egressPart>"}},
    {"egressPart", {"{egress: [<Egress>]}", "{egress: {<Egress>: vlan}}"}},
    {"version", {"{version: 0}", "{version: 0}", "{version: 7}"}},
    {"refusals", {"1", "1", "2", "3"}},
};

} // namespace

std::string Grammar::text(std::string_view pattern) {
    std::string text;
    append(pattern, text);
    return text;
}

void Grammar::append(std::string_view pattern, std::string &text) {
    for (std::size_t at = 0; at < pattern.size(); ++at) {
        if (pattern[at] == '<') {
            std::size_t const end = pattern.find('>', at);
            append(choice(std::string(pattern.substr(at + 1, end - at - 1))), text);
            at = end;
        } else if (pattern[at] == '(') {
            std::size_t const end = pattern.find(')', at);
            auto const percent = static_cast<unsigned>(std::stoi(std::string(pattern, at + 1, 2)));
            if (random_.chance(percent)) {
                std::size_t const begin = pattern.find(' ', at) + 1;
                append(pattern.substr(begin, end - begin), text);
            }
            at = end;
        } else {
            bool const closes = pattern[at] == '}' || pattern[at] == ']';
            if (closes && text.ends_with(", ")) {
                text.resize(text.size() - 2);
            }
            text += pattern[at];
        }
    }
}

std::string Grammar::choice(std::string const &name) {
    auto const initial = static_cast<unsigned char>(name.front());
    if (std::isupper(initial) == 0) {
        return std::string(random_.pick(kPatterns.at(name)));
    }
    auto const [at, fresh] = chosen_.try_emplace(name);
    if (fresh) {
        at->second = random_.pick(kPatterns.at(
            std::string(1, static_cast<char>(std::tolower(initial))) + name.substr(1)));
    }
    return at->second;
}

} // namespace Sim
