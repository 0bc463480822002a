#include "agent/openflow/SwitchProgrammer.h"

#include "agent/base/Text.h"
#include "agent/openflow/SwitchText.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <system_error>
#include <utility>

namespace UmoAgent {

namespace {

constexpr std::chrono::milliseconds kPatience{10'000};
constexpr unsigned kFailuresUntilTrouble = 3;
constexpr Vyr::Time kRetry = std::chrono::milliseconds(100);
constexpr Vyr::Time kRetryInTrouble = std::chrono::seconds(10);
constexpr Vyr::Time kRetryWithReason = std::chrono::seconds(1); // to hope for another result

std::string const kProblem = "the switch cannot be updated: ";

void merge(OpenFlowRenderer::Touched &into, OpenFlowRenderer::Touched more) {
    into.groups.merge(more.groups);
    into.flows.merge(more.flows);
}

std::set<std::uint32_t> idsOf(OpenFlowTables const &tables) {
    std::set<std::uint32_t> ids;
    std::transform(tables.groups.begin(), tables.groups.end(), std::inserter(ids, ids.end()),
                   [](auto const &group) { return group.first; });
    return ids;
}

std::string inWords(OpenFlowTables const &tables) {
    return counted(tables.groups.size(), "group", "groups") + ", " +
           counted(tables.flows.size(), "flow", "flows");
}

} // namespace

SwitchProgrammer::SwitchProgrammer(EventLoop &loop, OpenFlowRenderer &renderer, Options options,
                                   Log log)
    : loop_(loop),
      renderer_(renderer),
      options_(std::move(options)),
      log_(std::move(log)),
      retry_([this] { read(); }),
      nextAudit_([this] { audit(nullptr); }) {}

void SwitchProgrammer::switchCame() {
    switchThere_ = true;
    failures_ = 0;
    comparable_ = false;
    findings_.clear();
    read();
}

void SwitchProgrammer::switchWent() {
    switchThere_ = false;
    known_ = false;
    child_.reset();
    retry_.stop();
    auditsFail();
}

void SwitchProgrammer::begin() {
    begun_ = true;
    if (options_.audit > Vyr::Time{}) {
        nextAudit_.runIn(options_.audit);
    }
}

void SwitchProgrammer::run(std::vector<std::string> arguments, std::string const &input,
                           ChildProcess::Done done) {
    std::vector<std::string> command{"ovs-ofctl", "-O", "OpenFlow15", "--no-names"};
    // It also ends by itself, should the agent be killed.
    command.push_back("--timeout=" + std::to_string(kPatience.count() / 1000));
    std::move(arguments.begin(), arguments.end(), std::back_inserter(command));
    try {
        child_ = std::make_unique<ChildProcess>(
            loop_, std::move(command), input, kPatience,
            [this, done = std::move(done)](ChildProcess::Result const &result) {
                auto const ended = std::move(child_);
                done(result);
            });
    } catch (std::system_error const &error) {
        failed(error.what());
    }
}

/// Whatever is in progress no longer counts. What differs from what was there after the last
/// success is somebody else's work, and is told as an audit's finding.
void SwitchProgrammer::read() {
    child_.reset();
    known_ = false;
    retry_.stop();
    if (std::exchange(auditWanted_, false)) {
        auditing_ = true;
        std::move(asked_.begin(), asked_.end(), std::back_inserter(answering_));
        asked_.clear();
        if (options_.audit > Vyr::Time{}) {
            nextAudit_.runIn(options_.audit);
        }
    }
    dump([this](OpenFlowTables const &there) {
        if (!std::exchange(everRead_, true)) {
            renderer_.lastResortIs(idsOf(there));
        }
        if (std::exchange(comparable_, true)) {
            find(there);
        }
        counters_.audits += auditing_ ? 1 : 0;
        there_ = there;
        unsure_ = {};
        known_ = true;
        pending_ = differences(there_, renderer_.tables());
        send();
    });
}

void SwitchProgrammer::dump(std::function<void(OpenFlowTables const &there)> done) {
    run({"dump-groups", options_.target}, "",
        [this, done = std::move(done)](ChildProcess::Result const &groups) {
            if (!groups.good()) {
                failed("its groups cannot be read: " + groups.problem);
                return;
            }
            run({"--no-stats", "dump-flows", options_.target,
                 std::string("cookie=") + kFlowCookie + "/-1"},
                "", [this, done, text = groups.output](ChildProcess::Result const &flows) {
                    if (!flows.good()) {
                        failed("its flows cannot be read: " + flows.problem);
                        return;
                    }
                    done(readTables(text, flows.output, options_.range));
                });
        });
}

void SwitchProgrammer::send() {
    if (!begun_ || child_ != nullptr) {
        return;
    }
    if (!known_) {
        if (everRead_ && renderedMore()) {
            tryAgain(); // perhaps without what was refused
        }
        return;
    }
    renderer_.render();
    merge(pending_, renderer_.takeTouched());
    Bundle const bundle = bundleFor(there_, renderer_.tables(), pending_);
    if (bundle.text.empty()) {
        settled();
        return;
    }
    OpenFlowTables sending;
    carryOver(sending, renderer_.tables(), pending_);
    run({"bundle", options_.target, "-"}, bundle.text,
        [this, sending = std::move(sending), keys = std::exchange(pending_, {}),
         groups = bundle.groups, flows = bundle.flows](ChildProcess::Result const &result) {
            if (!result.good()) {
                ++counters_.refused;
                counters_.refusal = result.problem;
                unsure_ = keys;
                failed("it refuses a bundle: " + result.problem);
                return;
            }
            carryOver(there_, sending, keys);
            counters_.groups += groups;
            counters_.flows += flows;
            if (++counters_.bundles == 1) {
                log_("the switch is programmed: " + inWords(there_));
            }
            send();
        });
}

/// REQUIRES: the switch will be read before anything is sent, since what was touched is forgotten.
bool SwitchProgrammer::renderedMore() {
    renderer_.render();
    auto const touched = renderer_.takeTouched();
    return !touched.groups.empty() || !touched.flows.empty();
}

/// Nothing is left to be sent.
void SwitchProgrammer::settled() {
    pending_ = {};
    if (std::exchange(failures_, 0) >= kFailuresUntilTrouble) {
        log_("the switch is programmed again: " + inWords(there_));
    }
    std::vector<std::string> lines = std::exchange(findings_, {});
    if (std::exchange(auditing_, false)) {
        lines.push_back(lines.empty() ? "the switch has what it should have: " + inWords(there_)
                                      : "mended: the switch has " + inWords(there_));
        answer(std::exchange(answering_, {}), {true, std::move(lines)});
    }
    if (auditWanted_) {
        read();
    }
}

void SwitchProgrammer::audit(Audited audited) {
    auditWanted_ = true;
    if (audited) {
        asked_.push_back(std::move(audited));
        tryAgain();
    }
    if (!switchThere_) {
        auditsFail();
    }
    send();
}

void SwitchProgrammer::tryAgain() {
    if (retry_.pending() && failures_ >= kFailuresUntilTrouble) {
        retry_.runIn(std::max(failedAt_ + kRetryWithReason - loop_.now(), Vyr::Time{}));
    }
}

/// Notes what somebody else has done in the switch.
void SwitchProgrammer::find(OpenFlowTables const &there) {
    auto const add = [this](std::string const &what, bool found, bool expected) {
        findings_.push_back(what + (!found      ? " was missing"
                                    : !expected ? " was not the agent's"
                                                : " was changed"));
        log_("audit: " + findings_.back());
        ++counters_.mended;
    };
    auto const wrong = differences(there_, there);
    for (std::uint32_t const id : wrong.groups) {
        if (unsure_.groups.count(id) == 0) {
            add("group " + std::to_string(id), there.groups.count(id) != 0,
                there_.groups.count(id) != 0);
        }
    }
    for (std::string const &match : wrong.flows) {
        if (unsure_.flows.count(match) == 0) {
            add("flow " + match, there.flows.count(match) != 0, there_.flows.count(match) != 0);
        }
    }
}

void SwitchProgrammer::answer(std::vector<Audited> const &audits, AuditAnswer const &answer) {
    for (Audited const &audited : audits) {
        audited(answer);
    }
}

/// Whoever waits for an audit hears why there is none.
void SwitchProgrammer::auditsFail() {
    auditing_ = false;
    AuditAnswer const reason{false, {trouble()}};
    answer(std::exchange(answering_, {}), reason);
    answer(std::exchange(asked_, {}), reason);
}

/// What the switch has is unknown now; looks again, soon or in a while.
void SwitchProgrammer::failed(std::string const &problem) {
    known_ = false;
    problem_ = problem;
    failedAt_ = loop_.now();
    if (++failures_ <= kFailuresUntilTrouble) {
        log_(kProblem + problem);
    }
    if (failures_ == kFailuresUntilTrouble) {
        log_("it is tried again every 10 s");
    }
    bool const trouble = failures_ >= kFailuresUntilTrouble;
    retry_.runIn(trouble ? kRetryInTrouble : kRetry);
    if (trouble) {
        auditsFail();
    } else if (std::exchange(auditing_, false)) { // the next try is one
        auditWanted_ = true;
        asked_.insert(asked_.begin(), answering_.begin(), answering_.end());
        answering_.clear();
    }
}

std::string SwitchProgrammer::trouble() const {
    if (!switchThere_) {
        return "the switch is not there: ovs-vswitchd does not run, or has no such bridge";
    }
    if (failures_ >= kFailuresUntilTrouble) {
        return kProblem + problem_;
    }
    std::size_t const starved = renderer_.starved();
    return starved == 0 ? ""
                        : "no group id is left for " + counted(starved, "match", "matches") +
                              ": a larger --group-range is needed";
}

bool SwitchProgrammer::removeAll() {
    bool const began = std::exchange(begun_, false);
    nextAudit_.stop();
    asked_.clear(); // whoever asked may have gone
    answering_.clear();
    while (child_ != nullptr) {
        child_->wait(); // it may start another one
    }
    retry_.stop();
    if (!began || !switchThere_) {
        return !began;
    }
    // Also those of which it is not known whether the switch took them.
    std::set<std::uint32_t> ids = idsOf(there_);
    ids.merge(idsOf(renderer_.tables()));
    std::string text = std::string("flow delete cookie=") + kFlowCookie + "/-1\n";
    for (std::uint32_t const id : ids) {
        text += "group delete group_id=" + std::to_string(id) + '\n';
    }
    bool removed = false;
    run({"bundle", options_.target, "-"}, text, [&](ChildProcess::Result const &result) {
        removed = result.good();
        if (!removed) {
            log_("the switch could not be cleared: " + result.problem);
        }
    });
    if (child_ != nullptr) {
        child_->wait();
    }
    return removed;
}

} // namespace UmoAgent
