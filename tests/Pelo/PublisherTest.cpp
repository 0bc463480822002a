#include "Pelo/Publisher.h"
#include "bench/HeapCount.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <stdexcept>

using namespace Pelo;

namespace {

/// Listeners a, b, c... to one publisher; who is called is written to `calls`, after which the
/// listener acts once.
struct PublisherTest : testing::Test {
    struct Listener {
        Listener(std::string &written, char ownName) : calls(written), name(ownName) {}
        static void call(void *self, Change const & /*change*/) {
            auto &listener = *static_cast<Listener *>(self);
            listener.calls += listener.name;
            if (auto const act = std::exchange(listener.once, nullptr)) {
                act(); // it may destroy the listener
            }
        }
        std::string &calls;
        char name;
        std::function<void()> once{};
        Subscriber subscriber{&call, this};
    };

    Subscriber &at(char name) { return listeners.at(name).subscriber; }
    void add(std::string const &names) {
        for (char const name : names) {
            listeners.try_emplace(name, calls, name);
            at(name).detach();
            publisher->subscriberAdd(at(name));
        }
    }
    void publish() const {
        publisher->publishChange(Change(ScalarAttribute<attributeId("state")>()));
    }

    std::string calls = std::string(100, ' ');
    std::unique_ptr<Publisher> publisher = std::make_unique<Publisher>();
    std::map<char, Listener> listeners;
};

TEST_F(PublisherTest, CallsActiveSubscribersInOrderOfSubscriptionWhoeverLeftBefore) {
    add("abcdefg");
    for (char const name : {'a', 'b', 'c', 'e', 'f'}) {
        publisher->subscriberRemove(at(name));
        publisher->subscriberRemove(at(name)); // no longer there: nothing happens
    }
    publisher->subscriberAdd(at('b'));
    publisher->subscriberAdd(at('f'), false);
    calls.clear();
    std::size_t const before = Bench::allocations();
    publish();
    EXPECT_EQ(calls, "dgb");
    auto const again = [this] { at('f').detach(), publisher->subscriberAdd(at('f'), false); };
    for (int i = 0; i < 40; ++i) { // no place is lost to those that left
        i < 20 ? again() : void(listeners.at('g').once = again);
        publish();
        calls.clear();
    }
    EXPECT_EQ(Bench::allocations(), before);
    EXPECT_DEATH(Publisher().subscriberAdd(at('d')), "!subscriber.attached\\(\\)");
    listeners.at('d').once = [] { throw std::runtime_error("group table is gone"); };
    EXPECT_DEATH(publish(), "group table is gone");
}

TEST_F(PublisherTest, TakesSubscribersThatGoAndComeInAPublicationAndInOneWithinAnother) {
    struct {
        std::function<void()> act; // of b, once, among a, b, c, d
        // Who is called in the same publication, behind a in one around it, and in the next one.
        std::string now, outer, next;
    } const cases[] = {
        {[&] { listeners.erase('b'); }, "abcd", "cd", "acd"},
        {[&] { at('b').detach(), at('a').detach(), add("e"); }, "abcd", "cd", "cde"},
        {[&] { at('c').activeIs(false); }, "abd", "bd", "abd"},
        {[&] { add("cefghijklmnop"); }, "abd", "bd", "abdcefghijklmnop"},
        {[&] { publisher.reset(); }, "ab", "", ""},
        {[&] { publisher.reset(), listeners.clear(); }, "ab", "", ""},
    };
    for (std::size_t i = 0; i < 2 * std::size(cases); ++i) {
        auto const &[act, now, outer, next] = cases[i / 2];
        SCOPED_TRACE(i);
        listeners.clear();
        publisher = std::make_unique<Publisher>();
        add("abcd");
        bool const within = i % 2 == 1;
        listeners.at('a').once = [&] { within ? publish() : void(); };
        listeners.at('b').once = act;
        calls.clear();
        publish();
        calls += '|';
        publisher ? publish() : void();
        EXPECT_EQ(calls, (within ? "a" + now + outer : now) + "|" + next);
        EXPECT_TRUE(publisher || listeners.empty() || !at('a').attached());
    }
}

TEST_F(PublisherTest, TakesTheSameWithOneSubscriberWhichMayBecomeSeveral) {
    struct {
        std::function<void()> act; // of a, once, which is alone
        std::string now, next;     // who is called in the same publication, and in the next one
    } const cases[] = {
        {[&] { listeners.erase('a'); }, "a", ""},
        {[&] { at('a').detach(), add("b"); }, "a", "b"},
        {[&] { at('a').activeIs(false); }, "a", ""},
        {[&] { add("bcdefg"); }, "a", "abcdefg"},
        {[&] { add("b"), publish(); }, "aab", "ab"},
        {[&] { add("b"), at('a').detach(), publish(); }, "ab", "b"},
        {[&] { add("b"), publisher.reset(); }, "a", ""},
        {[&] { publisher.reset(), listeners.clear(); }, "a", ""},
    };
    for (auto const &[act, now, next] : cases) {
        SCOPED_TRACE(now + "|" + next);
        listeners.clear();
        publisher = std::make_unique<Publisher>();
        add("a");
        listeners.at('a').once = act;
        calls.clear();
        publish();
        calls += '|';
        publisher ? publish() : void();
        EXPECT_EQ(calls, now + "|" + next);
        EXPECT_TRUE(publisher || listeners.empty() || !at('a').attached());
    }
}

} // namespace
