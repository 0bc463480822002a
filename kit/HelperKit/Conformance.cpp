#include "HelperKit/Conformance.h"

#include "HelperKit/CheckedHelper.h"

#include <algorithm>
#include <array>
#include <exception>
#include <map>
#include <random>
#include <utility>

namespace UmoHelper {

namespace {

/// Notes each call before it is made, so that one that does not return is noted too.
class Noting final : public CallingHelper {
  public:
    Noting(Mox::Ptr<UmoNatFlowMcastHelper> helper, std::vector<std::string> &calls)
        : CallingHelper("Noting"), helper_(std::move(helper)), calls_(calls) {}

  private:
    Call::Result called(Call const &call) override {
        calls_.push_back(call.text());
        Call::Result const result = call.on(*helper_);
        calls_.back() += textOf(result);
        return result;
    }

    Mox::Ptr<UmoNatFlowMcastHelper> helper_;
    std::vector<std::string> &calls_;
};

/// Plays the library on one subject.
class Run {
  public:
    explicit Run(Subject subject) : subject_(std::move(subject)) {
        checked_->logIs([this](CheckedHelper::Logged const & /*logged*/) {
            std::string const text =
                problem_.empty() ? checked_->differenceFrom(subject_.probe()) : "";
            problem_ = text.empty() ? problem_ : "the chip does not hold what it should: " + text;
        });
    }

    /// After something was wrong nothing is carried out.
    void carryOut(std::vector<Step> const &steps);

    /// How many steps were carried out, and what happened.
    [[nodiscard]] std::size_t carriedOut() const { return carriedOut_; }
    [[nodiscard]] Outcome outcome() const;

  private:
    struct Programmed {
        std::uint32_t id = 0;
        std::uint16_t vlan = 0;
        bool source = false; // has the translation
        bool destination = false;
    };
    struct Match {
        Pelo::String policy;
        Pelo::String name;
        std::array<std::uint32_t, 2> groups{}; // the second is 0 for a single group
        std::array<std::map<int, Programmed>, 2> portSets{};
    };

    void carryOut(Step const &step);
    void createGroups(Match &match, bool pair);
    void deleteGroups(Match &match);
    void program(Match &match, std::size_t half, Step const &step);
    void erase(Match &match, std::size_t half, Step const &step);
    void change(std::uint32_t group, Programmed &portSet, Step const &step);

