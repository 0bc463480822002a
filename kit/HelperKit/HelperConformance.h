#pragma once

#include "HelperKit/Conformance.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>

namespace UmoHelper {

/// What a suite tests.
struct Candidate {
    std::string name;
    MakeSubject make;
    std::uint64_t randomRuns = 1000; // fewer for a chip that is slow to empty or to read
    std::uint64_t firstSeed = 1;

    friend std::ostream &operator<<(std::ostream &out, Candidate const &candidate) {
        return out << candidate.name;
    }
};

} // namespace UmoHelper

/// A suite for GoogleTest that drives a helper through the sequences of calls that the library
/// makes, and compares its chip with what it should hold after each call. Include it in one source,
/// and say what to test:
///
///     INSTANTIATE_TEST_SUITE_P(MyChip, HelperConformance,
///                              testing::Values(UmoHelper::Candidate{"MyChip", &makeMyChip}));
///
/// The chip should have room for three groups at least and six at most, so that it runs full, and
/// for six port sets in each. A failing test prints the fewest calls that lead to the failure; if
/// the helper stops the process, the debugger has them.
class HelperConformance : public testing::TestWithParam<UmoHelper::Candidate> {
  protected:
    static UmoHelper::Outcome conduct(UmoHelper::Sequence const &sequence) {
        auto outcome = UmoHelper::conduct(GetParam().make, sequence.steps);
        if (auto const &failure = outcome.failure) {
            std::ostringstream calls;
            for (std::string const &call : failure->calls) {
                calls << "  " << call << '\n';
            }
            ADD_FAILURE() << sequence.name << ": " << failure->problem << "\nafter these calls:\n"
                          << calls.str();
        }
        return outcome;
    }
};

TEST_P(HelperConformance, TheLibrarysUsualWorkIsDone) {
    for (UmoHelper::Sequence const &sequence : UmoHelper::sequences()) {
        conduct(sequence);
    }
}

TEST_P(HelperConformance, AFullChipRefusesGroupsAndHalvesOfPairsAndLosesNone) {
    auto const outcome = conduct(UmoHelper::fillingSequence());
    bool const full = outcome.refusedGroups > 0 && outcome.refusedHalves > 0;
    EXPECT_TRUE(full || outcome.failure)
        << "the chip has never been full: give it room for three to six groups";
}

TEST_P(HelperConformance, RandomRunsLeaveTheChipAsItShouldBe) {
    for (std::uint64_t run = 0; run < GetParam().randomRuns && !HasFailure(); ++run) {
        std::uint64_t const seed = GetParam().firstSeed + run;
        conduct({"seed " + std::to_string(seed), UmoHelper::randomSteps(seed, 100)});
    }
}
