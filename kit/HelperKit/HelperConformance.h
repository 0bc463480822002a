#pragma once

#include "HelperKit/Conformance.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

/// A suite for GoogleTest that drives a helper through every sequence of calls that the library can
/// make, and compares its chip with what it should hold after each. Include it in one source, and
/// say what to test:
///
///     INSTANTIATE_TEST_SUITE_P(MyChip, HelperConformance,
///                              testing::Values(UmoHelper::MakeSubject(&makeMyChip)));
///
/// The chip should have room for three groups at least and six at most, so that it runs full, and
/// for five port sets in each. A failing test prints the fewest calls that lead to the failure.
class HelperConformance : public testing::TestWithParam<UmoHelper::MakeSubject> {
  protected:
    using Kind = UmoHelper::Step::Kind;
    using Steps = std::vector<UmoHelper::Step>;

    void expectKept(Steps const &steps) const {
        auto const failure = UmoHelper::conduct(GetParam(), steps);
        if (failure) {
            std::ostringstream calls;
            for (std::string const &call : failure->calls) {
                calls << "  " << call << '\n';
            }
            ADD_FAILURE() << failure->problem << "\nafter these calls:\n" << calls.str();
        }
    }

    /// The steps, for match 1, after three port sets of it with translations: what happens to one
    /// must leave the others as they are.
    static Steps withNeighbours(Steps const &steps) {
        Steps all{{Kind::createGroup, 1}};
        for (int portSet = 1; portSet < 4; ++portSet) {
            all.push_back({Kind::program, 1, false, portSet, 5});
            all.push_back({Kind::setSource, 1, false, portSet, 1});
            all.push_back({Kind::setDestination, 1, false, portSet, 2});
        }
        all.insert(all.end(), steps.begin(), steps.end());
        return all;
    }
};

TEST_P(HelperConformance, AMatchHasAGroupAndFreesItAndGetsOneAgain) {
    expectKept({{Kind::createGroup, 0},
                {Kind::deleteGroups, 0},
                {Kind::createGroup, 0},
                {Kind::createGroup, 1},
                {Kind::deleteGroups, 0},
                {Kind::deleteGroups, 1}});
}

TEST_P(HelperConformance, APairIsTwoGroupsWithPortSetsOfTheirOwn) {
    expectKept({{Kind::createPair, 0},
                {Kind::program, 0, false, 1, 1},
                {Kind::program, 0, true, 1, 2},
                {Kind::setSource, 0, true, 1, 1},
                {Kind::erase, 0, false, 1},
                {Kind::deleteGroups, 0}});
}

TEST_P(HelperConformance, AFullChipRefusesGroupsAndHalvesOfPairsAndLosesNone) {
    Steps steps;
    for (int match = 0; match < 6; ++match) {
        steps.push_back({match % 2 == 0 ? Kind::createPair : Kind::createGroup, match});
        steps.push_back({Kind::program, match, match % 4 == 0, 0, 3});
    }
    for (int match = 0; match < 6; ++match) {
        steps.push_back({Kind::deleteGroups, match});
        steps.push_back({Kind::createPair, 5});
        steps.push_back({Kind::createGroup, (match + 1) % 6});
    }
    expectKept(steps);
}

TEST_P(HelperConformance, APortSetGrowsShrinksChangesItsMacAndRecirculates) {
    Steps steps;
    for (std::uint32_t const variant : {1U, 3U, 6U, 4U, 0U, 2U, 5U}) {
        steps.push_back({Kind::program, 1, false, 1, variant});
    }
    expectKept(withNeighbours(steps));
}

TEST_P(HelperConformance, TranslationsAreSetReplacedAndDeletedTwice) {
    expectKept(withNeighbours({{Kind::setSource, 1, false, 1, 3},
                               {Kind::setDestination, 1, false, 1, 4},
                               {Kind::setDestination, 1, false, 1, 5},
                               {Kind::clearSource, 1, false, 1},
                               {Kind::clearSource, 1, false, 1},
                               {Kind::setSource, 1, false, 1, 6},
                               {Kind::clearDestination, 1, false, 1},
                               {Kind::clearDestination, 1, false, 1}}));
}

TEST_P(HelperConformance, APortSetIsErasedAndItsTranslationsAfterIt) {
    expectKept(withNeighbours({{Kind::erase, 1, false, 2},
                               {Kind::program, 1, false, 2, 1},
                               {Kind::clearSource, 1, false, 2},
                               {Kind::erase, 1, false, 1},
                               {Kind::erase, 1, false, 3}}));
}

TEST_P(HelperConformance, AGroupGoesWithEverythingInIt) {
    expectKept(withNeighbours({{Kind::createPair, 2},
                               {Kind::program, 2, true, 1, 2},
                               {Kind::deleteGroups, 1},
                               {Kind::createGroup, 1},
                               {Kind::program, 1, false, 1, 6},
                               {Kind::deleteGroups, 2}}));
}

TEST_P(HelperConformance, AThousandRandomRunsLeaveTheChipAsItShouldBe) {
    for (std::uint64_t seed = 1; seed <= 1000 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        expectKept(UmoHelper::randomSteps(seed, 100));
    }
}
