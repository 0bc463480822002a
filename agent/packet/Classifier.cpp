#include "agent/packet/Classifier.h"

#include <algorithm>
#include <cstddef>

namespace UmoAgent {

using Ip::Nat::HwNatFlowMatchStatus;

namespace {

constexpr int kAddressBits = 32;

} // namespace

/// A zero address is none, whatever its length.
Rule::End::End(Ip::Nat::NatFlowEnd const &end)
    : length_(end.addr.isZero() ? 0 : static_cast<int>(end.prefixLength)),
      mask_(length_ == 0 ? 0 : ~std::uint32_t{0} << (kAddressBits - length_)),
      prefix_(end.addr.value() & mask_),
      port_(end.port) {}

bool Rule::End::selects(Packet const &packet, Side side) const {
    return (packet.address(side).value() & mask_) == prefix_ &&
           (port_ == 0 ||
            (packet.hasPorts() && (packet.isFragment() || packet.port(side) == port_)));
}

Rule::Rule(Pelo::String policy, Mox::Ptr<HwNatFlowMatchStatus const> match)
    : policy_(std::move(policy)),
      match_(std::move(match)),
      source_(match_->flow().source),
      destination_(match_->flow().destination) {}

bool Rule::selects(Packet const &packet) const {
    return destination_.selects(packet, Side::destination) && source_.selects(packet, Side::source);
}

std::optional<std::uint32_t> Rule::onlyDestination() const {
    return destination_.length() == kAddressBits ? std::optional(destination_.prefix())
                                                 : std::nullopt;
}

Rule::Rank Rule::rank() const {
    return {-destination_.length(), -source_.length(), -ports(), policy_, match_->name()};
}

Classifier::Watch::Watch(Classifier &classifier, Mox::Entity const &entity,
                         Pelo::AttributeId attribute)
    : classifier_(classifier), attribute_(attribute) {
    entity.notifier().subscriberAdd(subscriber_);
}

void Classifier::Watch::changed(void *watch, Pelo::Change const &change) {
    auto &self = *static_cast<Watch *>(watch);
    if (change.attribute() == self.attribute_) {
        self.classifier_.current_ = false;
    }
}

Rule *Classifier::find(Packet const &packet) {
    if (!current_) {
        readTree();
    }
    if (auto const known = ofDestination_.find(packet.address(Side::destination).value());
        known != ofDestination_.end()) {
        for (std::size_t const number : known->second) {
            if (rules_[number].selects(packet)) {
                return &rules_[number];
            }
        }
    }
    auto const others = rules_.begin() + static_cast<std::ptrdiff_t>(otherRules_);
    auto const rule = std::find_if(others, rules_.end(),
                                   [&](Rule const &tried) { return tried.selects(packet); });
    return rule == rules_.end() ? nullptr : &*rule;
}

std::vector<Rule> const &Classifier::rules() {
    if (!current_) {
        readTree();
    }
    return rules_;
}

void Classifier::readTree() {
    using namespace Ip::Nat;
    std::unordered_map<HwNatFlowMatchStatus const *, Traffic> before;
    for (Rule const &rule : rules_) {
        before.emplace(&rule.match(), rule.traffic);
    }
    std::vector<Rule> rules;
    watches_.clear();
    watches_.emplace_back(*this, *tree_, HwNatFlowStatus::natFlowAttribute.id);
    for (auto const &[policyName, policy] : tree_->natFlow()) {
        watches_.emplace_back(*this, *policy, HwNatFlowPolicyStatus::matchAttribute.id);
        for (auto const &[name, match] : policy->match()) {
            watches_.emplace_back(*this, *match, HwNatFlowMatchStatus::flowAttribute.id);
            rules.emplace_back(policyName, match).traffic = before[&*match];
        }
    }
    std::sort(rules.begin(), rules.end());
    rules_ = std::move(rules);
    ofDestination_.clear();
    otherRules_ = 0;
    for (Rule const &rule : rules_) {
        if (auto const destination = rule.onlyDestination()) {
            ofDestination_[*destination].push_back(otherRules_++);
        }
    }
    ++version_;
    current_ = true;
}

} // namespace UmoAgent
