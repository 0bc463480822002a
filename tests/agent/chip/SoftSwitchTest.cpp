#include "agent/chip/SoftSwitch.h"

#include <gmock/gmock.h>

#include <functional>

using testing::ElementsAre;
using UmoAgent::SoftSwitch;

TEST(SoftSwitch, EachBreakOfTheContractIsCountedReportedAndWithoutEffect) {
    std::vector<std::string> errors;
    auto const chip = Mox::make<SoftSwitch>(
        UmoAgent::ChipCapacity{2, 2}, [&](std::string const &line) { errors.push_back(line); });
    auto const program = [&](std::uint32_t group, std::uint32_t id, std::uint16_t vlan) {
        chip->updateNatFlowVlanPortSet(group, id, Mox::make<Ip::Nat::NatFlowPortSet>(vlan));
    };
    auto const updateSource = [&](std::uint32_t id, std::uint16_t vlan, std::uint32_t length = 24) {
        chip->updateNatFlowSrcTranslation(1, id, vlan, {}, {}, length);
    };
    chip->createNatFlowGroup("p", "m", false);
    chip->createNatFlowGroup("p", "n", false);
    program(1, 0, 10);
    program(1, 0, 10);
    updateSource(1, 10);
    chip->deleteNatFlowGroup("p", "n", 2);
    chip->deleteNatFlowVlanPortSet(1, 2);
    chip->deleteNatFlowDstTranslation(1, 2); // allowed right after its port set was deleted
    EXPECT_TRUE(errors.empty());
    std::vector<std::pair<std::function<void()>, std::string>> const cases{
        {[&] { chip->deleteNatFlowGroup("p", "m", 0); }, "group 0): a group's id is never 0"},
        {[&] { chip->deleteNatFlowGroup("p", "n", 1); }, "is of policy p, match m"},
        {[&] { program(2, 0, 10); }, "the group has been deleted"},
        {[&] { chip->deleteNatFlowVlanPortSet(9, 1); }, "there was never a group of this id"},
        {[&] { chip->updateNatFlowVlanPortSet(1, 0, nullptr); }, "no port set to program"},
        {[&] { chip->deleteNatFlowVlanPortSet(1, 0); }, "a port set's id is never 0"},
        {[&] { program(1, 2, 10); }, "has been deleted or is of another"},
        {[&] { updateSource(7, 10); }, "there was never a port set of this id"},
        {[&] { updateSource(1, 11); }, "the port set is of VLAN 10"},
        {[&] { updateSource(1, 10, 33); }, "no prefix is longer than 32 bits"},
        {[&] { chip->deleteNatFlowSrcTranslation(1, 2); }, "has been deleted or is of another"},
    };
    for (auto const &[call, error] : cases) {
        errors.clear();
        call();
        EXPECT_THAT(errors, ElementsAre(testing::HasSubstr(error)));
    }
    program(1, 0, 20);
    program(1, 0, 30); // finds no room, which is no break
    EXPECT_EQ(chip->refusals(), 1U);
    EXPECT_EQ(chip->contractErrors(), cases.size());
    EXPECT_EQ(chip->groupsInUse(), 1U);
    EXPECT_EQ(chip->groups().at(1).portSets.size(), 2U);
    EXPECT_EQ(chip->groups().at(1).portSets.at(1).source->prefixLength, 24U);
}
