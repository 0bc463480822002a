#include "Pelo/Publisher.h"
#include "tests/Mox/AllocationCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Pelo {
namespace {

constexpr ScalarAttribute kState{"state"};

/// Listeners a, b, c... in the order of their subscription to one publisher; who is called is
/// written to `calls`, after which the listener acts.
class PublisherTest : public testing::Test {
  public:
    struct Listener {
        Listener(PublisherTest &owner, char id) : test(owner), name(id) {}
        static void call(void *self, Change const &change) {
            auto &listener = *static_cast<Listener *>(self);
            EXPECT_TRUE(change.isOf(kState));
            listener.test.calls += listener.name;
            if (auto const act = std::exchange(listener.once, nullptr)) {
                act(); // it may destroy the listener
            }
        }
        PublisherTest &test;
        char name;
        std::function<void()> once;
        Subscriber subscriber{&call, this};
    };

    Listener &add(char name) {
        listeners.push_back(std::make_unique<Listener>(*this, name));
        publisher->subscriberAdd(listeners.back()->subscriber);
        return *listeners.back();
    }
    void addAll(std::string const &names) {
        for (char const name : names) {
            add(name);
        }
    }
    Listener &operator[](char name) {
        return **std::find_if(listeners.begin(), listeners.end(),
                              [name](auto const &listener) { return listener->name == name; });
    }
    Subscriber &at(char name) { return (*this)[name].subscriber; }
    void destroy(std::string const &names) {
        for (char const name : names) {
            std::erase_if(listeners, [name](auto const &other) { return other->name == name; });
        }
    }
    void subscribeAnew(char name) {
        at(name).detach();
        publisher->subscriberAdd(at(name));
    }
    std::string callsOfPublication() {
        calls.clear();
        publisher->publishChange(Change(kState));
        return calls;
    }

    std::string calls;
    std::unique_ptr<Publisher> publisher = std::make_unique<Publisher>();
    std::vector<std::unique_ptr<Listener>> listeners;
};

TEST_F(PublisherTest, CallsInOrderOfSubscriptionWhoeverLeftBefore) {
    EXPECT_EQ(callsOfPublication(), "");
    addAll("abcdefgh");
    EXPECT_EQ(callsOfPublication(), "abcdefgh");
    publisher->subscriberRemove(at('b'));
    publisher->subscriberRemove(at('b')); // no longer there: nothing happens
    destroy("e");
    at('a').detach();
    EXPECT_EQ(callsOfPublication(), "cdfgh");
    destroy("hc"); // half of the places are empty now
    EXPECT_EQ(callsOfPublication(), "dfg");
    publisher->subscriberAdd(at('b'));
    EXPECT_EQ(callsOfPublication(), "dfgb");
    at('f').detach();
    EXPECT_EQ(callsOfPublication(), "dgb");
}

TEST_F(PublisherTest, TakesSubscribersThatGoAndComeWhileItPublishes) {
    struct {
        char const *what;
        std::function<void()> act; // of b, once, among a, b, c, d
        std::string now;           // who is called in the same publication,
        std::string outer;         // behind a in one around it,
        std::string next;          // and in the next one
    } const cases[] = {
        {"leaves", [&] { at('b').detach(); }, "abcd", "cd", "acd"},
        {"removes earlier", [&] { at('a').detach(); }, "abcd", "bcd", "bcd"},
        {"removes later", [&] { at('c').detach(); }, "abd", "bd", "abd"},
        {"destroys itself", [&] { destroy("b"); }, "abcd", "cd", "acd"},
        {"destroys earlier", [&] { destroy("a"); }, "abcd", "bcd", "bcd"},
        {"destroys all later", [&] { destroy("cd"); }, "ab", "b", "ab"},
        {"destroys everyone", [&] { destroy("abcd"); }, "ab", "", ""},
        {"destroys the publisher", [&] { publisher.reset(); }, "ab", "", ""},
        {"destroys the publisher and all", [&] { publisher.reset(), destroy("dbca"); }, "ab", "",
         ""},
        {"adds many", [&] { addAll("efghijklmnop"); }, "abcd", "bcd", "abcdefghijklmnop"},
        {"switches a later one off", [&] { at('c').activeIs(false); }, "abd", "bd", "abd"},
        {"subscribes anew", [&] { subscribeAnew('b'); }, "abcd", "cd", "acdb"},
        {"subscribes a later one anew", [&] { subscribeAnew('c'); }, "abd", "bd", "abdc"},
    };
    for (bool const nested : {false, true}) {
        for (auto const &[what, act, now, outer, next] : cases) {
            SCOPED_TRACE(std::string("b ") + what + (nested ? " in a nested publication" : ""));
            listeners.clear();
            publisher = std::make_unique<Publisher>();
            addAll("abcd");
            (*this)['b'].once = act;
            if (nested) {
                (*this)['a'].once = [this] { publisher->publishChange(Change(kState)); };
            }
            EXPECT_EQ(callsOfPublication(), nested ? "a" + now + outer : now);
            if (publisher != nullptr) {
                EXPECT_EQ(callsOfPublication(), next);
            }
            for (auto const &listener : listeners) {
                bool const attached = next.find(listener->name) != std::string::npos ||
                                      std::string(what) == "switches a later one off";
                EXPECT_EQ(listener->subscriber.attached(), attached) << listener->name;
            }
        }
    }
}

TEST_F(PublisherTest, ChangesPassAnInactiveSubscriberUnheard) {
    addAll("ab");
    at('a').activeIs(false);
    EXPECT_EQ(callsOfPublication(), "b");
    at('a').activeIs(true);
    EXPECT_EQ(calls, "b") << "made up for";
    at('a').detach();
    publisher->subscriberAdd(at('a'), false);
    EXPECT_EQ(callsOfPublication(), "b");
}

TEST_F(PublisherTest, PublishingAllocatesNothingEvenIfSubscribersComeAndGo) {
    addAll("abcdefghij");
    Listener &restless = (*this)['e'];
    calls.reserve(100'000);
    auto const publish = [&](int times) {
        for (int i = 0; i < times; ++i) {
            restless.once = [this] { subscribeAnew('e'); };
            publisher->publishChange(Change(kState));
        }
    };
    publish(100); // the list finds its size
    TestSupport::AllocationCount const allocations;
    publish(5000);
    std::size_t const count = allocations.count();
    EXPECT_EQ(calls.size(), 51'000U);
    EXPECT_EQ(count, 0U);
}

using PublisherDeathTest = PublisherTest;

TEST_F(PublisherDeathTest, ExceptionOfASubscriberStopsTheProcessWithItsText) {
    add('a').once = [] { throw std::runtime_error("group table is gone"); };
    EXPECT_DEATH(callsOfPublication(), "group table is gone");
}

TEST_F(PublisherDeathTest, SubscriberFollowsOnePublisherAtATime) {
    Publisher other;
    EXPECT_DEATH(other.subscriberAdd(add('a').subscriber), "!subscriber.attached\\(\\)");
}

} // namespace
} // namespace Pelo
