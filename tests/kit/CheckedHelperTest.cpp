#include "HelperKit/CheckedHelper.h"
#include "Vyr/Clock.h"
#include "agent/chip/SoftSwitch.h"

#include <gmock/gmock.h>

#include <functional>
#include <sstream>

using testing::ElementsAre;
using testing::HasSubstr;
using UmoHelper::CheckedHelper;

namespace {

Mox::Ptr<Ip::Nat::NatFlowPortSet> portSetOf(std::uint16_t vlan,
                                            std::vector<char const *> const &interfaces,
                                            char const *mac = "00:00:00:00:00:01") {
    auto const portSet = Mox::make<Ip::Nat::NatFlowPortSet>(vlan);
    portSet->dmacIs(Nexo::EthAddr::parse(mac));
    for (char const *const intf : interfaces) {
        portSet->intfIs(Nexo::IntfId(intf));
    }
    return portSet;
}

/// Gives the results that it is told to give, and takes 2 ms for it.
class Obedient final : public UmoHelper::CallingHelper {
  public:
    Obedient() : CallingHelper("Obedient") {}
    UmoHelper::Call::Result next;
    Mox::Ptr<Vyr::VirtualClock> const clock = Mox::make<Vyr::VirtualClock>();

  private:
    UmoHelper::Call::Result called(UmoHelper::Call const & /*call*/) override {
        clock->advanceTo(clock->now() + std::chrono::milliseconds(2));
        return next;
    }
};

struct Found {
    std::vector<std::string> texts;
    CheckedHelper::Findings sink() {
        return [this](CheckedHelper::Finding const &finding) {
            texts.push_back((finding.breach == CheckedHelper::Breach::call ? "" : "helper: ") +
                            finding.text());
        };
    }
};

} // namespace

TEST(CheckedHelper, EachBreakOfTheContractIsCountedReportedAndWithoutEffect) {
    Found found;
    auto const chip = Mox::make<UmoAgent::SoftSwitch>(UmoAgent::ChipCapacity{2, 2});
    auto const checked = Mox::make<CheckedHelper>(chip, found.sink());
    auto const program = [&](std::uint32_t group, std::uint32_t id, std::uint16_t vlan) {
        checked->updateNatFlowVlanPortSet(group, id, portSetOf(vlan, {"Ethernet1"}));
    };
    auto const programAs = [&](Mox::Ptr<Ip::Nat::NatFlowPortSet> const &portSet) {
        checked->updateNatFlowVlanPortSet(1, 1, portSet);
    };
    auto const updateSource = [&](std::uint32_t id, std::uint16_t vlan, std::uint32_t length = 24) {
        checked->updateNatFlowSrcTranslation(1, id, vlan, {}, {}, length);
    };
    checked->createNatFlowGroup("p", "m", false);
    checked->createNatFlowGroup("p", "n", false);
    program(1, 0, 10);
    program(1, 0, 10);
    updateSource(1, 10);
    checked->deleteNatFlowGroup("p", "n", 2);
    checked->deleteNatFlowVlanPortSet(1, 2);
    checked->deleteNatFlowDstTranslation(1, 2); // allowed right after its port set was deleted
    EXPECT_THAT(found.texts, ElementsAre());
    std::vector<std::pair<std::function<void()>, std::string>> const cases{
        {[&] { checked->deleteNatFlowGroup("p", "m", 0); }, "group 0): a group's id is never 0"},
        {[&] { checked->deleteNatFlowGroup("p", "n", 1); }, "is of policy p, match m"},
        {[&] { checked->deleteNatFlowGroup("p", "n", 2); }, "the group has been deleted"},
        {[&] { checked->deleteNatFlowVlanPortSet(9, 1); }, "there was never a group of this id"},
        {[&] { checked->updateNatFlowVlanPortSet(1, 0, nullptr); }, "no port set to program"},
        {[&] { programAs(portSetOf(10, {})); }, "the port set has no interface"},
        {[&] {
             programAs(portSetOf(10, {"Ethernet1", ""}));
         },
         "an interface has no name"},
        {[&] { programAs(portSetOf(10, {"Ethernet1"}, "00:00:00:00:00:00")); }, "is missing"},
        {[&] { checked->deleteNatFlowVlanPortSet(1, 0); }, "a port set's id is never 0"},
        {[&] { program(1, 2, 10); }, "has been deleted or is of another"},
        {[&] { program(1, 1, 11); }, "the port set is of VLAN 10"},
        {[&] { updateSource(7, 10); }, "there was never a port set of this id"},
        {[&] { updateSource(1, 11); }, "the port set is of VLAN 10"},
        {[&] { updateSource(1, 10, 33); }, "no prefix is longer than 32 bits"},
        {[&] { checked->updateNatFlowDstTranslation(1, 1, 10, {}, {}, 0, {}); }, "is missing"},
        {[&] { checked->deleteNatFlowSrcTranslation(1, 2); }, "has been deleted or is of another"},
    };
    auto const before = checked->contents();
    for (auto const &[call, problem] : cases) {
        found.texts.clear();
        call();
        EXPECT_THAT(found.texts, ElementsAre(HasSubstr(problem)));
        EXPECT_EQ(difference(before, checked->contents()), "");
    }
    EXPECT_EQ(checked->found(CheckedHelper::Breach::call), cases.size());
}

