#include "agent/scenario/StateReader.h"

#include "Nexo/VlanIntfId.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <unordered_map>

/// Reads what is under `policies`.
namespace UmoAgent {

namespace {

/// Placeholders for addresses that could not be read, so that one mistake is not reported again as
/// a next hop without MAC. A file with errors is never mounted.
constexpr Nexo::EthAddr kUnreadableMac(0x1);
constexpr Nexo::IpAddr kUnreadableDestination(0xe0000001);

/// Skips version 0, which means that the action is incomplete.
std::uint32_t next(std::uint32_t version) {
    return version == std::numeric_limits<std::uint32_t>::max() ? 1 : version + 1;
}

void clearAddress(Ip::Nat::NatFlowEnd &end) {
    end.addr = Nexo::IpAddr();
    end.prefixLength = 0;
}

} // namespace

void StateReader::policies(Verb verb, YamlNode node) {
    auto const names = [this](YamlNode name) { return values_.name(name); };
    auto const matches = [&](Pelo::String const &policy, YamlNode value) {
        auto const key = [&](Pelo::String const &name) { return Table::Match::Key{policy, name}; };
        auto const read = [&](Pelo::String const &name, YamlNode at, YamlNode settings) {
            match(verb, key(name), at, settings);
        };
        rows<Table::Match, Pelo::String>(
            verb, value, {"a mapping from names to matches", names, key, read, read});
    };
    auto const inPolicy = [&](Pelo::String const &policy, YamlNode name, YamlNode value) {
        if (verb == Verb::set) {
            setIfMissing<Table::Policy>(policy, name);
        }
        nodes_.fields(value, "a mapping with matches",
                      {{"matches", [&](YamlNode inner) { matches(policy, inner); }}});
    };
    rows<Table::Policy, Pelo::String>(verb, node,
                                      {"a mapping from names to policies", names,
                                       [](Pelo::String const &name) { return name; }, inPolicy,
                                       inPolicy});
}

void StateReader::match(Verb verb, Table::Match::Key const &key, YamlNode name, YamlNode node) {
    auto const before = changes_.draft().find<Table::Match>(key);
    std::optional<YamlNode> flowNode, actionsNode;
    nodes_.fields(node, "a mapping with flow and actions",
                  {{"flow", [&](YamlNode value) { flowNode = value; }},
                   {"actions", [&](YamlNode value) { actionsNode = value; }}});
    auto flow = before.value_or(Ip::Nat::NatFlow{});
    if (flowNode) {
        this->flow(verb, key, *flowNode, flow);
    }
    if (flowNode || !before) {
        changes_.set<Table::Match>(key, flow, name);
    }
    if (actionsNode) {
        actions(verb, key, *actionsNode);
    }
}

void StateReader::flow(Verb verb, Table::Match::Key const &key, YamlNode node,
                       Ip::Nat::NatFlow &flow) {
    auto &source = flow.source;
    auto &destination = flow.destination;
    auto const setDestination = [&](YamlNode value) {
        destination.addr = kUnreadableDestination;
        prefix(value, destination);
        changes_.destinationAt(key, value);
    };
    auto const clearDestination = [&](YamlNode item) {
        clearAddress(destination);
        changes_.destinationAt(key, item);
    };
    auto const setPort = [this](Ip::Nat::NatFlowEnd &end) {
        return [this, &end](YamlNode value) { keep(values_.transportPort(value), end.port); };
    };
    parts(verb, node, "a mapping with source and destination",
          {{"source", [&](YamlNode value) { prefix(value, source); }, !source.addr.isZero(),
            [&](YamlNode) { clearAddress(source); }},
           {"source-port", setPort(source), source.port != 0, [&](YamlNode) { source.port = 0; }},
           {"destination", setDestination, !destination.addr.isZero(), clearDestination},
           {"destination-port", setPort(destination), destination.port != 0,
            [&](YamlNode) { destination.port = 0; }}});
}

void StateReader::prefix(YamlNode node, Ip::Nat::NatFlowEnd &end) {
    if (auto const value = values_.prefix(node)) {
        end.addr = value->addr();
        end.prefixLength = value->maskLen();
    }
}

void StateReader::actions(Verb verb, Table::Match::Key const &match, YamlNode node) {
    auto const key = [&](Pelo::String const &name) {
        return Table::Action::Key{match.policy, match.match, name};
    };
    auto const read = [&](Pelo::String const &name, YamlNode at, YamlNode settings) {
        action(verb, key(name), at, settings);
    };
    rows<Table::Action, Pelo::String>(verb, node,
                                      {"a mapping from names to actions",
                                       [this](YamlNode name) { return values_.name(name); }, key,
                                       read, read});
}

/// An event that names an action raises its version by one, unless it names the version.
void StateReader::action(Verb verb, Table::Action::Key const &key, YamlNode name, YamlNode node) {
    auto const before = changes_.draft().find<Table::Action>(key);
    auto action = before.value_or(Table::Action::Value{});
    if (named_.insert(key).second && before) {
        action.version = next(action.version);
    }
    std::optional<YamlNode> destinationNode;
    auto const setDestination = [&](YamlNode value) {
        action.destination = Nexo::IpAndPort(kUnreadableDestination, 0);
        keep(values_.translatedEnd(value), action.destination);
        destinationNode = value;
    };
    auto const clearDestination = [&](YamlNode item) {
        action.destination = Nexo::IpAndPort();
        destinationNode = item;
    };
    if (verb == Verb::remove && node.isMap()) {
        nodes_.fields(node, "a mapping with egress",
                      {{"egress", [&](YamlNode value) { removeEgress(key, value, action); }}});
    } else {
        parts(
            verb, node, "a mapping with source, destination and egress",
            {{"source", [&](YamlNode value) { keep(values_.translatedEnd(value), action.source); },
              !action.source.addr().isZero(), [&](YamlNode) { action.source = Nexo::IpAndPort(); }},
             {"destination", setDestination, !action.destination.addr().isZero(), clearDestination},
             {"egress", [&](YamlNode value) { setEgress(key, value, action); },
              !action.egress.empty(), [&](YamlNode) { action.egress.clear(); }},
             {"version", [&](YamlNode value) {
                  keep(values_.number<std::uint32_t>(
                           value, 0, std::numeric_limits<std::uint32_t>::max(), "a version"),
                       action.version);
              }}});
    }
    bool const lacksMac = std::any_of(action.egress.begin(), action.egress.end(),
                                      [](auto const &hop) { return hop.second.mac.isZero(); });
    if (destinationNode && lacksMac) {
        changes_.destinationAt(key, *destinationNode);
    }
    nodes_.work(action.egress.size());
    changes_.set<Table::Action>(key, std::move(action), name);
}

/// Egress interfaces that need no settings may be a list.
void StateReader::setEgress(Table::Action::Key const &key, YamlNode node,
                            Table::Action::Value &action) {
    std::unordered_map<Nexo::IntfId, std::size_t> places;
    for (auto const &[intf, hop] : action.egress) {
        places.emplace(intf, places.size());
    }
    auto const hopOf = [&](Nexo::IntfId intf) -> Ip::Nat::NatFlowNextHop & {
        auto const [at, added] = places.try_emplace(intf, action.egress.size());
        if (added) {
            action.egress.emplace_back(intf, Ip::Nat::NatFlowNextHop{});
        }
        return action.egress[at->second].second;
    };
    auto const names = interfaceNames(Verb::set);
    if (!node.isMap()) {
        nodes_.list(node, "a mapping from interfaces to next hops, or a list of interfaces",
                    [&](YamlNode item) {
                        if (auto const intf = names(item); intf && hopOf(*intf).mac.isZero()) {
                            changes_.nextHopAt(key, *intf, item);
                        }
                    });
        return;
    }
    nodes_.entries<Nexo::IntfId>(node, "a mapping from interfaces to next hops", names,
                                 [&](Nexo::IntfId intf, YamlNode name, YamlNode value) {
                                     nextHop(Verb::set, key, intf, name, value, hopOf(intf));
                                 });
}

void StateReader::removeEgress(Table::Action::Key const &key, YamlNode node,
                               Table::Action::Value &action) {
    std::unordered_map<Nexo::IntfId, Ip::Nat::NatFlowNextHop *> hops;
    for (auto &[intf, hop] : action.egress) {
        hops.emplace(intf, &hop);
    }
    auto const hopOf = [&](Nexo::IntfId intf, YamlNode at) {
        auto const hop = hops.find(intf);
        if (hop == hops.end()) {
            nodes_.unexpected(at, draftAbsent("an egress interface of the action"));
        }
        return hop;
    };
    auto const names = interfaceNames(Verb::remove);
    if (node.isMap()) {
        nodes_.entries<Nexo::IntfId>(
            node, "a mapping", names, [&](Nexo::IntfId intf, YamlNode name, YamlNode value) {
                if (auto const hop = hopOf(intf, name); hop != hops.end()) {
                    nextHop(Verb::remove, key, intf, name, value, *hop->second);
                }
            });
        return;
    }
    nodes_.list(node, "a list, each item an egress interface of the action", [&](YamlNode item) {
        if (auto const intf = names(item)) {
            if (auto const hop = hopOf(*intf, item); hop != hops.end()) {
                hops.erase(hop);
            }
        }
    });
    std::erase_if(action.egress, [&](auto const &hop) { return hops.count(hop.first) == 0; });
}

void StateReader::nextHop(Verb verb, Table::Action::Key const &key, Nexo::IntfId intf,
                          YamlNode name, YamlNode node, Ip::Nat::NatFlowNextHop &hop) {
    auto const setVlan = [&](YamlNode value) {
        if (Nexo::VlanIntfId::isVlanIntfId(intf)) {
            nodes_.unexpected(value, "no VLAN: " + intf.stringValue() + " has its own");
        } else if (auto const vlan = values_.vlan(value)) {
            hop.vlan = vlan->value();
        }
    };
    auto const setMac = [&](YamlNode value) {
        hop.mac = values_.stationMac(value).value_or(kUnreadableMac);
    };
    auto const clearMac = [&](YamlNode item) {
        hop.mac = Nexo::EthAddr();
        changes_.nextHopAt(key, intf, item);
    };
    parts(verb, node, "a mapping with vlan and mac",
          {{"vlan", setVlan, hop.vlan != 0, [&](YamlNode) { hop.vlan = 0; }},
           {"mac", setMac, !hop.mac.isZero(), clearMac}});
    if (verb == Verb::set && hop.mac.isZero()) {
        changes_.nextHopAt(key, intf, name);
    }
}

} // namespace UmoAgent
