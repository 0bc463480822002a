#include "Mox/Reactor.h"
#include "Mox/Attributes.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

using namespace Mox;

namespace {

class Input final : public Entity {
    MOX_ATTRIBUTE(int, level)
    MOX_ATTRIBUTE(std::string, failing)
};

/// A machine with children of its own kind: it follows `level`, which every step of its life
/// changes, has two children if it is the root, and logs what happens to it.
class Machine : public Reactor {
  public:
    Machine(Ptr<Input> const &input, std::string &log, std::string name)
        : input_(input), log_(log), name_(std::move(name)) {
        subscription.follow(input_);
        step("made");
    }
    ~Machine() override { log_ += name_ + " gone; "; }

    void handleInitialized() override {
        if (name_ == "root") {
            for (char const *child : {"a", "b"}) {
                children_.insert(child, reactorIs<Machine>(input_, log_, child));
            }
        }
        step("up");
        if (input_->failing() == name_) {
            throw std::runtime_error("no " + name_);
        }
    }
    void doCleanup() override {
        EXPECT_TRUE(markedForDeletion());
        Reactor::hasNotificationActiveIs(true); // too late: it hears nothing any more
        step("ends with " + std::to_string(children_.size()));
    }
    void hasNotificationActiveIs(bool active) override {
        Reactor::hasNotificationActiveIs(active);
        for (auto const &[name, child] : children_) {
            child->hasNotificationActiveIs(active);
        }
    }

    std::function<void()> atLevel = [] {};
    Subscription subscription{*this, &Machine::dispatch};

  private:
    void childrenDelAll() override { children_.clear(); }
    void step(std::string const &what) {
        { Ptr<Machine> const self(this); } // must not be the end of it
        log_ += name_ + " " + what + "; ";
        input_->levelIs(input_->level() + 1);
    }
    void dispatch(Pelo::Change const &change) {
        log_ += change.isOf(Input::levelAttribute) ? name_ + " hears; " : "";
        atLevel();
    }

    Ptr<Input> input_;
    std::string &log_;
    std::string name_;
    Collection<std::string, Ptr<Machine>> children_;
};

class ReactorTest : public testing::Test {
  protected:
    std::string logOfLevel(int level) {
        log.clear();
        input->levelIs(level);
        return log;
    }

    std::string log;
    Ptr<Input> input = make<Input>();
};

TEST_F(ReactorTest, LivesInOrderAndAFailedStartLeavesNothingBehind) {
    // The children hear what the root's clean-up changes; of theirs nobody hears.
    std::string const start = "root made; a made; a up; b made; a hears; b up; a hears; ";
    std::string const whole = "root up; a hears; b hears; root ends with 2; a hears; b hears; "
                              "a ends with 0; a gone; b ends with 0; b gone; root gone; ";
    std::string const partial = "b ends with 0; a hears; b gone; root ends with 1; a hears; "
                                "a ends with 0; a gone; root gone; ";
    for (std::string const failing : {"", "root", "b"}) {
        log.clear();
        input->failingIs(failing);
        if (failing.empty()) {
            EXPECT_EQ((reactorIs<Machine>(input, log, "root")->references()), 1U);
        } else {
            EXPECT_THROW(reactorIs<Machine>(input, log, "root"), std::runtime_error);
        }
        EXPECT_EQ(log, start + (failing == "b" ? partial : whole));
        EXPECT_EQ(logOfLevel(1000), "");
        EXPECT_EQ(input->references(), 1U);
    }
}

TEST_F(ReactorTest, FollowsOneInputAtATimeAndMayEndInItsOwnReaction) {
    Ptr<Machine> root = reactorIs<Machine>(input, log, "root");
    EXPECT_EQ(logOfLevel(100), "root hears; a hears; b hears; ");
    root->hasNotificationActiveIs(false);
    EXPECT_EQ(logOfLevel(101), "");
    root->hasNotificationActiveIs(true);
    root->subscription.follow(make<Input>()); // what is followed may go first
    EXPECT_EQ(logOfLevel(102), "a hears; b hears; ");
    root->subscription.follow(input);
    root->atLevel = [&] { root = nullptr; };
    EXPECT_EQ(logOfLevel(103), "a hears; b hears; root hears; root ends with 2; a hears; b hears; "
                               "a ends with 0; a gone; b ends with 0; b gone; root gone; ");
    EXPECT_EQ(input->references(), 1U);
}

} // namespace
