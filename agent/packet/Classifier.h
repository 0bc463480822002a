#pragma once

#include "Ip/NatHwStatus.h"
#include "Mox/Ptr.h"
#include "Pelo/Attribute.h"
#include "Pelo/Publisher.h"
#include "agent/chip/Traffic.h"
#include "agent/packet/Packet.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

namespace UmoAgent {

/// A match's flow, as the chip compares it with packets, and what it has selected so far.
class Rule {
  public:
    Rule(Pelo::String policy, Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus const> match);

    [[nodiscard]] Pelo::String const &policy() const { return policy_; }
    [[nodiscard]] Ip::Nat::HwNatFlowMatchStatus const &match() const { return *match_; }

    Traffic traffic;

    /// Whether the flow selects the packet. A fragment is taken to have the ports.
    [[nodiscard]] bool selects(Packet const &packet) const;
    [[nodiscard]] bool needsPorts() const { return ports() != 0; }
    /// The only destination address that the flow selects, if it is one.
    [[nodiscard]] std::optional<std::uint32_t> onlyDestination() const;

    /// Whether this rule is tried before the other.
    [[nodiscard]] bool operator<(Rule const &other) const { return rank() < other.rank(); }

    /// What the flow says of one side of a packet.
    class End {
      public:
        explicit End(Ip::Nat::NatFlowEnd const &end);

        /// In bits; 0 if the address may be any.
        [[nodiscard]] int length() const { return length_; }
        [[nodiscard]] std::uint32_t prefix() const { return prefix_; }
        /// 0 if the port may be any.
        [[nodiscard]] std::uint16_t port() const { return port_; }
        [[nodiscard]] bool needsPort() const { return port_ != 0; }
        [[nodiscard]] bool selects(Packet const &packet, Side side) const;

      private:
        int length_;
        std::uint32_t mask_;
        std::uint32_t prefix_;
        std::uint16_t port_;
    };
    [[nodiscard]] End const &end(Side side) const {
        return side == Side::source ? source_ : destination_;
    }
    /// How many ports the flow names.
    [[nodiscard]] int ports() const { return source_.needsPort() + destination_.needsPort(); }

  private:
    using Rank = std::tuple<int, int, int, Pelo::String const &, Pelo::String const &>;

    [[nodiscard]] Rank rank() const;

    Pelo::String policy_;
    Mox::Ptr<Ip::Nat::HwNatFlowMatchStatus const> match_;
    End source_, destination_;
};

/// Finds the match of a packet by the flows in the hardware status tree.
///
/// A flow selects packets by source and destination prefix and port; a port of 0 is any. Of several
/// that select a packet, the one with the longest destination prefix is taken, then that with the
/// longest source prefix, then that with the most ports, then the first by the names of policy and
/// match.
///
/// It reads the tree when it is first asked, and again when policies, matches or flows have
/// changed. Until then it does not follow the tree.
class Classifier {
  public:
    explicit Classifier(Mox::Ptr<Ip::Nat::HwNatFlowStatus const> tree) : tree_(std::move(tree)) {}
    Classifier(Classifier const &) = delete;
    Classifier &operator=(Classifier const &) = delete;

    /// The rule of the packet, or null. Valid until the next call.
    Rule *find(Packet const &packet);

    /// The rules of all matches in the tree, in the order in which they are tried. Valid until the
    /// next call.
    [[nodiscard]] std::vector<Rule> const &rules();

    /// How often the tree was read: the rules are the same as long as this is, after a call of
    /// `rules`.
    [[nodiscard]] std::uint64_t version() const { return version_; }

  private:
    /// Notes a change of one attribute of an entity of the tree.
    class Watch {
      public:
        Watch(Classifier &classifier, Mox::Entity const &entity, Pelo::AttributeId attribute);

      private:
        static void changed(void *watch, Pelo::Change const &change);

        Classifier &classifier_;
        Pelo::AttributeId attribute_;
        Pelo::Subscriber subscriber_{&changed, this};
    };

    void readTree();

    Mox::Ptr<Ip::Nat::HwNatFlowStatus const> tree_;
    std::list<Watch> watches_;
    std::vector<Rule> rules_;
    // Most flows name one destination: their rules are found by it, and the others come after them.
    std::unordered_map<std::uint32_t, std::vector<std::size_t>> ofDestination_;
    std::size_t otherRules_ = 0; // the first of them
    std::uint64_t version_ = 0;
    bool current_ = false; // the rules are those of the tree
};

} // namespace UmoAgent