    Subject subject_;
    std::vector<std::string> calls_;
    std::string problem_; // what was wrong first; empty: nothing
    Mox::Ptr<CheckedHelper> checked_ = Mox::make<CheckedHelper>(
        Mox::make<Noting>(subject_.helper, calls_), [this](CheckedHelper::Finding const &finding) {
            problem_ = problem_.empty() ? finding.text() : problem_;
        });
    std::map<int, Match> matches_;
    std::size_t carriedOut_ = 0;
    std::uint64_t refusedGroups_ = 0;
    std::uint64_t refusedHalves_ = 0;
};

void Run::carryOut(std::vector<Step> const &steps) {
    try {
        for (Step const &step : steps) {
            if (problem_.empty()) {
                ++carriedOut_;
                carryOut(step);
            }
        }
    } catch (std::exception const &error) {
        problem_ = std::string("the helper threw: ") + error.what();
    }
}

Outcome Run::outcome() const {
    Outcome outcome{{}, refusedGroups_, refusedHalves_};
    if (!problem_.empty()) {
        outcome.failure = {problem_, calls_};
    }
    return outcome;
}

/// Matches of different policies may have the same name.
void Run::carryOut(Step const &step) {
    auto const at =
        matches_.try_emplace(step.match, Match{.policy = "policy" + std::to_string(step.match % 2),
                                               .name = "match" + std::to_string(step.match / 2)});
    Match &match = at.first->second;
    bool const pair = step.kind == Step::Kind::createPair;
    if (pair || step.kind == Step::Kind::createGroup) {
        createGroups(match, pair);
        return;
    }
    if (step.kind == Step::Kind::deleteGroups) {
        deleteGroups(match);
        return;
    }
    std::size_t const half = step.second && match.groups[1] != 0 ? 1 : 0;
    std::uint32_t const group = match.groups.at(half);
    auto const portSet = match.portSets.at(half).find(step.portSet);
    bool const there = portSet != match.portSets.at(half).end();
    if (group != 0 && step.kind == Step::Kind::program) {
        program(match, half, step);
    } else if (there && step.kind == Step::Kind::erase) {
        erase(match, half, step);
    } else if (there) {
        change(group, portSet->second, step);
    }
}

/// As the library does: the second half is requested even if the first was refused, and of half a
/// pair nothing is kept.
void Run::createGroups(Match &match, bool pair) {
    if (match.groups[0] != 0) {
        return;
    }
    std::uint32_t const unicast =
        pair ? checked_->createNatFlowGroup(match.policy, match.name, true) : 0;
    std::uint32_t const multicast = checked_->createNatFlowGroup(match.policy, match.name, false);
    if (pair && unicast != 0 && multicast != 0) {
        match.groups = {unicast, multicast};
    } else if (!pair) {
        match.groups = {multicast, 0};
        refusedGroups_ += multicast == 0 ? 1 : 0;
    } else {
        refusedHalves_ += unicast != multicast ? 1 : 0;
    }
}

void Run::deleteGroups(Match &match) {
    for (std::uint32_t const group : match.groups) {
        if (group != 0) {
            checked_->deleteNatFlowGroup(match.policy, match.name, group);
        }
    }
    match.groups = {};
    match.portSets = {};
}

/// Two port sets have the same VLAN, as those of two actions. The last one recirculates in no VLAN.
/// Port sets of multicast copies have the MAC address that stands for the copies' group.
void Run::program(Match &match, std::size_t half, Step const &step) {
    constexpr std::uint32_t kPorts = 4;
    bool const noVlan = step.portSet == kStepPortSets - 1;
    auto const vlan = static_cast<std::uint16_t>(noVlan ? 0 : 100 + step.portSet / 2);
    auto const portSet = Mox::make<Ip::Nat::NatFlowPortSet>(vlan);
    if (noVlan || step.variant == 0) {
        portSet->intfIs(Nexo::IntfId());
    } else {
        for (std::uint32_t port = 1; port <= kPorts; ++port) {
            if (port == 1 || ((step.variant >> (port - 2U)) & 1U) != 0) {
                portSet->intfIs(Nexo::IntfId("Ethernet" + std::to_string(port)));
            }
        }
    }
    if (!noVlan) {
        portSet->dmacIs(step.variant % 3 == 0 ? Nexo::EthAddr(0x01005e000000)
                                              : Nexo::EthAddr(0x020000000000 + step.variant % 3));
    }
    // The groups of a pair share one object if they have the same copies.
    bool const both = match.groups[1] != 0 && step.variant % 2 == 1;
    for (std::size_t const in : {half, 1 - half}) {
        if (in == half || both) {
            Programmed &programmed = match.portSets.at(in)[step.portSet];
            programmed.vlan = vlan;
            programmed.id =
                checked_->updateNatFlowVlanPortSet(match.groups.at(in), programmed.id, portSet);
            in == 0 ? portSet->portSetIdIs(programmed.id) : portSet->portSetId2Is(programmed.id);
        }
    }
}

/// What it has is deleted after it, and sometimes what it has not.
void Run::erase(Match &match, std::size_t half, Step const &step) {
    auto const taken = match.portSets.at(half).extract(step.portSet);
    Programmed const &portSet = taken.mapped();
    std::uint32_t const group = match.groups.at(half);
    checked_->deleteNatFlowVlanPortSet(group, portSet.id);
    if (portSet.source || step.variant % 2 == 1) {
        checked_->deleteNatFlowSrcTranslation(group, portSet.id);
    }
    if (portSet.destination || step.variant % 3 == 1) {
        checked_->deleteNatFlowDstTranslation(group, portSet.id);
    }
}

/// Variant 0 matches any address, and of a destination it translates the MAC address only.
void Run::change(std::uint32_t group, Programmed &portSet, Step const &step) {
    std::uint32_t const n = step.variant;
    auto const port = static_cast<std::uint16_t>(6000 + n % 4);
    std::uint32_t const length = std::array{0U, 1U, 24U, 32U, 8U, 31U, 16U}.at(n);
    auto const flow = [&](std::uint32_t net) {
        return n == 0
                   ? Nexo::IpAndPort()
                   : Nexo::IpAndPort(Nexo::IpAddr(net + n), static_cast<std::uint16_t>(7000 + n));
    };
    switch (step.kind) {
    case Step::Kind::setSource:
        checked_->updateNatFlowSrcTranslation(group, portSet.id, portSet.vlan,
                                              {Nexo::IpAddr(0x0a000001 + n), port},
                                              flow(0xc0a80000), length);
        portSet.source = true;
        break;
    case Step::Kind::setDestination:
        checked_->updateNatFlowDstTranslation(
            group, portSet.id, portSet.vlan,
            n == 0 ? Nexo::IpAndPort() : Nexo::IpAndPort(Nexo::IpAddr(0xef010101 + n), port),
            flow(0xe0010100), length, Nexo::EthAddr(0x020000000100 + n));
        portSet.destination = true;
        break;
    case Step::Kind::clearSource:
        checked_->deleteNatFlowSrcTranslation(group, portSet.id);
        portSet.source = false;
        break;
    default:
        checked_->deleteNatFlowDstTranslation(group, portSet.id);
        portSet.destination = false;
        break;
    }
}

/// A run and how many of the steps it took, to fail or to the end.
std::pair<std::size_t, Outcome> runOf(MakeSubject const &make, std::vector<Step> const &steps) {
    Run run(make());
    run.carryOut(steps);
    return {run.carriedOut(), run.outcome()};
}

/// The steps, for match 1, after three port sets of it with translations: what happens to one must
/// leave the others as they are.
std::vector<Step> withNeighbours(std::vector<Step> const &steps) {
    using Kind = Step::Kind;
    std::vector<Step> all{{Kind::createGroup, 1}};
    for (int portSet = 1; portSet < 4; ++portSet) {
        all.push_back({Kind::program, 1, false, portSet, 5});
        all.push_back({Kind::setSource, 1, false, portSet, 1});
        all.push_back({Kind::setDestination, 1, false, portSet, 2});
    }
    all.insert(all.end(), steps.begin(), steps.end());
    return all;
}

} // namespace

std::vector<Sequence> sequences() {
    using Kind = Step::Kind;
    std::vector<Step> changes;
    for (std::uint32_t const variant : {1U, 3U, 6U, 4U, 0U, 2U, 5U}) {
        changes.push_back({Kind::program, 1, false, 1, variant});
    }
    changes.push_back({Kind::program, 1, false, kStepPortSets - 1});
    return {
        {"a match has a group and frees it and gets one again",
         {{Kind::createGroup, 0},
          {Kind::deleteGroups, 0},
          {Kind::createGroup, 0},
          {Kind::createGroup, 1},
          {Kind::deleteGroups, 0},
          {Kind::deleteGroups, 1}}},
        {"a pair is two groups with port sets of their own",
         {{Kind::createPair, 0},
          {Kind::program, 0, false, 1, 1},
          {Kind::program, 0, true, 1, 2},
          {Kind::setSource, 0, true, 1, 1},
          {Kind::erase, 0, false, 1, 1},
          {Kind::deleteGroups, 0}}},
        {"a port set grows, shrinks, changes its MAC address and recirculates",
         withNeighbours(changes)},
        {"translations are set, replaced and deleted twice",
         withNeighbours({{Kind::setSource, 1, false, 1, 3},
                         {Kind::setDestination, 1, false, 1, 4},
                         {Kind::setDestination, 1, false, 1, 0},
                         {Kind::clearSource, 1, false, 1},
                         {Kind::clearSource, 1, false, 1},
                         {Kind::setSource, 1, false, 1, 6},
                         {Kind::clearDestination, 1, false, 1},
                         {Kind::clearDestination, 1, false, 1}})},
        {"a port set is erased, and its translations after it",
         withNeighbours({{Kind::erase, 1, false, 2, 1},
                         {Kind::program, 1, false, 2, 1},
                         {Kind::clearSource, 1, false, 2},
                         {Kind::erase, 1, false, 1, 1},
                         {Kind::erase, 1, false, 3, 1}})},
        {"a group goes with everything in it", withNeighbours({{Kind::createPair, 2},
                                                               {Kind::program, 2, true, 1, 2},
                                                               {Kind::deleteGroups, 1},
                                                               {Kind::createGroup, 1},
                                                               {Kind::program, 1, false, 1, 6},
                                                               {Kind::deleteGroups, 2}})},
    };
}

Sequence fillingSequence() {
    using Kind = Step::Kind;
    std::vector<Step> steps;
    for (int match = 0; match < kStepMatches; ++match) {
        steps.push_back({Kind::createGroup, match});
        steps.push_back({Kind::program, match, false, 0, 3});
    }
    for (int match = 0; match < kStepMatches; ++match) {
        steps.push_back({Kind::deleteGroups, match});
        steps.push_back({Kind::createPair, match}); // half of it, if one group has become free
        steps.push_back({Kind::program, match, match % 2 == 1, 0, 3});
        steps.push_back({Kind::createGroup, (match + 3) % kStepMatches});
    }
    return {"a full chip refuses groups and halves of pairs, and loses none", steps};
}

Outcome conduct(MakeSubject const &make, std::vector<Step> const &steps) {
    auto [taken, outcome] = runOf(make, steps);
    if (!outcome.failure) {
        return outcome;
    }
    std::vector<Step> needed(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(taken));
    for (std::size_t size = needed.size() / 2; size > 0; size /= 2) {
        for (std::size_t at = 0; at + size <= needed.size();) {
            auto without = needed;
            auto const from = without.begin() + static_cast<std::ptrdiff_t>(at);
            without.erase(from, from + static_cast<std::ptrdiff_t>(size));
            auto shorter = runOf(make, without);
            if (shorter.second.failure) {
                without.resize(shorter.first);
                needed = std::move(without);
                outcome = std::move(shorter.second);
            } else {
                at += size;
            }
        }
    }
    return outcome;
}

std::vector<Step> randomSteps(std::uint64_t seed, std::size_t count) {
    std::mt19937_64 random(seed);
    auto const below = [&](std::uint64_t limit) { return random() % limit; };
    // Programming is what most calls do, and it is most of all one match that changes: what depends
    // on a port set's past needs several steps on the same one.
    constexpr std::array kKinds{
        Step::Kind::createGroup,     Step::Kind::createPair,     Step::Kind::deleteGroups,
        Step::Kind::program,         Step::Kind::program,        Step::Kind::program,
        Step::Kind::program,         Step::Kind::erase,          Step::Kind::setSource,
        Step::Kind::setSource,       Step::Kind::setDestination, Step::Kind::setDestination,
        Step::Kind::clearSource,     Step::Kind::clearSource,    Step::Kind::clearDestination,
        Step::Kind::clearDestination};
    std::vector<Step> steps;
    steps.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        Step step;
        step.kind = kKinds.at(below(kKinds.size()));
        step.match = below(2) == 0 ? 0 : static_cast<int>(below(kStepMatches));
        step.second = below(2) == 1;
        step.portSet = below(2) == 0 ? 0 : static_cast<int>(below(kStepPortSets));
        step.variant = static_cast<std::uint32_t>(below(kStepVariants));
        steps.push_back(step);
    }
    return steps;
}

} // namespace UmoHelper
