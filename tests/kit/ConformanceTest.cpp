#include "HelperKit/CallingHelper.h"
#include "HelperKit/CheckedHelper.h"
#include "HelperKit/HelperConformance.h"
#include "agent/chip/SoftSwitch.h"

#include <gmock/gmock.h>

using UmoAgent::SoftSwitch;
using UmoHelper::Call;
using UmoHelper::Operation;
using UmoHelper::Subject;

namespace {

Subject softSwitch() {
    auto const chip = Mox::make<SoftSwitch>(UmoAgent::ChipCapacity{4, 100});
    return {chip, [chip] { return chip->groups(); }};
}

/// As the agent has it.
Subject checkedSoftSwitch() {
    Subject subject = softSwitch();
    subject.helper = Mox::make<UmoHelper::CheckedHelper>(subject.helper, nullptr);
    return subject;
}

INSTANTIATE_TEST_SUITE_P(Kit, HelperConformance,
                         testing::Values(UmoHelper::Candidate{"SoftSwitch", &softSwitch},
                                         UmoHelper::Candidate{"Checked", &checkedSoftSwitch, 100}),
                         [](auto const &candidate) { return candidate.param.name; });

/// A software chip whose driver has a fault: it gets the calls and may do something else.
class Faulty final : public UmoHelper::CallingHelper {
  public:
    using Fault = Call::Result (*)(SoftSwitch &chip, Call call);

    Faulty(Mox::Ptr<SoftSwitch> chip, Fault fault)
        : CallingHelper("Faulty"), chip_(std::move(chip)), fault_(fault) {}

  private:
    Call::Result called(Call const &call) override { return fault_(*chip_, call); }

