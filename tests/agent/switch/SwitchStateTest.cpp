#include "agent/switch/SwitchState.h"
#include "Pelo/Publisher.h"
#include "agent/scenario/ScenarioReader.h"
#include "agent/switch/Draft.h"

#include <gtest/gtest.h>

namespace {

constexpr char const *kScenario = R"(
policies: {p: {matches: {m: {actions: {a: {source: 10.9.9.9}, b: {source: 10.9.9.9}}}}}}
events:
- {at: 1s, set: {policies: {p: {matches: {m: {actions: {
    a: {source: 10.9.9.8, destination: 10.0.0.9}}}}}}}}
)";

/// Records in a text whether a change was of an action, of its version or of something else.
void note(void *changes, Pelo::Change const &change) {
    bool const version = Pelo::ChangeOf<Ip::Nat::NatFlowActionStatus>(change).isOf(
        Ip::Nat::NatFlowActionStatus::versionAttribute);
    static_cast<std::string *>(changes)->append(version ? " version" : " other");
}

} // namespace

TEST(SwitchState, NobodySeesAnActionHalfChangedOrOneThatStaysChange) {
    auto const scenario = std::get<UmoAgent::Scenario>(UmoAgent::readScenario("f", kScenario));
    UmoAgent::SwitchState state;
    auto const mount = [&](UmoAgent::Changes const &changes) {
        UmoAgent::Draft draft(state);
        EXPECT_TRUE(draft.makeAll(changes).empty());
        state.mount(draft);
    };
    mount(scenario.initial);
    auto const match = state.natStatus()->natFlow("p")->match("m");
    std::string ofA, ofB;
    Pelo::Subscriber toA{&note, &ofA}, toB{&note, &ofB};
    match->action("a")->notifier().subscriberAdd(toA);
    match->action("b")->notifier().subscriberAdd(toB);
    mount(scenario.events[0].changes);
    EXPECT_EQ(ofA, " version other other version");
    EXPECT_EQ(ofB, "");
    EXPECT_EQ(match->action("a")->version(), 2U);
}
