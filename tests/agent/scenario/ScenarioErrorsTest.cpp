#include "agent/scenario/ScenarioReader.h"

#include <gmock/gmock.h>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using UmoAgent::ScenarioFaults;

namespace {

template <class Read>
ScenarioFaults faultsIn(Read const &read) {
    auto const *const faults = std::get_if<ScenarioFaults>(&read);
    return faults != nullptr ? *faults : ScenarioFaults{};
}

ScenarioFaults faultsOf(std::string const &text) {
    return faultsIn(UmoAgent::readScenario("f", text));
}

/// Events that are carried out on an empty switch, a minute after its start.
ScenarioFaults faultsOfEvents(std::string const &text) {
    UmoAgent::SwitchState const nothing;
    return faultsIn(UmoAgent::readEvents("f", text, {nothing, std::chrono::minutes(1)}));
}

std::string repeated(int count, std::string const &text) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

/// `A1: {}, A2: {}` and so on.
std::string listed(int count, std::string const &name, std::string const &value = "{}") {
    std::string all;
    for (int i = 1; i <= count; ++i) {
        all += name + std::to_string(i) + ": " + value + (i < count ? ", " : "");
    }
    return all;
}

} // namespace

TEST(ScenarioErrors, WhatIsNoScenarioEndsTheReadingWhereItStands) {
    std::pair<std::string, std::string> const cases[] = {
        {"", "1:1: found an empty file"},
        {"vlans: [1\nx", "2:1: malformed YAML: "},
        {"events: []\n---\nevents: []", "2:1: found a second document"},
        {", a", "1:1: malformed YAML: unexpected \",\""},
        {"- a", "1:1: found a list, expected a scenario"},
        {"vlans: &v {1: []}\nl3-interfaces:\n  <<: {}", "3:3: found a merge key \"<<\", expected"},
        {"interfaces: {Et1: &i {}, Et2: *i, <<: {}}", "1:35: found a merge key"},
        {"vlans: {1: &v {x: *v}}", "1:19: malformed YAML: an alias within what it stands for"},
        {"vlans: " + repeated(3000, "["), "1:257: found nesting that is too deep"},
    };
    for (auto const &[text, fault] : cases) {
        EXPECT_THAT(faultsOf(text), ElementsAre(StartsWith("f:" + fault))) << text;
    }
}

TEST(ScenarioErrors, OfVeryManyTheFirstAreReportedAndTheNumberOfAll) {
    std::string const vlans = "vlans: {1: [" + repeated(98, "Et\n,") + "Et\n]}\nend: x\n";
    EXPECT_THAT(faultsOf(vlans), testing::SizeIs(100));
    ScenarioFaults const faults = faultsOf("interfaces: {Et01: {},\nEt02: {}}\n" + vlans);
    ASSERT_EQ(faults.size(), 101U); // the first in the file, though they are read last
    EXPECT_THAT(faults[0], StartsWith("f:1:14: malformed interface name \"Et01\""));
    EXPECT_THAT(faults[99], StartsWith("f:100:2: malformed interface name \"Et\""));
    EXPECT_EQ(faults[100], "f: 102 mistakes in all, of which these are the first");
}

TEST(ScenarioErrors, EventsToFollowHappenAtATimeThatHasCome) {
    EXPECT_THAT(faultsOfEvents("events: [{at: 1}, {}, {at: 1m, note: <<}, {at: 60s}]"),
                ElementsAre());
    EXPECT_THAT(
        faultsOfEvents("events: [{at: 2s}, {at: 1s}, {at: 60001ms}]"),
        ElementsAre(StartsWith("f:1:25: found \"1s\", expected a time that is not before"),
                    StartsWith("f:1:35: found \"60001ms\", expected a time that has come")));
}

TEST(ScenarioErrors, WhatAFileMayTakeIsBoundedHoweverSmallItIs) {
    std::string values = "a: &a [" + repeated(9, "x, ") + "x]\n", before = "*a";
    for (char const *const name : {"b", "c", "d", "e", "f", "g"}) {
        values +=
            std::string(name) + ": &" + name + " [" + repeated(9, before + ", ") + before + "]\n";
        before = std::string("*") + name;
    }
    EXPECT_LT(values.size(), 400U);
    EXPECT_THAT(faultsOf(values),
                ElementsAre(StartsWith("f:7:16: found more than 4000000 values, aliases")));
    EXPECT_THAT(faultsOfEvents("events: [&e {}" + repeated(250'000, ",*e") + "]"),
                ElementsAre(StartsWith("f:1:10: found more than 250000 events, expected fewer")));

    // Aliases may repeat long texts: notes, names in keys, egress lists in changes.
    EXPECT_THAT(faultsOfEvents("events: [&e {note: " + std::string(65'536, 'x') + "}" +
                               repeated(3000, ",*e") + "]"),
                ElementsAre(StartsWith("f:1:10: found more than 134217728 bytes of changes")));
    EXPECT_THAT(faultsOf("events: [{at: 0, note: " + std::string(65'537, 'x') + "}]"),
                ElementsAre(StartsWith("f:1:24: found a note of 65537 bytes, expected one of at")));
    EXPECT_THAT(faultsOfEvents("events: [{remove: {policies: " + std::string(1025, 'x') + "}}]"),
                ElementsAre(StartsWith("f:1:30: found a name of 1025 bytes, expected one of at")));
    // A change may cause much checking: here of a hundred actions each time.
    auto const toMatch = [](std::string const &settings) {
        return "{policies: {p: {matches: {m: {" + settings + "}}}}}";
    };
    std::string const multicast = "flow: {destination: 239.1.1.1}";
    EXPECT_THAT(
        faultsOfEvents(
            "events: [{set: " + toMatch(multicast + ", actions: {" + listed(100, "a") + "}") +
            "}, &u {set: " + toMatch("flow: {destination: 10.1.1.1}") +
            "}, &m {set: " + toMatch(multicast) + "}" + repeated(1300, ",*u,*m") + "]"),
        ElementsAre(HasSubstr(": found more than 250000 changes")));
    // All these ids are the same: one mistake for each, found quickly.
    EXPECT_THAT(faultsOf("interfaces: {" + listed(3000, "Et") + "}\nl3-interfaces: {" +
                         listed(3000, "Et", "7") + "}"),
                Contains(HasSubstr(": 3000 mistakes in all")));
    EXPECT_THAT(faultsOfEvents("events: [{print: [tree" + repeated(100, ",tree") + "]}]"),
                ElementsAre(StartsWith("f:1:10: found more than 100 printouts")));
}

TEST(ScenarioErrors, ALongReadingLetsOthersBreathe) {
    std::string const text = "events: [{set: {policies: {p: {matches: {m: {actions: {" +
                             listed(20'000, "a") + "}}}}}}}]";
    UmoAgent::SwitchState const nothing;
    int breaths = 0;
    auto const read = UmoAgent::readEvents("f", text, {nothing, Vyr::Time{}, [&] { ++breaths; }});
    EXPECT_EQ(read.index(), 0U);
    EXPECT_GE(breaths, 40) << "20 while the actions are read, 20 while they are checked";
}