    Mox::Ptr<SoftSwitch> chip_;
    Fault fault_;
};

/// Does nothing for one operation.
template <Operation kOperation>
Call::Result without(SoftSwitch &chip, Call call) {
    bool const ignored = call.operation == kOperation;
    bool const update = ignored && (kOperation == Operation::updateSource ||
                                    kOperation == Operation::updateDestination);
    return update ? Call::Result(true) : ignored ? Call::Result() : call.on(chip);
}

bool replaces(Call const &call) {
    return call.operation == Operation::updatePortSet && call.portSet != 0;
}

UmoHelper::PortSet const *programmed(SoftSwitch const &chip, Call const &call) {
    auto const group = chip.groups().find(call.group);
    if (group == chip.groups().end()) {
        return nullptr;
    }
    auto const at = group->second.portSets.find(call.portSet);
    return at == group->second.portSets.end() ? nullptr : &at->second;
}

/// A copy of what is to be programmed, to be changed.
Mox::Ptr<Ip::Nat::NatFlowPortSet> copyOf(Call const &call) {
    auto const copy = Mox::make<Ip::Nat::NatFlowPortSet>(call.ps->vlan());
    copy->dmacIs(call.ps->dmac());
    for (Nexo::IntfId const intf : call.ps->intf()) {
        copy->intfIs(intf);
    }
    return copy;
}

Call::Result losesTranslations(SoftSwitch &chip, Call call) {
    auto const result = call.on(chip);
    if (replaces(call)) {
        chip.deleteNatFlowSrcTranslation(call.group, call.portSet);
        chip.deleteNatFlowDstTranslation(call.group, call.portSet);
    }
    return result;
}
Call::Result movesAPortSet(SoftSwitch &chip, Call call) {
    if (replaces(call)) {
        chip.deleteNatFlowVlanPortSet(call.group, call.portSet);
        call.portSet = 0;
    }
    return call.on(chip);
}
Call::Result neverShrinks(SoftSwitch &chip, Call call) {
    if (auto const *const old = replaces(call) ? programmed(chip, call) : nullptr) {
        auto const grown = copyOf(call);
        for (Nexo::IntfId const intf : old->interfaces) {
            grown->intfIs(intf);
        }
        call.ps = grown;
    }
    return call.on(chip);
}
Call::Result keepsTheFirstMac(SoftSwitch &chip, Call call) {
    if (auto const *const old = replaces(call) ? programmed(chip, call) : nullptr) {
        auto const copy = copyOf(call);
        copy->dmacIs(old->dmac);
        call.ps = copy;
    }
    return call.on(chip);
}
Call::Result givesOutTwice(SoftSwitch &chip, Call call) {
    auto const result = call.on(chip);
    bool const refused = call.operation == Operation::createGroup && result == Call::Result(0U);
    return refused ? Call::Result(chip.groups().rbegin()->first) : result;
}
Call::Result refusesPortSets(SoftSwitch &chip, Call call) {
    auto const group = chip.groups().find(call.group);
    bool const full = call.operation == Operation::updatePortSet && call.portSet == 0 &&
                      group != chip.groups().end() && group->second.portSets.size() >= 2;
    return full ? Call::Result(0U) : call.on(chip);
}
Call::Result leavesOutTheMac(SoftSwitch &chip, Call call) {
    call.dmac = {};
    return call.on(chip);
}
Call::Result swapsThePair(SoftSwitch &chip, Call call) {
    call.unicast = !call.unicast;
    return call.on(chip);
}
Call::Result keepsTheFirstSource(SoftSwitch &chip, Call call) {
    auto const *const old = programmed(chip, call);
    bool const second = call.operation == Operation::updateSource && old != nullptr && old->source;
    return second ? Call::Result(true) : call.on(chip);
}
Call::Result clearsBoth(SoftSwitch &chip, Call call) {
    if (call.operation == Operation::deleteDestination) {
        chip.deleteNatFlowSrcTranslation(call.group, call.portSet);
    }
    return call.on(chip);
}
Call::Result freesTheOtherHalfToo(SoftSwitch &chip, Call call) {
    if (call.operation == Operation::deleteGroup) {
        chip.deleteNatFlowGroup(call.policy, call.match, call.group + 1);
    }
    return call.on(chip);
}
Call::Result erasesWithTheLastTranslation(SoftSwitch &chip, Call call) {
    auto const result = call.on(chip);
    auto const *const portSet = programmed(chip, call);
    bool const clears = call.operation == Operation::deleteSource;
    if (clears && portSet != nullptr && !portSet->source && !portSet->destination) {
        chip.deleteNatFlowVlanPortSet(call.group, call.portSet);
    }
    return result;
}

Call::Result mergesPortSetsOfAVlan(SoftSwitch &chip, Call call) {
    if (call.operation == Operation::updatePortSet && call.portSet == 0) {
        for (auto const &[id, portSet] : chip.groups().at(call.group).portSets) {
            call.portSet = portSet.vlan == call.ps->vlan() ? id : call.portSet;
        }
    }
    return call.on(chip);
}
Call::Result ownsByMatchAlone(SoftSwitch &chip, Call call) {
    if (call.operation == Operation::createGroup) {
        for (auto const &[id, group] : chip.groups()) {
            if (group.match == call.match && group.policy != call.policy) {
                return id;
            }
        }
    }
    return call.on(chip);
}
Call::Result dropsTheFlow(SoftSwitch &chip, Call call) {
    call.flow = {};
    return call.on(chip);
}
Call::Result dropsThePort(SoftSwitch &chip, Call call) {
    call.nat = {call.nat.addr(), 0};
    return call.on(chip);
}
Call::Result takesWholeAddresses(SoftSwitch &chip, Call call) {
    call.prefixLength = 32;
    return call.on(chip);
}
Call::Result deletesForNoAddress(SoftSwitch &chip, Call call) {
    if (call.operation == Operation::updateDestination && call.nat.addr().isZero()) {
        chip.deleteNatFlowDstTranslation(call.group, call.portSet);
        return true;
    }
    return call.on(chip);
}
Call::Result knowsNoMulticastMac(SoftSwitch &chip, Call call) {
    if (call.ps && call.ps->dmac().isMulticast()) {
        auto const copy = copyOf(call);
        copy->dmacIs({});
        call.ps = copy;
    }
    return call.on(chip);
}
Call::Result failsForLongPrefixes(SoftSwitch &chip, Call call) {
    return call.prefixLength > 24 ? Call::Result(false) : call.on(chip);
}
Call::Result throwsWhenFull(SoftSwitch &chip, Call call) {
    auto const result = call.on(chip);
    if (call.operation == Operation::createGroup && result == Call::Result(0U)) {
        throw std::runtime_error("no room");
    }
    return result;
}

struct Planted {
    char const *name;
    char const *problem; // as the suite must tell it
    Faulty::Fault fault;
};
std::ostream &operator<<(std::ostream &out, Planted const &planted) {
    return out << planted.name;
}

/// The first failure in the usual work, or in random runs.
std::optional<UmoHelper::Failure> failureOf(UmoHelper::MakeSubject const &make) {
    auto runs = UmoHelper::sequences();
    runs.push_back(UmoHelper::fillingSequence());
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        runs.push_back({"random", UmoHelper::randomSteps(seed, 100)});
    }
    for (UmoHelper::Sequence const &run : runs) {
        if (auto failure = UmoHelper::conduct(make, run.steps).failure) {
            return failure;
        }
    }
    return std::nullopt;
}

struct PlantedFault : testing::TestWithParam<Planted> {};

