#include "Mox/Collection.h"
#include "Mox/Set.h"
#include "tests/Mox/AllocationCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace {

/// A key that does not fit into its string, of as many different hashes as a test wants.
struct TestKey {
    explicit TestKey(unsigned number) : text(std::to_string(number) + std::string(40, ' ')) {}
    bool operator==(TestKey const &) const = default;
    static inline std::size_t hashes;
    std::string text;
};

} // namespace

template <>
struct std::hash<TestKey> {
    std::size_t operator()(TestKey const &key) const noexcept {
        return std::hash<std::string>()(key.text) % TestKey::hashes;
    }
};

using namespace Mox;

namespace {

/// A collection, a set of the same keys, and what they should hold in order of insertion. A walk
/// must show, at each step, the first of the elements there are that was inserted after the last.
class CollectionModelTest : public testing::Test {
  protected:
    using Both = std::pair<Collection<TestKey, unsigned>, Set<TestKey>>;
    struct Entry {
        unsigned place, number, value; // place: counts the insertions
    };

    unsigned below(std::size_t limit) { return static_cast<unsigned>(random() % limit); }
    void renew() {
        both = std::make_unique<Both>();
        model.clear();
        ++life;
    }

    void walk(unsigned depth) {
        unsigned const ownLife = life;
        unsigned last = 0;
        auto const next = [&] {
            return std::find_if(model.begin(), model.end(),
                                [last](Entry const &entry) { return entry.place > last; });
        };
        auto inSet = both->second.begin();
        for (auto const &[key, value] : both->first) {
            ASSERT_TRUE(life == ownLife && next() != model.end()) << "shows more than there is";
            ASSERT_TRUE(key == TestKey(next()->number) && value == next()->value);
            ASSERT_TRUE(inSet != both->second.end() && *inSet == key);
            last = next()->place;
            for (unsigned i = below(4); i > 0 && changesLeft > 0; --i, --changesLeft) {
                change();
            }
            if (depth > 0 && below(6) == 0) {
                walk(depth - 1);
            } else if (depth < 2 && below(12) == 0) {
                return;
            }
            ++inSet;
        }
        ASSERT_TRUE(life != ownLife || next() == model.end()) << "ended early";
    }

    void change() {
        if (model.size() == target) { // sizes about which something changes, and a large one
            std::size_t const targets[] = {0, 1, 7, 8, 9, 15, 17, 33, 60, 300};
            target = targets[below(std::size(targets))];
        }
        bool const grow = (model.size() < target) != (below(5) == 0), own = below(2) == 0;
        unsigned const number = model.empty() || below(2) == 0
                                    ? below(1000)
                                    : model[own ? 0 : below(model.size())].number;
        TestKey const key(number);
        unsigned const value = below(3);
        auto const held = std::find_if(model.begin(), model.end(), [number](Entry const &entry) {
            return entry.number == number;
        });
        bool const there = held != model.end();
        auto &[collection, set] = *both;
        std::size_t const before = TestSupport::allocations();
        auto const first = collection.begin();
        unsigned const *const found = collection.find(key);
        ASSERT_EQ(set.contains(key), there);
        ASSERT_EQ(TestSupport::allocations(), before);
        ASSERT_TRUE(there ? found != nullptr && *found == held->value : found == nullptr);
        unsigned const rare = below(1000);
        if (rare == 0) {
            renew();
        } else if (rare == 1) {
            collection.clear();
            set.clear();
            model.clear();
        } else if (grow) {
            ASSERT_EQ(set.insert(key), !there);
            ASSERT_EQ(collection.assign(key, value), !there || value != held->value);
            there ? void(held->value = value) : model.push_back({++inserted, number, value});
        } else {
            bool const isFirst = there && held == model.begin(); // the collection's own key then
            ASSERT_EQ(set.remove(key).has_value(), there);
            auto const taken = collection.remove(isFirst ? (*first).key : key);
            ASSERT_TRUE(there ? taken && taken->key == key && taken->value == held->value : !taken);
            there ? void(model.erase(held)) : void();
        }
        ASSERT_TRUE(both->first.size() == model.size() && both->second.size() == model.size());
    }

    std::mt19937 random;
    std::unique_ptr<Both> both;
    std::vector<Entry> model;
    std::size_t target = 0;
    unsigned inserted = 0, life = 0, changesLeft = 0;
};

TEST_F(CollectionModelTest, HoldsThroughRandomChangesAndNestedWalks) {
    for (unsigned seed = 0; seed < 1000 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        if (seed % 100 == 0) {
            TestKey::hashes = seed % 200 == 0 ? 5 : ~std::size_t{0};
            renew();
        }
        random.seed(seed);
        for (int i = 0; i < 60 && !HasFatalFailure(); ++i) {
            change();
        }
        changesLeft = seed % 3 * 150;
        walk(2);
    }
}

using Children = Collection<int, std::shared_ptr<int>>;

TEST(Collection, DestructorOfAnElementThatLooksFindsItGone) {
    void (*const changes[])(std::unique_ptr<Children> &) = {
        [](auto &children) { children->remove(0); },
        [](auto &children) { EXPECT_TRUE(children->assign(0, nullptr)); },
        [](auto &children) { children->clear(); },
        [](auto &children) { children.reset(); },
    };
    for (int const size : {3, 30}) { // without and with an index
        for (auto const change : changes) {
            int gone = 0;
            auto children = std::make_unique<Children>();
            auto const look = [&gone, &seen = *children](int key) {
                auto const *const found = seen.find(key);
                EXPECT_TRUE(found == nullptr || !*found) << "found itself";
                for (auto const &[other, child] : seen) {
                    EXPECT_TRUE(other != key || !child) << "met itself";
                }
                EXPECT_EQ(key, gone++) << "out of order";
            };
            for (int key = 0; key < size; ++key) {
                children->insert(key, {&gone, [look, key](int *) { look(key); }});
            }
            change(children);
            EXPECT_EQ(gone, children && !children->empty() ? 1 : size);
        }
    }
}

} // namespace
