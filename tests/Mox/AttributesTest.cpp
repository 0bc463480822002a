#include "Ip/NatStatus.h"

#include <gtest/gtest.h>

namespace {

using Ip::Nat::NatFlowMatchStatus;

std::string heard;
Mox::Ptr<Ip::Nat::NatFlowActionStatus const> held;

void hearAction(void * /*context*/, Pelo::Change const & /*change*/) {
    heard += "i";
}

void hearMatch(void * /*context*/, Pelo::Change const &published) {
    Pelo::ChangeOf<NatFlowMatchStatus> const change(published);
    auto const *const name = change.keyOf(NatFlowMatchStatus::actionAttribute);
    heard += name != nullptr ? *name : change.isOf(NatFlowMatchStatus::flowAttribute) ? "f" : "?";
    EXPECT_TRUE(!held || held->references() > 1) << "released before published";
}

TEST(Attributes, PublishOnChangeOnlyAndBeforeRelease) {
    Pelo::Subscriber toMatch{&hearMatch, nullptr}, toAction{&hearAction, nullptr};
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
    EXPECT_EQ(heard, "abfifiiab");
    held = nullptr;
}

} // namespace
