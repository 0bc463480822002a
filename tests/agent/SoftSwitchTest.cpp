#include "agent/SoftSwitch.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using UmoAgent::SoftSwitch;
using Operation = SoftSwitch::Operation;

namespace {

struct SoftSwitchTest : testing::Test {
    Mox::Ptr<Ip::Nat::NatFlowPortSet const> portSet(std::uint16_t vlan, char const *intf) {
        auto const ps = Mox::make<Ip::Nat::NatFlowPortSet>(vlan);
        ps->intfIs(Nexo::IntfId(intf));
        return ps;
    }
    bool updateSource(std::uint32_t group, std::uint32_t portSetId, std::uint16_t vlan,
                      std::uint32_t prefixLength = 24) {
        return chip->updateNatFlowSrcTranslation(group, portSetId, vlan, {}, {}, prefixLength);
    }

    std::vector<std::string> errors;
    Mox::Ptr<SoftSwitch> chip = Mox::make<SoftSwitch>(
        UmoAgent::ChipCapacity{2, 2}, [this](std::string const &line) { errors.push_back(line); });
};

} // namespace

TEST_F(SoftSwitchTest, FullTablesRefuseAndIdsAreNeverGivenOutTwice) {
    EXPECT_EQ(chip->createNatFlowGroup("p", "m", true), 1U);
    EXPECT_EQ(chip->createNatFlowGroup("p", "m", false), 2U);
    EXPECT_EQ(chip->createNatFlowGroup("p", "n", false), 0U);
    chip->deleteNatFlowGroup("p", "m", 1);
    chip->capacityIs({1, 2});
    EXPECT_EQ(chip->createNatFlowGroup("p", "n", false), 0U) << "shrunk below its use";
    chip->capacityIs({9, 2});
    chip->refuseGroups(1);
    EXPECT_EQ(chip->createNatFlowGroup("p", "n", false), 0U);
    EXPECT_EQ(chip->createNatFlowGroup("p", "n", false), 3U);

    EXPECT_EQ(chip->updateNatFlowVlanPortSet(2, 0, portSet(10, "Et1")), 1U);
    EXPECT_EQ(chip->updateNatFlowVlanPortSet(2, 0, portSet(20, "Et1")), 2U);
    EXPECT_EQ(chip->updateNatFlowVlanPortSet(2, 0, portSet(30, "Et1")), 0U);
    EXPECT_EQ(chip->updateNatFlowVlanPortSet(2, 1, portSet(10, "Et2")), 1U) << "replaced in place";
    EXPECT_THAT(chip->groups().at(2).portSets.at(1).interfaces, ElementsAre(Nexo::IntfId("Et2")));
    EXPECT_EQ(chip->refusals(), 4U);
    EXPECT_EQ(chip->calls(Operation::createGroup), 6U);
    EXPECT_THAT(errors, IsEmpty());

    chip->deleteNatFlowGroup("p", "m", 2); // and its port sets
    EXPECT_EQ(chip->groupsInUse(), 1U);
    EXPECT_EQ(chip->contractErrors(), 0U);
}

