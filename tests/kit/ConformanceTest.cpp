#include "HelperKit/CallingHelper.h"
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

INSTANTIATE_TEST_SUITE_P(SoftSwitch, HelperConformance,
                         testing::Values(UmoHelper::MakeSubject(&softSwitch)));

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

struct Planted {
    char const *name;
    Faulty::Fault fault;
};
std::ostream &operator<<(std::ostream &out, Planted const &planted) {
    return out << planted.name;
}

struct PlantedFault : testing::TestWithParam<Planted> {};

/// By some run of the suite; the failure names calls that lead to it.
TEST_P(PlantedFault, IsFound) {
    auto const make = [] {
        auto const chip = Mox::make<SoftSwitch>(UmoAgent::ChipCapacity{4, 100});
        return Subject{Mox::make<Faulty>(chip, GetParam().fault),
                       [chip] { return chip->groups(); }};
    };
    std::optional<UmoHelper::Failure> failure;
    for (std::uint64_t seed = 1; seed <= 20 && !failure; ++seed) {
        failure = UmoHelper::conduct(make, UmoHelper::randomSteps(seed, 100));
    }
    ASSERT_TRUE(failure);
    EXPECT_LE(failure->calls.size(), 8U) << testing::PrintToString(failure->calls);
}

INSTANTIATE_TEST_SUITE_P(
    Helper, PlantedFault,
    testing::Values(
        Planted{"KeepsGroups", &without<Operation::deleteGroup>},
        Planted{"KeepsPortSets", &without<Operation::deletePortSet>},
        Planted{"ForgetsSources", &without<Operation::updateSource>},
        Planted{"ForgetsDestinations", &without<Operation::updateDestination>},
        Planted{"KeepsSources", &without<Operation::deleteSource>},
        Planted{"KeepsDestinations", &without<Operation::deleteDestination>},
        Planted{"LosesTranslations", &losesTranslations}, Planted{"MovesAPortSet", &movesAPortSet},
        Planted{"NeverShrinks", &neverShrinks}, Planted{"KeepsTheFirstMac", &keepsTheFirstMac},
        Planted{"GivesOutTwice", &givesOutTwice}, Planted{"RefusesPortSets", &refusesPortSets},
        Planted{"LeavesOutTheMac", &leavesOutTheMac}, Planted{"SwapsThePair", &swapsThePair},
        Planted{"KeepsTheFirstSource", &keepsTheFirstSource}, Planted{"ClearsBoth", &clearsBoth},
        Planted{"FreesTheOtherHalfToo", &freesTheOtherHalfToo},
        Planted{"ErasesWithTheLastTranslation", &erasesWithTheLastTranslation}),
    [](auto const &planted) { return std::string(planted.param.name); });

} // namespace
