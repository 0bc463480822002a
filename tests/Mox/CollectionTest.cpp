#include "Mox/Collection.h"
#include "bench/HeapCount.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

using namespace Mox;

namespace {

/// A collection of characters, walked within a walk.
template <class Tested>
struct Walked {
    void remove(std::string const &keys) {
        for (char const key : keys) {
            EXPECT_EQ(tested->remove(key)->key(), key);
        }
    }
    void insert(std::string const &keys) {
        for (char const key : keys) {
            tested->insert(key, key);
        }
    }
    /// What to do within the walks, and what they must show behind.
    using Cases = std::vector<std::pair<std::function<void()>, std::string>>;

    /// The walks must show `before`, the last of which is where a case acts, and then what is
    /// behind.
    void expect(std::string const &all, std::string const &before, Cases const &cases) {
        for (auto const &[act, behind] : cases) {
            tested = std::make_unique<Tested>();
            insert(all);
            std::string outer, inner;
            for (auto const &[outerKey, outerValue] : *tested) {
                outer += static_cast<char>(outerValue);
                if (outerValue == before.back()) {
                    for (auto const &[key, value] : *tested) {
                        inner += static_cast<char>(value);
                        value == before.back() ? act() : void();
                    }
                }
            }
            EXPECT_EQ(outer, before + behind);
            EXPECT_EQ(inner, outer);
        }
    }

    std::unique_ptr<Tested> tested;
};

TEST(Collection, WalksWithinWalksShowEachElementOnceInOrderWhateverBecomesOfTheCollection) {
    Walked<Collection<char, int>> walked;
    walked.expect("abcdefghijklmnopqrst", "abcdefgh",
                  {
                      {[&] { walked.remove("h"); }, "ijklmnopqrst"},
                      {[&] { walked.remove("hbijt"); }, "klmnopqrs"},
                      {[&] { walked.remove("abcdefghijklm"); }, "nopqrst"},
                      {[&] { walked.insert("ABCDEFGHIJKLMNOPQRSTUVWXYZ"); },
                       "ijklmnopqrstABCDEFGHIJKLMNOPQRSTUVWXYZ"},
                      {[&] { walked.tested->clear(), walked.insert("xy"); }, "xy"},
                      {[&] { walked.remove("tsrqponmlkjihgfedcba"), walked.insert("xy"); }, "xy"},
                      {[&] { walked.tested.reset(); }, ""},
                  });
}

TEST(Collection, WalksInTheSameWayOverElementsThatAreWithinIt) {
    Walked<Collection<char, int, KeyedRecord<char, int>, 4>> walked;
    walked.expect("abcd", "ab",
                  {
                      {[&] { walked.remove("ac"), walked.insert("xy"); }, "dxy"},
                      {[&] { walked.insert("efghijklmnopq"); }, "cdefghijklmnopq"},
                      {[&] { walked.tested->clear(), walked.insert("xyzuvw"); }, "xyzuvw"},
                      {[&] { walked.remove("dcba"), walked.insert("xy"); }, "xy"},
                      {[&] { walked.tested.reset(); }, ""},
                  });
}

TEST(Collection, WalksOnWhenItShrinks) {
    Collection<int, int> numbers;
    for (int key = 0; key < 1000; ++key) {
        numbers.insert(key, key);
    }
    std::vector<int> seen;
    for (auto const &[key, value] : numbers) {
        seen.push_back(value);
        for (int gone = 0; value == 500 && gone < 1000; ++gone) {
            gone % 100 == 0 ? void() : void(numbers.remove(gone));
        }
    }
    std::vector<int> const behind(seen.begin() + 501, seen.end());
    EXPECT_EQ(behind, (std::vector{600, 700, 800, 900}));
    EXPECT_EQ(numbers.size(), 10U);
    EXPECT_TRUE(numbers.find(900) != nullptr && numbers.find(901) == nullptr);
}

TEST(Collection, DestructorOfAnElementThatLooksFindsItGoneAndLookingAllocatesNothing) {
    int gone = 0;
    auto children = std::make_unique<Collection<int, std::shared_ptr<int>>>();
    for (int key = 0; key < 30; ++key) {
        auto const look = [&seen = *children, key](int *count) {
            std::size_t const before = Bench::allocations();
            auto const *const found = seen.find(key);
            EXPECT_EQ(Bench::allocations(), before);
            EXPECT_TRUE(found == nullptr || !*found) << "found itself";
            EXPECT_TRUE(key == 0 || seen.empty()) << "those that are to go with it count";
            EXPECT_EQ(key, (*count)++) << "out of order";
        };
        children->insert(key, {&gone, look});
    }
    children->assign(0, nullptr);
    EXPECT_EQ(gone, 1);
    children.reset();
    EXPECT_EQ(gone, 30);
}

TEST(Collection, FindsANameOfAnyLengthWhateverLiesBehindItInMemory) {
    auto const name = [](std::size_t length, char behind) {
        std::string text = std::string(length, 'n') + std::string(16, behind);
        text.resize(length);
        return text;
    };
    Collection<std::string, int> names;
    for (std::size_t length = 0; length < 40; ++length) {
        names.insert(name(length, 'a'), 0);
        EXPECT_TRUE(names.find(name(length, 'b'))) << length;
    }
}

} // namespace
