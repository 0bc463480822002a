#include "agent/packet/Classifier.h"

#include <algorithm>
#include <unordered_map>

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
    auto const rule = std::find_if(rules_.begin(), rules_.end(),
                                   [&](Rule const &tried) { return tried.selects(packet); });
    return rule == rules_.end() ? nullptr : &*rule;
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
    current_ = true;
}

} // namespace UmoAgent
