#include "Mox/Collection.h"
#include "bench/HeapCount.h"

#include <gtest/gtest.h>

#include <functional>

using namespace Mox;

namespace {

TEST(Collection, WalksWithinWalksShowEachElementOnceInOrderWhateverBecomesOfTheCollection) {
    std::unique_ptr<Collection<char, int>> tested;
    auto const remove = [&](std::string const &keys) {
        for (char const key : keys) {
            EXPECT_EQ(tested->remove(key)->key(), key);
        }
    };
    auto const insert = [&](std::string const &keys) {
        for (char const key : keys) {
            tested->insert(key, key);
        }
    };
    std::pair<std::function<void()>, std::string> const cases[] = {
        {[&] { remove("h"); }, "ijklmnopqrst"},
        {[&] { remove("hbijt"); }, "klmnopqrs"},
        {[&] { remove("abcdefghijklm"); }, "nopqrst"},
        {[&] { insert("ABCDEFGHIJKLMNOPQRSTUVWXYZ"); }, "ijklmnopqrstABCDEFGHIJKLMNOPQRSTUVWXYZ"},
        {[&] { tested->clear(), insert("xy"); }, "xy"},
        {[&] { remove("tsrqponmlkjihgfedcba"), insert("xy"); }, "xy"},
        {[&] { tested.reset(); }, ""},
    };
    for (auto const &[act, behind] : cases) {
        tested = std::make_unique<Collection<char, int>>();
        insert("abcdefghijklmnopqrst");
        std::string outer, inner;
        for (auto const &[outerKey, outerValue] : *tested) {
            outer += static_cast<char>(outerValue);
            if (outerValue == 'h') {
                for (auto const &[key, value] : *tested) {
                    inner += static_cast<char>(value);
                    value == 'h' ? act() : void();
                }
            }
        }
        EXPECT_EQ(outer, "abcdefgh" + behind);
        EXPECT_EQ(inner, outer);
    }
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
