#pragma once

#include "Ip/NatStatus.h"
#include "agent/switch/Draft.h"

#include <set>

namespace UmoAgent {

/// The steps of SwitchState::mount that concern the NAT configuration, to be called in this order.
class MountNat {
  public:
    /// Both outlive it.
    MountNat(Ip::Nat::Status &status, DraftNodes<DraftPolicy> const &policies)
        : status_(status), policies_(policies) {}

    /// Makes actions incomplete that stay but whose fields will change.
    void suspendChangedActions() const;

    /// Removes what the draft removes, from the egress interfaces up.
    void remove() const;

    /// Adds what is new and sets all fields except the versions of actions.
    void set() const;

    void setVersions() const;

    /// Updates `actions`: the existing actions that have a multicast flow and once had another.
    void noteNeededMacs(std::set<Table::Action::Key> &actions) const;

  private:
    template <class Visit>
    void forEachStayingMatch(Visit visit) const;
    template <class Visit>
    void forEachStayingAction(Visit visit) const;

    Ip::Nat::Status &status_;
    DraftNodes<DraftPolicy> const &policies_;
};

} // namespace UmoAgent