TEST_F(SoftSwitchTest, EachBreakOfTheContractIsCountedReportedAndWithoutEffect) {
    chip->createNatFlowGroup("p", "m", false);
    chip->createNatFlowGroup("p", "n", false);
    chip->deleteNatFlowGroup("p", "n", 2);
    auto const ps = portSet(10, "Et1");
    chip->updateNatFlowVlanPortSet(1, 0, ps);
    chip->updateNatFlowVlanPortSet(1, 0, ps);
    chip->deleteNatFlowVlanPortSet(1, 2);
    updateSource(1, 1, 10);

    struct Case {
        std::function<void()> call;
        std::string error;
    };
    std::vector<Case> const cases{
        {[&] { chip->deleteNatFlowGroup("p", "m", 0); },
         "deleteNatFlowGroup(policy p, match m, group 0): a group's id is never 0"},
        {[&] { chip->deleteNatFlowGroup("p", "n", 2); }, "the group has been deleted before"},
        {[&] { chip->deleteNatFlowGroup("p", "m", 3); }, "there was never a group of this id"},
        {[&] { chip->deleteNatFlowGroup("p", "n", 1); }, "the group is of policy p, match m"},
        {[&] { chip->deleteNatFlowGroup("q", "m", 1); }, "the group is of policy p, match m"},
        {[&] { chip->updateNatFlowVlanPortSet(2, 0, ps); }, "the group has been deleted before"},
        {[&] { chip->updateNatFlowVlanPortSet(1, 2, ps); },
         "the port set has been deleted or is of another group"},
        {[&] { chip->updateNatFlowVlanPortSet(1, 0, nullptr); }, "no port set to program"},
        {[&] { chip->deleteNatFlowVlanPortSet(1, 0); }, "a port set's id is never 0"},
        {[&] { chip->deleteNatFlowVlanPortSet(1, 2); }, "has been deleted or is of another"},
        {[&] { chip->deleteNatFlowVlanPortSet(9, 1); }, "there was never a group of this id"},
        {[&] { updateSource(1, 7, 10); }, "there was never a port set of this id"},
        {[&] { updateSource(1, 1, 11); }, "the port set is of VLAN 10"},
        {[&] { updateSource(1, 1, 10, 33); }, "no prefix is longer than 32 bits"},
        {[&] { chip->updateNatFlowDstTranslation(0, 1, 10, {}, {}, 0, {}); }, "is never 0"},
        {[&] { chip->deleteNatFlowSrcTranslation(1, 2); }, "has been deleted or is of another"},
        {[&] { chip->deleteNatFlowDstTranslation(1, 0); }, "a port set's id is never 0"},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        cases[i].call();
        ASSERT_EQ(errors.size(), i + 1) << cases[i].error;
        EXPECT_THAT(errors.back(), HasSubstr(cases[i].error));
        EXPECT_EQ(chip->contractErrors(), i + 1);
    }
    ASSERT_EQ(chip->groupsInUse(), 1U);
    ASSERT_EQ(chip->groups().at(1).portSets.size(), 1U);
    EXPECT_EQ(chip->groups().at(1).portSets.at(1).source->prefixLength, 24U);
}

TEST_F(SoftSwitchTest, TranslationsOfThePortSetDeletedJustBeforeMayBeDeleted) {
    chip->createNatFlowGroup("p", "m", false);
    for (int i = 0; i < 2; ++i) {
        chip->updateNatFlowVlanPortSet(1, 0, portSet(10, "Et1"));
    }
    chip->deleteNatFlowDstTranslation(1, 2); // it has none
    chip->deleteNatFlowVlanPortSet(1, 1);
    chip->deleteNatFlowSrcTranslation(1, 1);
    chip->deleteNatFlowDstTranslation(1, 1);
    EXPECT_THAT(errors, IsEmpty());
    chip->deleteNatFlowSrcTranslation(1, 2);
    chip->deleteNatFlowSrcTranslation(1, 1); // no longer just before
    EXPECT_EQ(errors.size(), 1U);
}

TEST_F(SoftSwitchTest, LogsCallsInOrderWithTheirResults) {
    std::vector<std::string> log;
    chip->callLogIs([&](std::string const &line) { log.push_back(line); });
    chip->createNatFlowGroup("p", "m", true);
    chip->updateNatFlowVlanPortSet(1, 0, portSet(10, "Et1"));
    updateSource(1, 1, 10);
    chip->deleteNatFlowGroup("p", "m", 1);
    EXPECT_THAT(log,
                ElementsAre("createNatFlowGroup(policy p, match m, unicast true) -> 1",
                            "updateNatFlowVlanPortSet(group 1, port set 0, VLAN 10, dmac "
                            "00:00:00:00:00:00, interfaces Ethernet1) -> 1",
                            EndsWith("source 0.0.0.0:0 within 24 bits becomes 0.0.0.0:0) -> true"),
                            "deleteNatFlowGroup(policy p, match m, group 1)"));
}
