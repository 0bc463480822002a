#include "agent/openflow/FlowPlan.h"

#include "Nexo/IpAddr.h"
#include "agent/openflow/OpenFlowTables.h"

#include <array>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace UmoAgent {

namespace {

constexpr int kMulticastLength = 4; // 224.0.0.0/4
constexpr std::uint32_t kMulticastPrefix = 0xe0000000;

/// How a flow's ports rank among flows with the same prefixes.
enum class PortRank : std::uint8_t { none, one, oneOfEach, both };
constexpr std::uint32_t kPortRanks = 4;

// Among the entries of one flow, those that select less come first.
constexpr std::uint32_t kSplitOff = 1, kFragments = 2, kLaterFragments = 4, kEntryRanks = 6;

constexpr std::uint32_t kPrefixLengths = 33;

constexpr std::array kTransports{"udp", "tcp"};

using Ports = std::pair<std::uint16_t, std::uint16_t>; // source, destination

Ports portsOf(Rule const &rule) {
    return {rule.end(Side::source).port(), rule.end(Side::destination).port()};
}

std::string prefixField(char const *name, std::uint32_t prefix, int length) {
    std::string field(name);
    field.append(1, '=').append(Nexo::IpAddr(prefix).stringValue());
    return length == 32 ? field : field + '/' + std::to_string(length);
}

/// Writes the flow entries of one rule.
class Planner {
  public:
    explicit Planner(PlannedRule &planned) : planned_(planned), rule_(*planned.rule) {}

    /// Whole packets on these ports, of which a 0 is any.
    void packets(Ports ports, PortRank rank) {
        for (auto const &[destination, served, split] : destinations()) {
            for (char const *const transport : transports(ports)) {
                add(transport, destination, ports, served, priority(rank) + split);
            }
        }
    }

    /// Fragments of a flow without ports.
    void fragments() {
        for (auto const &[destination, served, split] : destinations()) {
            add("ip", destination, {}, Served{served.multicast, Fragments::any},
                priority(PortRank::none) + split + kFragments);
            for (char const *const transport : kTransports) {
                add(transport, destination, {}, Served{served.multicast, Fragments::later},
                    priority(PortRank::none) + split + kLaterFragments);
            }
        }
    }

    /// Fragments of what a flow with ports selects: nobody knows their ports.
    void refuseFragments() {
        std::string const destination = destinationField();
        for (char const *const transport : kTransports) {
            add(transport, destination, {}, std::nullopt, priority(PortRank::both) + kFragments);
        }
    }

  private:
    struct Destination {
        std::string field;
        Served served;
        std::uint32_t split; // added to the priority
    };

    [[nodiscard]] static std::vector<char const *> transports(Ports ports) {
        return ports == Ports{} ? std::vector{"ip"}
                                : std::vector(kTransports.begin(), kTransports.end());
    }

    [[nodiscard]] std::string destinationField() const {
        auto const &end = rule_.end(Side::destination);
        return end.length() == 0 ? "" : prefixField("nw_dst", end.prefix(), end.length());
    }

    /// A short prefix has multicast addresses and others, which go to different groups.
    [[nodiscard]] std::vector<Destination> destinations() const {
        auto const &end = rule_.end(Side::destination);
        bool const multicast = Nexo::IpAddr(end.prefix()).isMulticast();
        if (end.length() >= kMulticastLength) {
            return {{destinationField(), {multicast}, 0}};
        }
        std::vector<Destination> all{{destinationField(), {false}, 0}};
        std::uint32_t const mask = end.length() == 0 ? 0 : ~std::uint32_t{0} << (32 - end.length());
        if ((kMulticastPrefix & mask) == end.prefix()) {
            all.push_back(
                {prefixField("nw_dst", kMulticastPrefix, kMulticastLength), {true}, kSplitOff});
        }
        return all;
    }

    [[nodiscard]] std::uint32_t priority(PortRank rank) const {
        auto const length = [&](Side side) {
            return static_cast<std::uint32_t>(rule_.end(side).length());
        };
        std::uint32_t const prefixes =
            length(Side::destination) * kPrefixLengths + length(Side::source);
        return kBelowAllFlows + 1 +
               (prefixes * kPortRanks + static_cast<std::uint32_t>(rank)) * kEntryRanks;
    }

    void add(char const *transport, std::string const &destination, Ports ports,
             std::optional<Served> served, std::uint32_t priority) {
        std::vector<std::string> fields{transport};
        if (auto const &source = rule_.end(Side::source); source.length() != 0) {
            fields.push_back(prefixField("nw_src", source.prefix(), source.length()));
        }
        if (!destination.empty()) {
            fields.push_back(destination);
        }
        if (ports.first != 0) {
            fields.push_back("tp_src=" + std::to_string(ports.first));
        }
        if (ports.second != 0) {
            fields.push_back("tp_dst=" + std::to_string(ports.second));
        }
        Fragments const fragments = served ? served->fragments : Fragments::any;
        if (fragments != Fragments::none) {
            fields.emplace_back(fragments == Fragments::any ? "nw_frag=yes" : "nw_frag=later");
        }
        planned_.flows.push_back(
            {flowMatch(FlowTable::matches, priority, std::move(fields)), served});
    }

    PlannedRule &planned_;
    Rule const &rule_;
};

/// The flows with the same prefixes that came so far.
struct SamePrefixes {
    std::set<Ports> ports;
    std::vector<PlannedRule *> withOnePort;
    bool refusesFragments = false;
};

/// Lets the first of two rules with one port have the packets with both their ports.
void splitBetween(PlannedRule &first, Rule const &second) {
    Ports const one = portsOf(*first.rule), other = portsOf(second);
    bool const sameSide = (one.first == 0) == (other.first == 0);
    if (!sameSide) {
        Planner(first).packets(one.first == 0 ? Ports{other.first, one.second}
                                              : Ports{one.first, other.second},
                               PortRank::oneOfEach);
    }
}

} // namespace

std::vector<PlannedRule> planFlows(std::vector<Rule> const &rules) {
    std::vector<PlannedRule> plan;
    plan.reserve(rules.size()); // they stay where they are
    std::map<std::tuple<int, std::uint32_t, int, std::uint32_t>, SamePrefixes> prefixes;
    for (Rule const &rule : rules) {
        PlannedRule &planned = plan.emplace_back(PlannedRule{&rule, {}});
        auto const &source = rule.end(Side::source), &destination = rule.end(Side::destination);
        SamePrefixes &same = prefixes[{destination.length(), destination.prefix(), source.length(),
                                       source.prefix()}];
        if (!same.ports.insert(portsOf(rule)).second) {
            continue; // an earlier rule gets its packets
        }
        Planner planner(planned);
        PortRank const rank = rule.ports() == 0   ? PortRank::none
                              : rule.ports() == 1 ? PortRank::one
                                                  : PortRank::both;
        planner.packets(portsOf(rule), rank);
        if (rank == PortRank::none) {
            planner.fragments();
        } else if (!std::exchange(same.refusesFragments, true)) {
            planner.refuseFragments();
        }
        if (rank == PortRank::one) {
            for (PlannedRule *const earlier : same.withOnePort) {
                splitBetween(*earlier, rule);
            }
            same.withOnePort.push_back(&planned);
        }
    }
    return plan;
}

} // namespace UmoAgent