/// The failure names the calls that lead to it.
TEST_P(PlantedFault, IsFound) {
    auto const failure = failureOf([] {
        auto const chip = Mox::make<SoftSwitch>(UmoAgent::ChipCapacity{4, 100});
        return Subject{Mox::make<Faulty>(chip, GetParam().fault),
                       [chip] { return chip->groups(); }};
    });
    ASSERT_TRUE(failure);
    EXPECT_THAT(failure->problem, testing::HasSubstr(GetParam().problem));
    EXPECT_LE(failure->calls.size(), 8U) << testing::PrintToString(failure->calls);
}

INSTANTIATE_TEST_SUITE_P(
    Helper, PlantedFault,
    testing::Values(
        Planted{"KeepsGroups", "group 1 is left", &without<Operation::deleteGroup>},
        Planted{"KeepsPortSets", "is left", &without<Operation::deletePortSet>},
        Planted{"ForgetsSources", "another source", &without<Operation::updateSource>},
        Planted{"ForgetsDestinations", "another dest", &without<Operation::updateDestination>},
        Planted{"KeepsSources", "another source", &without<Operation::deleteSource>},
        Planted{"KeepsDestinations", "another dest", &without<Operation::deleteDestination>},
        Planted{"LosesTranslations", "another destination translation", &losesTranslations},
        Planted{"MovesAPortSet", "its identifier is changed", &movesAPortSet},
        Planted{"NeverShrinks", "another interfaces", &neverShrinks},
        Planted{"KeepsTheFirstMac", "another destination MAC", &keepsTheFirstMac},
        Planted{"GivesOutTwice", "is given out, which", &givesOutTwice},
        Planted{"RefusesPortSets", "a port set cannot be refused", &refusesPortSets},
        Planted{"LeavesOutTheMac", "another destination translation", &leavesOutTheMac},
        Planted{"SwapsThePair", "it is of the other kind", &swapsThePair},
        Planted{"KeepsTheFirstSource", "another source translation", &keepsTheFirstSource},
        Planted{"ClearsBoth", "another source translation", &clearsBoth},
        Planted{"FreesTheOtherHalfToo", "is missing", &freesTheOtherHalfToo},
        Planted{"ErasesWithTheLastTranslation", "is missing", &erasesWithTheLastTranslation},
        Planted{"MergesPortSetsOfAVlan", "that of another port set", &mergesPortSetsOfAVlan},
        Planted{"OwnsByMatchAlone", "is given out, which", &ownsByMatchAlone},
        Planted{"DropsTheFlow", "another source translation", &dropsTheFlow},
        Planted{"DropsThePort", "another source translation", &dropsThePort},
        Planted{"TakesWholeAddresses", "another source translation", &takesWholeAddresses},
        Planted{"DeletesForNoAddress", "another destination translation", &deletesForNoAddress},
        Planted{"KnowsNoMulticastMac", "another destination MAC", &knowsNoMulticastMac},
        Planted{"FailsForLongPrefixes", "is not programmed", &failsForLongPrefixes},
        Planted{"ThrowsWhenFull", "the helper threw: no room", &throwsWhenFull}),
    [](auto const &planted) { return std::string(planted.param.name); });

/// Has its source translations in a table of their own, and forgets them there when a group goes.
class Leaking final : public UmoHelper::CallingHelper {
  public:
    Leaking() : CallingHelper("Leaking") {}

    UmoHelper::Contents contents() const {
        UmoHelper::Contents all = chip_->groups();
        for (auto const &[of, source] : sources_) {
            all[of.first].portSets[of.second].source = source;
        }
        return all;
    }

  private:
    Call::Result called(Call const &call) override {
        if (call.operation == Operation::updateSource) {
            sources_[{call.group, call.portSet}] = {call.nat, call.flow, call.prefixLength, {}};
        } else if (call.operation == Operation::deleteSource) {
            sources_.erase({call.group, call.portSet});
        }
        return call.on(*chip_);
    }

    Mox::Ptr<SoftSwitch> chip_ = Mox::make<SoftSwitch>(UmoAgent::ChipCapacity{4, 100});
    std::map<std::pair<std::uint32_t, std::uint32_t>, UmoHelper::Translation> sources_;
};

TEST(PlantedLeak, OfATranslationWhoseGroupIsGoneIsFound) {
    auto const failure = failureOf([] {
        auto const helper = Mox::make<Leaking>();
        return Subject{helper, [helper] { return helper->contents(); }};
    });
    ASSERT_TRUE(failure);
    EXPECT_THAT(failure->problem, testing::HasSubstr("is left"));
}

} // namespace
