#include "agent/SwitchState.h"
#include "Pelo/Publisher.h"
#include "agent/ScenarioReader.h"

#include <gtest/gtest.h>

namespace {

constexpr char const *kScenario = R"(
interfaces: {Et1: {}}
policies: {p: {matches: {m: {flow: {destination: 239.1.1.1}, actions: {
  a: {source: 10.9.9.9:1, egress: {Et1: {vlan: 10, mac: 02:00:00:00:00:0c}}},
  b: {version: 0}}}}}}
events:
- at: 1s
  set: {policies: {p: {matches: {m: {actions: {
          a: {destination: 239.2.2.2, egress: {Et1: {vlan: 20}}}, b: {version: 7}, c: {}}}}}}}
- at: 2s
  remove: {policies: {p: {matches: {m: {actions: {a: [source, egress]}}}}}}
- at: 3s
  remove: {policies: {p: {matches: {m: {actions: [b]}}}}}
  set: {policies: {p: {matches: {m: {actions: {b: {}}}}}}}
)";

/// Notes in a text a change of an action, of its version or of something else.
void note(void *changes, Pelo::Change const &change) {
    bool const version = change.isOf(Ip::Nat::NatFlowActionStatus::versionAttribute);
    static_cast<std::string *>(changes)->append(version ? " version" : " other");
}

} // namespace

TEST(SwitchState, ActionsChangeOnlyInWhatIsNamedAndTheirVersionsBeforeAndAfterIt) {
    auto const scenario = std::get<UmoAgent::Scenario>(UmoAgent::readScenario("f", kScenario));
    UmoAgent::SwitchState state;
    state.become(scenario.initial);
    auto const match = state.natStatus()->natFlow("p")->match("m");
    auto const a = match->action("a"), b = match->action("b");
    std::string changes;
    Pelo::Subscriber subscriber{&note, &changes};
    a->notifier().subscriberAdd(subscriber);
    EXPECT_EQ(b->version(), 0U);
    state.become(*scenario.events[0].state);
    EXPECT_EQ(changes, " version other other version");
    EXPECT_EQ(a->src().stringValue() + " " + a->dst().stringValue(), "10.9.9.9:1 239.2.2.2:0");
    EXPECT_EQ(a->intf(Nexo::IntfId("Et1"))->mac.stringValue(), "02:00:00:00:00:0c");
    EXPECT_EQ(b->version(), 7U);
    state.become(*scenario.events[1].state);
    state.become(*scenario.events[2].state);
    EXPECT_EQ(changes, " version other other version version other other version");
    EXPECT_EQ(a->version(), 3U);
    EXPECT_NE(match->action("b"), b) << "removed and set anew is another action";
    EXPECT_EQ(match->action("b")->version(), 1U);
}
