#pragma once

#include "HelperKit/Contents.h"
#include "Mox/Ptr.h"
#include "UmoNat/UmoNatFlowMcastHelper.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace UmoHelper {

/// A helper under test, with a chip that holds nothing yet.
struct Subject {
    Mox::Ptr<UmoNatFlowMcastHelper> helper;
    /// Reads the chip: what it holds now. Reading it must not go through what the helper remembers.
    /// A translation that the chip has without its port set is to be told too, as one of a port set
    /// without interfaces.
    std::function<Contents()> probe;
};

/// Makes a new subject; each run gets one of its own. One that drives a real chip may empty that
/// chip instead, since the last run's subject is gone.
using MakeSubject = std::function<Subject()>;

/// Something that the library does, on one of a few matches and port sets, which go by numbers. A
/// step that the state does not allow, such as deleting what is not there, does nothing: so any
/// list of steps is a legal run, and so is any part of it.
struct Step {
    enum class Kind : std::uint8_t {
        createGroup,  // for a match without one
        createPair,   // likewise
        deleteGroups, // with everything that is in them
        program,      // a port set in a group of the match: a new one, or what it becomes
        erase,        // a port set, and after it its translations
        setSource,
        setDestination,
        clearSource, // also one that is not there
        clearDestination,
    };
    Kind kind = Kind::createGroup;
    int match = 0;
    bool second = false;       // in the multicast group of a pair, not the unicast one
    int portSet = 0;           // of the group; two of them have the same VLAN
    std::uint32_t variant = 0; // selects interfaces, MAC and addresses
};

/// The numbers that steps may have, from 0 on.
inline constexpr int kStepMatches = 7;
inline constexpr int kStepPortSets = 6;
inline constexpr std::uint32_t kStepVariants = 7;

struct Sequence {
    std::string name;
    std::vector<Step> steps;
};
/// What the library does in its usual work, one kind of work each.
std::vector<Sequence> sequences();
/// Fills the chip with the groups of all matches, and goes on with a full one.
Sequence fillingSequence();

/// A run that has failed.
struct Failure {
    std::string problem;
    std::vector<std::string> calls; // of the shortest run found that fails, with their results
};

struct Outcome {
    std::optional<Failure> failure;
    std::uint64_t refusedGroups = 0; // single ones
    std::uint64_t refusedHalves = 0; // of pairs, of which the other half was given
};

/// Carries the steps out on a new subject. After each the chip must hold what it should, and each
/// result must keep the contract; nothing may be thrown. A failing run is cut down to steps that
/// are needed to fail.
Outcome conduct(MakeSubject const &make, std::vector<Step> const &steps);

/// `count` random steps; the same for the same seed.
std::vector<Step> randomSteps(std::uint64_t seed, std::size_t count);

} // namespace UmoHelper
