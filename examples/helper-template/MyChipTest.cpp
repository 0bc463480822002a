#include "MyChip.h"

#include "HelperKit/HelperConformance.h"

namespace {

std::optional<UmoHelper::Translation> translationOf(std::optional<MyChip::Rewrite> const &rewrite) {
    if (!rewrite) {
        return std::nullopt;
    }
    return UmoHelper::Translation{rewrite->to, rewrite->from, rewrite->prefixLength, rewrite->mac};
}

/// What the chip holds, read from its registers.
UmoHelper::Contents contentsOf(MyChip const &chip) {
    UmoHelper::Contents contents;
    std::uint32_t id = 0;
    for (MyChip::GroupRegister const &group : chip.registers()) {
        ++id;
        if (!group.used) {
            continue;
        }
        UmoHelper::Group &there = contents[id];
        there = {group.policy, group.match, group.unicast, {}};
        for (auto const &[portSetId, entry] : group.portSets) {
            there.portSets[portSetId] = {entry.vlan, entry.ports, entry.mac,
                                         translationOf(entry.source),
                                         translationOf(entry.destination)};
        }
    }
    return contents;
}

UmoHelper::Subject myChip() {
    auto const chip = Mox::make<MyChip>();
    return {chip, [chip] { return contentsOf(*chip); }};
}

INSTANTIATE_TEST_SUITE_P(MyChip, HelperConformance,
                         testing::Values(UmoHelper::Candidate{"MyChip", &myChip}));

} // namespace
