#include "agent/live/BridgeFollower.h"

#include "agent/base/Text.h"
#include "agent/live/BridgeReader.h"
#include "agent/live/RunDirectory.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace UmoAgent {

namespace {

constexpr Vyr::Time kPoll = std::chrono::seconds(1);
constexpr Vyr::Time kPatience = std::chrono::seconds(5); // for links that the database leaves open

/// What matters for learned MAC addresses.
bool samePorts(std::map<Nexo::IntfId, LivePort> const &one,
               std::map<Nexo::IntfId, LivePort> const &other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](auto const &a, auto const &b) {
                          return a.first == b.first && a.second.state == b.second.state &&
                                 a.second.number == b.second.number;
                      });
}

/// Those whose port still exists.
LearnedMacs stillLearned(LearnedMacs learned, BridgeState const &state) {
    for (auto &[vlan, macs] : learned) {
        std::erase_if(macs, [&](auto const &one) { return state.ports.count(one.second) == 0; });
    }
    std::erase_if(learned, [](auto const &vlan) { return vlan.second.empty(); });
    return learned;
}

} // namespace

BridgeFollower::BridgeFollower(EventLoop &loop, Options options, Callbacks callbacks)
    : options_(std::move(options)),
      runDirectory_(runDirectoryOf(options_.ovsdb)),
      callbacks_(std::move(callbacks)),
      poll_([this] { askLearned(); }),
      patience_([this] {
          patient_ = false;
          tellIfDifferent();
      }),
      database_(loop, options_.ovsdb, {[this] { readRows(); }, callbacks_.log}),
      control_(
          loop, runDirectory_,
          {[this] { controlCame(); }, [this](std::string const &reason) { controlWent(reason); }}),
      kernel_(loop, [this] { readRows(); }) {}

void BridgeFollower::readRows() {
    if (!database_.wasRead() || !kernel_.wereRead()) {
        return;
    }
    auto reading = readBridge(database_.rows(), options_.bridge, kernel_.addresses());
    if (!reading) {
        bridgeIsMissing();
        return;
    }
    if (std::exchange(missingLogged_, false)) {
        log("found");
    }
    logLeftOut(reading->leftOut);
    bool const another = bridge_ != reading->bridge;
    bool const differs = another || !samePorts(read_.ports, reading->state.ports);
    if (another) {
        thereIs(false); // until ovs-vswitchd knows it
    } else {
        reading->state.learnedMacs = stillLearned(std::move(read_.learnedMacs), reading->state);
    }
    bridge_ = reading->bridge;
    read_ = std::move(reading->state);
    linksUnknown_ = reading->linksUnknown;
    tellIfDifferent();
    if (differs) {
        askLearned();
    }
    if (callbacks_.databaseWritten) {
        callbacks_.databaseWritten();
    }
}

void BridgeFollower::bridgeIsMissing() {
    if (!std::exchange(missingLogged_, true)) {
        log(bridge_ ? "it was deleted" : "it is not in the database yet");
    }
    bridge_.reset();
    patience_.stop();
    read_ = {};
    leftOut_.clear();
    thereIs(false);
    tellIfDifferent();
}

void BridgeFollower::log(std::string const &line) const {
    callbacks_.log("bridge " + inQuotes(options_.bridge) + ": " + line);
}

void BridgeFollower::logLeftOut(std::vector<std::string> const &lines) {
    std::set<std::string> const before = std::exchange(leftOut_, {lines.begin(), lines.end()});
    for (std::string const &line : lines) {
        if (before.count(line) == 0) {
            log(line);
        }
    }
}

/// One question at a time, so that they do not pile up at a busy ovs-vswitchd.
void BridgeFollower::askLearned() {
    if (asking_ || !control_.connected()) {
        askAgain_ = asking_;
        return;
    }
    asking_ = true;
    control_.request("fdb/show", {options_.bridge}, [this](bool good, std::string const &text) {
        asking_ = false;
        if (std::exchange(askAgain_, false)) {
            askLearned();
        } else {
            poll_.runIn(kPoll);
        }
        learned(good, text);
    });
}

/// ovs-vswitchd refuses if it does not know the bridge.
void BridgeFollower::learned(bool good, std::string const &text) {
    if (good && bridge_) {
        answered_ = true;
        read_.learnedMacs = readLearnedMacs(text, read_.ports);
        tellIfDifferent();
    }
    thereIs(good && bridge_);
}

/// A database server that was restarted does not know the links until ovs-vswitchd connects again.
/// Without links there is no copy, so a state of that moment would take all out of the switch.
bool BridgeFollower::nowReady() {
    if (ready_ || !bridge_ || !answered_) {
        return false;
    }
    if (linksUnknown_ && patient_) {
        if (!patience_.pending()) {
            patience_.runIn(kPatience);
        }
        return false;
    }
    return true;
}

void BridgeFollower::tellIfDifferent() {
    bool const first = nowReady();
    ready_ = ready_ || first;
    if (first || (ready_ && state_ != read_)) {
        state_ = read_;
        callbacks_.changed(state_);
    }
}

void BridgeFollower::thereIs(bool there) {
    if (std::exchange(there_, there) != there) {
        there ? callbacks_.switchCame() : callbacks_.switchWent();
    }
}

void BridgeFollower::controlCame() {
    if (std::exchange(controlLossLogged_, false)) {
        callbacks_.log("ovs-vswitchd in " + runDirectory_ + ": connected");
    }
    askLearned();
}

/// The learned MAC addresses stay: the kernel may still forward.
void BridgeFollower::controlWent(std::string const &reason) {
    controlLossLogged_ = true;
    callbacks_.log("ovs-vswitchd in " + runDirectory_ + ": " +
                   (answered_ ? "connection lost: " : "cannot be asked: ") + reason);
    asking_ = askAgain_ = false;
    poll_.stop();
    thereIs(false);
}

} // namespace UmoAgent
