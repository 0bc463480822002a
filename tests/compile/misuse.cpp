// What must not compile. check-misuse compiles this file with each CASE in turn, and looks for the
// error that stands behind it; CASE 0 compiles.

#include "Bridging/Topology.h"
#include "Ip/NatHwStatus.h"
#include "Ip/NatStatus.h"
#include "Mox/Reactor.h"

namespace {

using Bridging::VlanId;
using Ip::Nat::HwNatFlowActionStatus;
using Ip::Nat::NatFlowPolicyStatus;
using Ip::Nat::NatFlowVlanPortSets;
using Ip::Nat::Status;
using Topologies = Bridging::Topology::Config;

struct Follower : Mox::Reactor {
    void dispatch(Pelo::ChangeOf<Status> const &change);
};

[[maybe_unused]] void read(NatFlowPolicyStatus const &policy, Topologies const &topologies,
                           HwNatFlowActionStatus const &action,
                           Pelo::ChangeOf<Status> const &change,
                           Mox::Subscription<Status, &Follower::dispatch> &subscription) {
    for (auto const &[name, match] : policy.match()) {
        static_cast<void>(match->flow());
    }
    static_cast<void>(policy.match().find("m")->flow());
    static_cast<void>(change.keyOf(Status::natFlowAttribute)->size());
    static_cast<void>(topologies.vidToTopoMap().find(VlanId(10))->name());
    static_cast<void>(action.vlanPortSets()->ucastPortSet().size());
    subscription.follow(Mox::Ptr<Status>());
#if CASE == 1 // walked: discards qualifiers|not marked const
    for (auto const &[name, match] : policy.match()) {
        match->flowIs({});
    }
#elif CASE == 2  // found: discards qualifiers|not marked const
    policy.match().find("m")->flowIs({});
#elif CASE == 3  // asked for: discards qualifiers|not marked const
    policy.match("m")->flowIs({});
#elif CASE == 4  // mapped: discards qualifiers|not marked const
    topologies.vidToTopoMap().find(VlanId(10))->topoPortConfigDelAll();
#elif CASE == 5  // mapped, asked for: discards qualifiers|not marked const
    topologies.vidToTopoMap(VlanId(10))->topoPortConfigDelAll();
#elif CASE == 6  // referred to: discards qualifiers|not marked const
    action.vlanPortSets()->ucastPortSetDelAll();
#elif CASE == 7  // another class's attribute: no matching (member )?function
    change.keyOf(NatFlowPolicyStatus::matchAttribute);
#elif CASE == 8  // another key type: cannot convert|cannot initialize
    int const *const key = change.keyOf(Status::natFlowAttribute);
#elif CASE == 9  // another class's entity: cannot convert|could not convert|no viable conversion
    subscription.follow(Mox::Ptr<NatFlowPolicyStatus>());
#elif CASE == 11 // an attribute through which a reader could write: use MOX_REFERENCE
    class Leak : public Mox::Entity {
        MOX_ATTRIBUTE(Mox::Ptr<Status>, status)
    };
#elif CASE == 12 // values through which a reader could write: use MOX_REFERENCES
    class Leaks : public Mox::Entity {
        MOX_VALUES(int, Mox::Ptr<Status>, status)
    };
#elif CASE == 10 // two attributes with one hash: cannot be overloaded|cannot be redeclared
    class Twins : public Mox::Entity {
        MOX_ATTRIBUTE(int, costarring)
        MOX_ATTRIBUTE(int, liquid)
    };
#endif
}

} // namespace
