#include "agent/scenario/ChangeList.h"

#include "agent/base/Find.h"
#include "agent/scenario/Limits.h"

namespace UmoAgent {

namespace {
// The memory of keys and values beyond their own size.

template <class Part>
std::size_t bytesOf(Part const & /*part*/) {
    return 0;
}
std::size_t bytesOf(Table::Match::Key const &key) {
    return key.policy.size() + key.match.size();
}
std::size_t bytesOf(Table::Action::Key const &key) {
    return key.policy.size() + key.match.size() + key.action.size();
}
std::size_t bytesOf(std::optional<Table::Action::Value> const &value) {
    return value ? value->egress.size() * sizeof value->egress.front() : 0;
}

} // namespace

void ChangeList::count(std::size_t bytes, YamlNode node) {
    bytes_ += bytes;
    if (bytes_ > Limits::kMadeBytes) {
        nodes_.errors().tooMuch(node.place(), Limits::kMadeBytes, "bytes of changes and notes");
    }
}

void ChangeList::make(AnyChange change, YamlNode node) {
    if (++made_ + draft_.actionsLookedAt() > Limits::kChanges) {
        nodes_.errors().tooMuch(node.place(), Limits::kChanges, "changes");
    }
    count(std::visit(
              [](auto const &one) {
                  return sizeof(AnyChange) + bytesOf(one.key) + bytesOf(one.value);
              },
              change),
          node);
    auto const fault = draft_.make(change);
    changes_.push_back(std::move(change)); // also a faulty one: faults refer to changes by index
    at_.push_back(node);
    if (fault) {
        report(*fault);
    }
}

void ChangeList::report(Fault const &fault) {
    YamlNode at = at_[fault.change];
    if (fault.nextHop) {
        auto const cause = causeOf(*fault.nextHop);
        if (!cause) {
            return; // an earlier event caused it, and was reported
        }
        at = *cause;
    }
    nodes_.errors().add(at.place(),
                        fault.found.empty() ? ScenarioNodes::described(at) : fault.found,
                        fault.expected);
}

std::optional<YamlNode> ChangeList::causeOf(Fault::NextHop const &hop) const {
    if (auto const *const node = findIn(nextHops_, {hop.action, hop.intf})) {
        return *node;
    }
    if (auto const *const node = findIn(destinations_, hop.action)) {
        return *node;
    }
    auto const *const node = findIn(flows_, {hop.action.policy, hop.action.match});
    return node != nullptr ? std::optional(*node) : std::nullopt;
}

Changes ChangeList::end() {
    for (Fault const &fault : draft_.endList(changes_, nodes_.breathe())) {
        report(fault);
    }
    at_.clear();
    nextHops_.clear();
    destinations_.clear();
    flows_.clear();
    return std::exchange(changes_, {});
}

} // namespace UmoAgent
