#include "Bridging/Config.h"
#include "Bridging/Topology.h"
#include "Ip/NatFlowType.h"
#include "Ip/NatPortSets.h"
#include "Ip/NatStatus.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using Ip::Nat::NatFlowMatchStatus;
using Ip::Nat::NatFlowPortSet;

std::string heard;
Mox::Ptr<Ip::Nat::NatFlowActionStatus const> held;

/// For an entity whose interfaces change.
template <class Entity>
void hearIntf(void * /*context*/, Pelo::Change const &change) {
    auto const *const intf = Pelo::ChangeOf<Entity>(change).keyOf(Entity::intfAttribute);
    heard += intf != nullptr ? intf->shortName() : "?";
}

void hearMatch(void * /*context*/, Pelo::Change const &published) {
    Pelo::ChangeOf<NatFlowMatchStatus> const change(published);
    auto const *const name = change.keyOf(NatFlowMatchStatus::actionAttribute);
    heard += name != nullptr ? *name : change.isOf(NatFlowMatchStatus::flowAttribute) ? "f" : "?";
    EXPECT_TRUE(!held || held->references() > 1) << "released before published";
}

/// The names of the first eight numbers; a number without one is printed as it is.
template <class Enum>
std::string names() {
    std::ostringstream out;
    for (int number = 0; number < 8; ++number) {
        out << static_cast<Enum>(number) << ' ';
    }
    return out.str();
}

TEST(Attributes, PublishOnChangeOnlyAndBeforeRelease) {
    Pelo::Subscriber toMatch{&hearMatch, nullptr},
        toAction{&hearIntf<Ip::Nat::NatFlowActionStatus>, nullptr};
    auto const match = Mox::make<NatFlowMatchStatus>("m");
    match->notifier().subscriberAdd(toMatch);
    held = match->actionIs("a");
    auto const action = match->actionIs("b");
    EXPECT_EQ(match->actionIs("b"), action);
    EXPECT_DEATH(match->actionIs("b", action), "children.find\\(key\\) == nullptr");
    EXPECT_DEATH(match->actionIs("c", action), "child && child->key\\(\\) == key");
    EXPECT_DEATH(match->actionIs("c", nullptr), "child && child->key\\(\\) == key");
    action->notifier().subscriberAdd(toAction);
    for (std::uint32_t const number : {1U, 1U, 2U}) {
        match->flowIs({{}, {{}, number}});
        action->intfIs(Nexo::IntfId("Et1"), {0, Nexo::EthAddr(number)});
    }
    for (auto const &[intf, nextHop] : action->intf()) {
        action->intfDel(intf); // the key is the collection's
        action->intfDel(Nexo::IntfId("Et2"));
    }
    match->actionDelAll();
    EXPECT_EQ(heard, "abfEt1fEt1Et1ab");
    held = nullptr;

    heard = "";
    auto const portSet = Mox::make<NatFlowPortSet>(std::uint16_t{10});
    Pelo::Subscriber toPortSet{&hearIntf<NatFlowPortSet>, nullptr};
    portSet->notifier().subscriberAdd(toPortSet);
    for (char const *const intf : {"Et1", "Et2", "Et3", "Et3"}) {
        portSet->intfIs(Nexo::IntfId(intf));
    }
    portSet->intfDel(Nexo::IntfId("Et1"));
    portSet->intfDelAll();
    EXPECT_EQ(heard, "Et1Et2Et3Et1Et2Et3");
}

TEST(Enumerators, HaveTheNumbersThatOtherSoftwareKnows) {
    EXPECT_EQ(names<Ip::Nat::NatFlowType>(),
              "natFlowTypeUnicast natFlowTypeMulticast natFlowTypeNone 3 4 5 6 7 ");
    EXPECT_EQ(names<Bridging::SwitchportMode>(), "access trunk dot1qTunnel 3 4 5 routed 7 ");
    EXPECT_EQ(names<Bridging::Topology::PortState>(),
              "disabled blocking learning forwarding 4 5 6 7 ");
}

} // namespace