TEST(CheckedHelper, ResultsAreHeldAgainstTheContractToo) {
    Found found;
    auto const chip = Mox::make<Obedient>();
    auto const checked = Mox::make<CheckedHelper>(chip, found.sink());
    auto const create = [&](char const *match, std::uint32_t result, bool unicast = false) {
        chip->next = result;
        checked->createNatFlowGroup("p", match, unicast);
    };
    auto const program = [&](std::uint32_t id, std::uint32_t result) {
        chip->next = result;
        checked->updateNatFlowVlanPortSet(7, id, portSetOf(10, {"Ethernet1"}));
    };
    create("m", 7);
    create("n", 7);
    EXPECT_THAT(found.texts, ElementsAre(HasSubstr("helper: createNatFlowGroup(policy p, match n, "
                                                   "unicast false): group 7 is given out, which "
                                                   "policy p, match m has")));
    found.texts.clear();
    program(0, 3);
    program(3, 4);
    program(0, 4);
    program(0, 0);
    EXPECT_THAT(found.texts,
                ElementsAre(HasSubstr("identifier is changed"), HasSubstr("of another port set"),
                            HasSubstr("a port set cannot be refused")));
    EXPECT_EQ(checked->found(CheckedHelper::Breach::wrongIdentifier), 3U);
    EXPECT_EQ(checked->found(CheckedHelper::Breach::refusedPortSet), 1U);
    found.texts.clear();
    chip->next = false;
    checked->updateNatFlowSrcTranslation(7, 0, 10, {}, {}, 24); // as after the refusal
    checked->updateNatFlowSrcTranslation(7, 4, 10, {}, {}, 24);
    checked->deleteNatFlowVlanPortSet(7, 4); // of one of those that have this identifier,
    checked->deleteNatFlowVlanPortSet(7, 4); // and of the other
    EXPECT_THAT(found.texts, ElementsAre(HasSubstr("helper: update"))); // nothing of the caller's

    create("half", 8, true);
    create("half", 0);
    EXPECT_THAT(checked->mayHold(), ElementsAre(8));
    create("pair", 8, true); // reclaimed
    create("pair", 9);
    EXPECT_THAT(checked->mayHold(), ElementsAre());
    EXPECT_EQ(checked->contents().size(), 3U);
    EXPECT_EQ(checked->refusals(), 1U);
}

TEST(CheckedHelper, TellsEachCallWithItsResultAndTimes) {
    auto const chip = Mox::make<Obedient>();
    auto const checked = Mox::make<CheckedHelper>(chip, nullptr);
    std::ostringstream log;
    checked->logIs(
        [&](CheckedHelper::Logged const &logged) {
            log << logged.began.count() << ' ' << logged.ended.count() << ' ' << logged.text()
                << '\n';
        },
        chip->clock);
    chip->next = 7U;
    checked->createNatFlowGroup("p", "m", false);
    chip->next = {};
    checked->deleteNatFlowGroup("p", "m", 7);
    checked->logIs(nullptr);
    checked->deleteNatFlowGroup("p", "m", 7);
    EXPECT_EQ(log.str(), "0 2000000 createNatFlowGroup(policy p, match m, unicast false) -> 7\n"
                         "2000000 4000000 deleteNatFlowGroup(policy p, match m, group 7)\n");
}

TEST(SoftSwitch, RefusesWhatItHasNoRoomForAndIgnoresWhatBreaksTheContract) {
    auto const chip = Mox::make<UmoAgent::SoftSwitch>(UmoAgent::ChipCapacity{1, 1});
    EXPECT_EQ(chip->createNatFlowGroup("p", "m", false), 1U);
    EXPECT_EQ(chip->createNatFlowGroup("p", "n", false), 0U);
    EXPECT_EQ(chip->updateNatFlowVlanPortSet(1, 0, portSetOf(10, {"Ethernet1"})), 1U);
    EXPECT_EQ(chip->updateNatFlowVlanPortSet(1, 0, portSetOf(20, {"Ethernet1"})), 0U);
    EXPECT_EQ(chip->refusals(), 2U);
    auto const before = chip->groups();
    EXPECT_FALSE(chip->updateNatFlowSrcTranslation(1, 1, 11, {}, {}, 24));
    EXPECT_FALSE(chip->updateNatFlowSrcTranslation(1, 1, 10, {}, {}, 33));
    EXPECT_EQ(chip->updateNatFlowVlanPortSet(1, 0, nullptr), 0U);
    chip->deleteNatFlowGroup("p", "n", 1);
    chip->deleteNatFlowVlanPortSet(1, 9);
    EXPECT_EQ(difference(before, chip->groups()), "");
}
