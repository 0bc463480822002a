#include "HelperKit/Conformance.h"

#include "HelperKit/CheckedHelper.h"

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <utility>

namespace UmoHelper {

namespace {

constexpr int kMatches = 6;
constexpr int kPortSets = 5;
constexpr std::uint32_t kVariants = 7;

/// Plays the library on one subject.
class Run {
  public:
    explicit Run(Subject subject) : subject_(std::move(subject)) {
        checked_->logIs([this](CheckedHelper::Logged const &logged) {
            calls_.push_back(logged.text());
            problem_ = problem_.empty() ? difference() : problem_;
        });
    }

    void carryOut(Step const &step);

    /// What was wrong first, after some call; empty: nothing.
    [[nodiscard]] std::string const &problem() const { return problem_; }

    [[nodiscard]] std::vector<std::string> const &calls() const { return calls_; }

  private:
    struct Programmed {
        std::uint32_t id = 0;
        std::uint16_t vlan = 0;
    };
    struct Match {
        std::array<std::uint32_t, 2> groups{}; // the second is 0 for a single group
        std::array<std::map<int, Programmed>, 2> portSets;
    };

    void createGroups(Match &match, std::string const &name, bool pair);
    void deleteGroups(Match &match, std::string const &name);
    void program(Match &match, std::size_t half, Step const &step);
    void change(std::uint32_t group, Programmed const &portSet, Step const &step);
    [[nodiscard]] std::string difference() const;

