#include "Mox/Reactor.h"
#include "Ip/NatStatus.h"

#include <gtest/gtest.h>

#include <functional>

using namespace Mox;

namespace {

using Input = Ip::Nat::NatFlowActionStatus;

/// Follows the version, which its start and its end change, and logs what happens to it.
struct Machine : Reactor {
    Machine(Ptr<Input> const &followed, std::string &to) : input(followed), log(to) {
        subscription.follow(input);
    }
    ~Machine() override { log += "gone; "; }

    void handleInitialized() override { step("up; "); }
    void doCleanup() override {
        child ? void() : Reactor::hasNotificationActiveIs(true); // too late: it is deaf already
        step("ends; ");
    }
    void hasNotificationActiveIs(bool active) override {
        Reactor::hasNotificationActiveIs(active);
        child ? child->hasNotificationActiveIs(active) : void();
    }
    void childrenDelAll() override {
        step("children go; ");
        child = nullptr;
    }
    void step(std::string const &what) {
        { Ptr<Machine> const self(this); } // must not be the end of it
        log += what;
        input->versionIs(input->version() + 1);
    }
    void dispatch(Pelo::ChangeOf<Input> const & /*change*/) {
        log += "hears; ";
        atVersion();
    }

    Ptr<Input> input;
    std::string &log;
    Ptr<Machine> child;
    std::function<void()> atVersion = [] {};
    Subscription<Input, &Machine::dispatch> subscription{*this};
};

TEST(Reactor, FollowsOneInputAndEndsInOrderAlsoInItsOwnReaction) {
    std::string log;
    auto const input = make<Input>("a");
    Census::activeIs(true);
    Ptr<Machine> machine = reactorIs<Machine>(input, log);
    Census::activeIs(false);
    EXPECT_EQ(Census::live().size(), 1U);
    machine->hasNotificationActiveIs(false);
    input->versionIs(101);
    machine->hasNotificationActiveIs(true);
    machine->subscription.follow(make<Input>("a")); // what is followed may go first
    input->versionIs(102);
    machine->subscription.follow(input);
    machine->child = reactorIs<Machine>(input, log);
    machine->atVersion = [&] { machine = nullptr; };
    input->versionIs(200);
    EXPECT_EQ(log, "up; up; hears; hears; ends; hears; children go; " // hears the end, no more
                   "ends; children go; gone; gone; ");
    EXPECT_EQ(input->references(), 1U);
}

} // namespace
