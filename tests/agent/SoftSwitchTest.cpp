#include "agent/SoftSwitch.h"

#include <gmock/gmock.h>

#include <functional>

using testing::ElementsAre;
using UmoAgent::SoftSwitch;

namespace {

struct SoftSwitchTest : testing::Test {
    Mox::Ptr<Ip::Nat::NatFlowPortSet const> portSet(std::uint16_t vlan, char const *intf) {
        auto const ps = Mox::make<Ip::Nat::NatFlowPortSet>(vlan);
        ps->intfIs(Nexo::IntfId(intf));
        return ps;
    }
    /// Group 1 with port sets 1 and 2, alike.
    Mox::Ptr<Ip::Nat::NatFlowPortSet const> fill() {
        auto const ps = portSet(10, "Et1");
        chip->createNatFlowGroup("p", "m", false);
        chip->updateNatFlowVlanPortSet(1, 0, ps);
        chip->updateNatFlowVlanPortSet(1, 0, ps);
        return ps;
    }
    void updateSource(std::uint32_t portSetId, std::uint16_t vlan, std::uint32_t length = 24) {
        chip->updateNatFlowSrcTranslation(1, portSetId, vlan, {}, {}, length);
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
    chip->deleteNatFlowGroup("p", "m", 2); // and its port sets
    EXPECT_EQ(chip->groupsInUse(), 1U);
    EXPECT_TRUE(errors.empty());
}

TEST_F(SoftSwitchTest, EachBreakOfTheContractIsCountedReportedAndWithoutEffect) {
    auto const ps = fill();
    chip->createNatFlowGroup("p", "n", false);
    chip->deleteNatFlowGroup("p", "n", 2);
    chip->deleteNatFlowVlanPortSet(1, 2);
    updateSource(1, 10);

    std::vector<std::pair<std::function<void()>, std::string>> const cases{
        {[&] { chip->deleteNatFlowGroup("p", "m", 0); }, "group 0): a group's id is never 0"},
        {[&] { chip->deleteNatFlowGroup("p", "n", 2); }, "the group has been deleted"},
        {[&] { chip->deleteNatFlowGroup("p", "m", 3); }, "there was never a group of this id"},
        {[&] { chip->deleteNatFlowGroup("p", "n", 1); }, "is of policy p, match m"},
        {[&] { chip->deleteNatFlowGroup("q", "m", 1); }, "is of policy p, match m"},
        {[&] { chip->updateNatFlowVlanPortSet(2, 0, ps); }, "the group has been deleted"},
        {[&] { chip->updateNatFlowVlanPortSet(1, 2, ps); }, "has been deleted or is of another"},
        {[&] { chip->updateNatFlowVlanPortSet(1, 0, nullptr); }, "no port set to program"},
        {[&] { chip->deleteNatFlowVlanPortSet(1, 0); }, "a port set's id is never 0"},
        {[&] { chip->deleteNatFlowVlanPortSet(1, 2); }, "has been deleted or is of another"},
        {[&] { chip->deleteNatFlowVlanPortSet(9, 1); }, "there was never a group of this id"},
        {[&] { updateSource(7, 10); }, "there was never a port set of this id"},
        {[&] { updateSource(1, 11); }, "the port set is of VLAN 10"},
        {[&] { updateSource(1, 10, 33); }, "no prefix is longer than 32 bits"},
        {[&] { chip->updateNatFlowDstTranslation(0, 1, 10, {}, {}, 0, {}); }, "is never 0"},
        {[&] { chip->deleteNatFlowSrcTranslation(1, 2); }, "has been deleted or is of another"},
        {[&] { chip->deleteNatFlowDstTranslation(1, 0); }, "a port set's id is never 0"},
    };
    for (auto const &[call, error] : cases) {
        errors.clear();
        call();
        EXPECT_THAT(errors, ElementsAre(testing::HasSubstr(error)));
    }
    EXPECT_EQ(chip->contractErrors(), cases.size());
    EXPECT_EQ(chip->groupsInUse(), 1U);
    EXPECT_EQ(chip->groups().at(1).portSets.size(), 1U);
    EXPECT_EQ(chip->groups().at(1).portSets.at(1).source->prefixLength, 24U);
}

TEST_F(SoftSwitchTest, TranslationsOfThePortSetDeletedJustBeforeMayBeDeleted) {
    fill();
    chip->deleteNatFlowDstTranslation(1, 2); // it has none
    chip->deleteNatFlowVlanPortSet(1, 1);
    chip->deleteNatFlowSrcTranslation(1, 1);
    chip->deleteNatFlowDstTranslation(1, 1);
    EXPECT_TRUE(errors.empty());
    chip->deleteNatFlowSrcTranslation(1, 2);
    chip->deleteNatFlowSrcTranslation(1, 1); // no longer just before
    EXPECT_EQ(errors.size(), 1U);
}