    Subject subject_;
    std::string problem_;
    Mox::Ptr<CheckedHelper> checked_ =
        Mox::make<CheckedHelper>(subject_.helper, [this](CheckedHelper::Finding const &finding) {
            problem_ = problem_.empty() ? finding.text() : problem_;
        });
    std::array<Match, kMatches> matches_;
    std::vector<std::string> calls_;
};

void Run::carryOut(Step const &step) {
    std::string const name = "match" + std::to_string(step.match);
    Match &match = matches_.at(static_cast<std::size_t>(step.match));
    bool const pair = step.kind == Step::Kind::createPair;
    if (pair || step.kind == Step::Kind::createGroup) {
        createGroups(match, name, pair);
        return;
    }
    if (step.kind == Step::Kind::deleteGroups) {
        deleteGroups(match, name);
        return;
    }
    std::size_t const half = step.second && match.groups[1] != 0 ? 1 : 0;
    std::uint32_t const group = match.groups.at(half);
    auto const portSet = match.portSets.at(half).find(step.portSet);
    bool const there = portSet != match.portSets.at(half).end();
    if (group != 0 && step.kind == Step::Kind::program) {
        program(match, half, step);
    } else if (there && step.kind == Step::Kind::erase) {
        std::uint32_t const id = portSet->second.id;
        checked_->deleteNatFlowVlanPortSet(group, id);
        checked_->deleteNatFlowSrcTranslation(group, id);
        checked_->deleteNatFlowDstTranslation(group, id);
        match.portSets.at(half).erase(portSet);
    } else if (there) {
        change(group, portSet->second, step);
    }
}

/// As the library does: the second half is requested even if the first was refused, and of half a
/// pair nothing is kept.
void Run::createGroups(Match &match, std::string const &name, bool pair) {
    if (match.groups[0] != 0) {
        return;
    }
    std::uint32_t const unicast = pair ? checked_->createNatFlowGroup("policy", name, true) : 0;
    std::uint32_t const multicast = checked_->createNatFlowGroup("policy", name, false);
    if (pair && unicast != 0 && multicast != 0) {
        match.groups = {unicast, multicast};
    } else if (!pair) {
        match.groups = {multicast, 0};
    }
}

void Run::deleteGroups(Match &match, std::string const &name) {
    for (std::uint32_t const group : match.groups) {
        if (group != 0) {
            checked_->deleteNatFlowGroup("policy", name, group);
        }
    }
    match = {};
}

void Run::program(Match &match, std::size_t half, Step const &step) {
    constexpr std::uint32_t kPorts = 4;
    auto const vlan = static_cast<std::uint16_t>(100 + step.portSet);
    auto const portSet = Mox::make<Ip::Nat::NatFlowPortSet>(vlan);
    bool const recirculates = step.variant == 0;
    if (recirculates) {
        portSet->intfIs(Nexo::IntfId());
    }
    for (std::uint32_t port = 1; port <= kPorts && !recirculates; ++port) {
        if (port == 1 || ((step.variant >> (port - 2U)) & 1U) != 0) {
            portSet->intfIs(Nexo::IntfId("Ethernet" + std::to_string(port)));
        }
    }
    portSet->dmacIs(Nexo::EthAddr::parse("02:00:00:00:00:0" + std::to_string(step.variant % 3)));
    Programmed &programmed = match.portSets.at(half)[step.portSet];
    programmed = {checked_->updateNatFlowVlanPortSet(match.groups.at(half), programmed.id, portSet),
                  vlan};
}

void Run::change(std::uint32_t group, Programmed const &portSet, Step const &step) {
    auto const variant = std::to_string(1 + step.variant);
    Nexo::IpAndPort const nat = Nexo::IpAndPort::parse("10.0.0." + variant + ":600" + variant);
    Nexo::IpAndPort const group1 = Nexo::IpAndPort::parse("239.1.1." + variant + ":0");
    auto const mac = Nexo::EthAddr::parse("02:00:00:00:01:0" + variant);
    switch (step.kind) {
    case Step::Kind::setSource:
        checked_->updateNatFlowSrcTranslation(group, portSet.id, portSet.vlan, nat, {}, 24);
        break;
    case Step::Kind::setDestination:
        checked_->updateNatFlowDstTranslation(group, portSet.id, portSet.vlan, group1, {}, 32, mac);
        break;
    case Step::Kind::clearSource:
        checked_->deleteNatFlowSrcTranslation(group, portSet.id);
        break;
    default:
        checked_->deleteNatFlowDstTranslation(group, portSet.id);
        break;
    }
}

std::string Run::difference() const {
    Contents there = subject_.probe();
    for (std::uint32_t const half : checked_->mayHold()) {
        there.erase(half);
    }
    std::string const text = UmoHelper::difference(checked_->contents(), there);
    return text.empty() ? "" : "the chip does not hold what it should: " + text;
}

/// How many of the first steps it takes to fail, and what the failure is.
std::optional<std::pair<std::size_t, Failure>> failureOf(MakeSubject const &make,
                                                         std::vector<Step> const &steps) {
    Run run(make());
    for (std::size_t i = 0; i < steps.size(); ++i) {
        run.carryOut(steps[i]);
        if (!run.problem().empty()) {
            return std::pair(i + 1, Failure{run.problem(), run.calls()});
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<Failure> conduct(MakeSubject const &make, std::vector<Step> const &steps) {
    auto failure = failureOf(make, steps);
    if (!failure) {
        return std::nullopt;
    }
    std::vector<Step> needed(steps.begin(),
                             steps.begin() + static_cast<std::ptrdiff_t>(failure->first));
    for (std::size_t size = needed.size() / 2; size > 0; size /= 2) {
        for (std::size_t at = 0; at + size <= needed.size();) {
            auto without = needed;
            auto const from = without.begin() + static_cast<std::ptrdiff_t>(at);
            without.erase(from, from + static_cast<std::ptrdiff_t>(size));
            if (auto shorter = failureOf(make, without)) {
                without.resize(shorter->first);
                needed = std::move(without);
                failure = std::move(shorter);
            } else {
                at += size;
            }
        }
    }
    return std::move(failure->second);
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
        step.match = below(2) == 0 ? 0 : static_cast<int>(below(kMatches));
        step.second = below(2) == 1;
        step.portSet = below(2) == 0 ? 0 : static_cast<int>(below(kPortSets));
        step.variant = static_cast<std::uint32_t>(below(kVariants));
        steps.push_back(step);
    }
    return steps;
}

} // namespace UmoHelper
