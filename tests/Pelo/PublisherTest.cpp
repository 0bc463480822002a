#include "Pelo/Publisher.h"
#include "tests/Mox/AllocationCount.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

using namespace Pelo;

namespace {

constexpr ScalarAttribute kState{"state"};

/// Listeners a, b, c... to one publisher; who is called is written to `calls`, after which the
/// listener acts once.
class PublisherTest : public testing::Test {
  protected:
    struct Listener {
        static void call(void *self, Change const &) {
            auto &listener = *static_cast<Listener *>(self);
            listener.test.calls += listener.name;
            if (auto const act = std::exchange(listener.once, nullptr)) {
                act(); // it may destroy the listener
            }
        }
        Listener(PublisherTest &owner, char id) : test(owner), name(id) {}
        PublisherTest &test;
        char name;
        std::function<void()> once{};
        Subscriber subscriber{&call, this};
    };

    Subscriber &at(char name) { return listeners.at(name)->subscriber; }
    void add(std::string const &names) {
        for (char const name : names) {
            auto &listener = listeners[name];
            listener = listener ? std::move(listener) : std::make_unique<Listener>(*this, name);
            listener->subscriber.detach();
            publisher->subscriberAdd(listener->subscriber);
        }
    }
    void destroy(std::string const &names) {
        std::erase_if(listeners, [&](auto &entry) { return names.find(entry.first) + 1 != 0; });
    }
    std::string callsOfPublication() {
        calls.clear();
        std::size_t const before = TestSupport::allocations();
        publisher->publishChange(Change(kState));
        allocated = TestSupport::allocations() - before;
        return calls;
    }

    std::string calls = std::string(100, ' ');
    std::size_t allocated = 0; // by the last publication
    std::unique_ptr<Publisher> publisher = std::make_unique<Publisher>();
    std::map<char, std::unique_ptr<Listener>> listeners;
};

TEST_F(PublisherTest, CallsActiveSubscribersInOrderOfSubscriptionWhoeverLeftBefore) {
    add("abcdefgh");
    publisher->subscriberRemove(at('b'));
    publisher->subscriberRemove(at('b')); // no longer there: nothing happens
    destroy("aceh");                      // half of the places are empty now
    publisher->subscriberAdd(at('b'));
    at('f').detach();
    at('g').activeIs(false);
    EXPECT_EQ(callsOfPublication(), "db");
    publisher->subscriberAdd(at('f'), false);
    at('g').activeIs(true);
    EXPECT_EQ(callsOfPublication(), "dgb");
    EXPECT_DEATH(Publisher().subscriberAdd(at('d')), "!subscriber.attached\\(\\)");
    listeners['d']->once = [] { throw std::runtime_error("group table is gone"); };
    EXPECT_DEATH(callsOfPublication(), "group table is gone");
}

TEST_F(PublisherTest, TakesSubscribersThatGoAndComeWhileItPublishes) {
    struct {
        char const *what;
        std::function<void()> act; // of b, once, among a, b, c, d
        // Who is called in the same publication, behind a in one around it, and in the next one.
        std::string now, outer, next;
    } const cases[] = {
        {"leaves", [&] { at('b').detach(); }, "abcd", "cd", "acd"},
        {"removes earlier", [&] { at('a').detach(); }, "abcd", "bcd", "bcd"},
        {"removes later", [&] { at('c').detach(); }, "abd", "bd", "abd"},
        {"destroys itself", [&] { destroy("b"); }, "abcd", "cd", "acd"},
        {"destroys earlier", [&] { destroy("a"); }, "abcd", "bcd", "bcd"},
        {"destroys all later", [&] { destroy("cd"); }, "ab", "b", "ab"},
        {"destroys everyone", [&] { destroy("abcd"); }, "ab", "", ""},
        {"destroys the publisher", [&] { publisher.reset(); }, "ab", "", ""},
        {"destroys everything", [&] { publisher.reset(), destroy("dbca"); }, "ab", "", ""},
        {"adds many", [&] { add("efghijklmnop"); }, "abcd", "bcd", "abcdefghijklmnop"},
        {"switches a later one off", [&] { at('c').activeIs(false); }, "abd", "bd", "abd"},
        {"subscribes anew", [&] { add("b"); }, "abcd", "cd", "acdb"},
        {"subscribes a later one anew", [&] { add("c"); }, "abd", "bd", "abdc"},
    };
    for (bool const nested : {false, true}) {
        for (auto const &[what, act, now, outer, next] : cases) {
            SCOPED_TRACE(std::string("b ") + what + (nested ? " in a nested publication" : ""));
            listeners.clear();
            publisher = std::make_unique<Publisher>();
            add("abcd");
            listeners['b']->once = act;
            if (nested) {
                listeners['a']->once = [this] { publisher->publishChange(Change(kState)); };
            }
            EXPECT_EQ(callsOfPublication(), nested ? "a" + now + outer : now);
            if (publisher != nullptr) {
                EXPECT_EQ(callsOfPublication(), next);
                EXPECT_EQ(allocated, 0U);
            }
            EXPECT_TRUE(publisher || listeners.empty() || !at('a').attached());
        }
    }
}

} // namespace
