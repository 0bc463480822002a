#include "Mox/Reactor.h"
#include "Mox/Attributes.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Mox {
namespace {

using Log = std::vector<std::string>;

class Input final : public Entity {
    MOX_ATTRIBUTE(int, level)
    MOX_ATTRIBUTE(std::string, failing)
    MOX_SET(std::string, child)
};

/// A machine with children of its own kind: it follows `level`, has a child per element of the
/// input's `child`, and logs what happens to it. Its clean-up changes the level.
class Machine : public Reactor {
  public:
    Machine(Ptr<Input> const &input, Log &log, std::string name)
        : input_(input), log_(log), name_(std::move(name)) {
        Ptr<Machine> const self(this); // must not be the end of it
        log_.push_back(name_ + " constructed");
        subscription_.follow(input_);
        input_->levelIs(input_->level() + 1);
    }
    ~Machine() override { log_.push_back(name_ + " gone"); }

    void handleInitialized() override {
        { Ptr<Machine> const self(this); }
        if (name_ == "root") {
            for (std::string const &child : input_->child()) {
                children_.insert(child, reactorIs<Machine>(input_, log_, child));
            }
        }
        input_->levelIs(input_->level() + 1);
        log_.push_back(name_ + " initialized");
        if (input_->failing() == name_) {
            throw std::runtime_error("no " + name_);
        }
    }

    void doCleanup() override {
        log_.push_back(name_ + " cleans up with " + std::to_string(children_.size()));
        { Ptr<Machine> const self(this); }
        EXPECT_TRUE(markedForDeletion());
        input_->levelIs(input_->level() + 1);
    }

    void hasNotificationActiveIs(bool active) override {
        Reactor::hasNotificationActiveIs(active);
        for (auto const &[name, child] : children_) {
            child->hasNotificationActiveIs(active);
        }
    }

    std::function<void()> atLevel = [] {};

  private:
    void childrenDelAll() override { children_.clear(); }
    void dispatch(Pelo::Change const &change) {
        if (change.isOf(Input::levelAttribute)) {
            log_.push_back(name_ + " hears");
            atLevel();
        }
    }

    Ptr<Input> input_;
    Log &log_;
    std::string name_;
    Collection<std::string, Ptr<Machine>> children_;
    Subscription subscription_{*this, &Machine::dispatch};
};

class ReactorTest : public testing::Test {
  protected:
    void create() { root = reactorIs<Machine>(input, log, "root"); }
    Log logSince() { return std::exchange(log, {}); }
    /// Nobody reacts any more, and nobody holds the input.
    void expectNothingLeft() {
        log.clear();
        input->levelIs(1000);
        EXPECT_EQ(log, Log{});
        EXPECT_EQ(input->references(), 1U);
    }

    Log log;
    Ptr<Input> input = make<Input>();
    Ptr<Machine> root;
};

TEST_F(ReactorTest, IsConstructedThenInitializedAndHearsOnlyFromThenOn) {
    input->childIs("a");
    create();
    EXPECT_EQ(logSince(), (Log{"root constructed", "a constructed", "a initialized", "a hears",
                               "root initialized"}));
    EXPECT_TRUE(root->hasNotificationActive());
    EXPECT_EQ(root->references(), 1U);
    input->levelIs(100);
    EXPECT_EQ(logSince(), (Log{"root hears", "a hears"}));
    root->hasNotificationActiveIs(false);
    input->levelIs(101);
    EXPECT_EQ(logSince(), Log{});
}

TEST_F(ReactorTest, CleansUpBeforeItsChildrenGoAndNothingOfItReactsAfter) {
    input->childIs("a");
    input->childIs("b");
    create();
    log.clear();
    root = nullptr;
    // The children hear what the root's clean-up changes; of theirs nobody hears.
    EXPECT_EQ(log, (Log{"root cleans up with 2", "a hears", "b hears", "a cleans up with 0",
                        "a gone", "b cleans up with 0", "b gone", "root gone"}));
    expectNothingLeft();
}

TEST_F(ReactorTest, FailedStartLeavesNothingBehindAndGoesOn) {
    struct {
        std::string failing;
        Log expected;
    } const cases[] = {
        {"root",
         {"root constructed", "a constructed", "a initialized", "b constructed", "a hears",
          "a hears", "b initialized", "a hears", "b hears", "root initialized",
          "root cleans up with 2", "a hears", "b hears", "a cleans up with 0", "a gone",
          "b cleans up with 0", "b gone", "root gone"}},
        {"b",
         {"root constructed", "a constructed", "a initialized", "b constructed", "a hears",
          "a hears", "b initialized", "b cleans up with 0", "a hears", "b gone",
          "root cleans up with 1", "a hears", "a cleans up with 0", "a gone", "root gone"}},
    };
    input->childIs("a");
    input->childIs("b");
    for (auto const &[failing, expected] : cases) {
        input->failingIs(failing);
        log.clear();
        try {
            create();
            ADD_FAILURE() << "no exception";
        } catch (std::runtime_error const &error) {
            EXPECT_EQ(error.what(), "no " + failing);
        }
        EXPECT_EQ(log, expected);
        expectNothingLeft();
        input->levelIs(0);
    }
}

TEST_F(ReactorTest, MayEndInItsOwnReaction) {
    input->childIs("a");
    create();
    root->atLevel = [this] { root = nullptr; };
    log.clear();
    input->levelIs(100);
    EXPECT_EQ(log, (Log{"root hears", "root cleans up with 1", "a hears", "a cleans up with 0",
                        "a gone", "root gone"}));
    expectNothingLeft();
}

TEST_F(ReactorTest, SubscriptionFollowsOneInputAtATime) {
    struct Follower : Reactor {
        explicit Follower(int &count) : heard(count) {}
        void handleInitialized() override {}
        void dispatch(Pelo::Change const &) { ++heard; }
        int &heard;
        Subscription subscription{*this, &Follower::dispatch};
    };
    int heard = 0;
    auto const follower = reactorIs<Follower>(heard);
    Ptr<Input> second = make<Input>();
    follower->subscription.follow(input);
    follower->subscription.follow(second);
    input->levelIs(1);
    EXPECT_EQ(heard, 0);
    second->levelIs(1);
    EXPECT_EQ(heard, 1);
    second = nullptr; // what is followed may go first
    follower->subscription.follow(input);
    input->levelIs(2);
    EXPECT_EQ(heard, 2);
    follower->subscription.follow(nullptr);
    input->levelIs(3);
    EXPECT_EQ(heard, 2);
}

} // namespace
} // namespace Mox
