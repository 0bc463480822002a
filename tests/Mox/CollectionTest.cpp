#include "Mox/Collection.h"
#include "Mox/Ptr.h"
#include "Mox/Set.h"
#include "tests/Mox/AllocationCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

/// A key of which many share one hash.
struct CrowdedKey {
    unsigned number;
    bool operator==(CrowdedKey const &) const = default;
};

} // namespace

template <>
struct std::hash<CrowdedKey> {
    std::size_t operator()(CrowdedKey const &key) const noexcept { return key.number % 5; }
};

namespace Mox {
namespace {

template <class Key>
Key keyOf(unsigned number);
template <>
CrowdedKey keyOf(unsigned number) {
    return {number};
}
template <>
std::string keyOf(unsigned number) {
    return "a name too long to be kept inside the string, " + std::to_string(number);
}

/// A collection and beside it what it should hold, by the running number of the insertion. A
/// walk must show, at each step, the element with the next higher number of those there are.
template <class Key>
class RandomRun {
  public:
    explicit RandomRun(unsigned seed) : random_(seed) {}

    void changes(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            change();
            ASSERT_EQ(collection_.size(), model_.size());
        }
    }

    void walk(unsigned depth, unsigned &changesLeft) {
        std::uint64_t last = 0;
        for (auto const &[key, value] : collection_) {
            auto const expected = model_.upper_bound(last);
            ASSERT_NE(expected, model_.end()) << "the walk shows more than there is";
            ASSERT_EQ(key, keyOf<Key>(expected->second.first));
            ASSERT_EQ(value, expected->second.second);
            last = expected->first;
            for (unsigned i = below(4); i > 0 && changesLeft > 0; --i, --changesLeft) {
                change();
            }
            if (depth > 0 && below(6) == 0) {
                walk(depth - 1, changesLeft);
            }
            if (depth < 2 && below(12) == 0) {
                return;
            }
        }
        ASSERT_EQ(model_.upper_bound(last), model_.end()) << "the walk ended early";
    }

  private:
    static constexpr unsigned kKeys = 400;

    unsigned below(std::size_t limit) { return static_cast<unsigned>(random_() % limit); }

    void change() {
        if (model_.size() == target_) { // sizes about which something changes, and a large one
            static constexpr std::array<std::size_t, 10> kTargets{0,  1,  7,  8,  9,
                                                                  15, 17, 33, 60, 300};
            target_ = kTargets[below(kTargets.size())];
        }
        bool const grow = (model_.size() < target_) != (below(5) == 0);
        unsigned const number = below(kKeys);
        Key const key = keyOf<Key>(number);
        int const value = static_cast<int>(below(3));
        auto const held = numbers_.find(number);

        int const *const found = std::as_const(collection_).find(key);
        ASSERT_EQ(found != nullptr, held != numbers_.end());
        ASSERT_TRUE(found == nullptr || *found == model_[held->second].second);
        if (below(1000) == 0) {
            collection_.clear();
            model_.clear();
            numbers_.clear();
        } else if (grow) {
            bool const changes = found == nullptr || *found != value;
            if (found == nullptr && below(2) == 0) {
                collection_.insert(key, value);
            } else {
                ASSERT_EQ(collection_.assign(key, value), changes);
            }
            std::uint64_t const place = found == nullptr ? ++inserted_ : held->second;
            numbers_[number] = place;
            model_[place] = {number, value};
        } else if (!model_.empty() && below(2) == 0) {
            removeFirst();
        } else {
            remove(key, held);
        }
    }

    void removeFirst() {
        auto const first = model_.begin();
        for (auto const &[key, value] : collection_) {
            remove(key, numbers_.find(first->second.first)); // the key is the element's own
            return;
        }
    }

    void remove(Key const &key, std::map<unsigned, std::uint64_t>::iterator held) {
        auto const taken = collection_.remove(key);
        ASSERT_EQ(taken.has_value(), held != numbers_.end());
        if (taken) {
            ASSERT_EQ(taken->key, keyOf<Key>(held->first));
            ASSERT_EQ(taken->value, model_[held->second].second);
            model_.erase(held->second);
            numbers_.erase(held);
        }
    }

    std::mt19937 random_;
    Collection<Key, int> collection_;
    std::map<std::uint64_t, std::pair<unsigned, int>> model_; // insertion -> key number, value
    std::map<unsigned, std::uint64_t> numbers_;               // key number -> insertion
    std::uint64_t inserted_ = 0;
    std::size_t target_ = 0;
};

template <class Key>
void runAgainstModel() {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomRun<Key> run(seed);
        for (unsigned round = 0; round < 100 && !testing::Test::HasFatalFailure(); ++round) {
            run.changes(60);
            unsigned changesInWalk = round % 3 * 150;
            run.walk(2, changesInWalk);
        }
    }
}

TEST(Collection, FollowsItsModelThroughRandomChangesAndNestedWalks) {
    runAgainstModel<std::string>();
}

TEST(Collection, FollowsItsModelWhenHashesCollide) {
    runAgainstModel<CrowdedKey>();
}

/// An element that tells when it goes.
class Child final : public PtrInterface {
  public:
    explicit Child(std::function<void()> atEnd) : atEnd_(std::move(atEnd)) {}

  private:
    ~Child() override { atEnd_(); }
    std::function<void()> atEnd_;
};
using Children = Collection<int, Ptr<Child>>;

TEST(Collection, DestructorOfAnElementThatLooksFindsItGone) {
    struct {
        std::function<void(std::unique_ptr<Children> &)> change;
        std::vector<int> gone; // the first of them
    } const cases[] = {
        {[](auto &children) { children->remove(1); }, {1}},
        {[](auto &children) { EXPECT_TRUE(children->assign(2, nullptr)); }, {2}},
        {[](auto &children) { children->clear(); }, {0, 1, 2}},
        {[](auto &children) { children.reset(); }, {0, 1, 2}},
    };
    for (int const size : {3, 30}) { // without and with an index
        for (auto const &[change, expected] : cases) {
            std::vector<int> gone;
            auto children = std::make_unique<Children>();
            Children const &seen = *children;
            for (int key = 0; key < size; ++key) {
                children->insert(key, make<Child>([&gone, &seen, key] {
                                     Ptr<Child> const *const found = seen.find(key);
                                     EXPECT_TRUE(found == nullptr || !*found) << "found itself";
                                     for (auto const &[other, child] : seen) {
                                         EXPECT_TRUE(other != key || !child) << "met itself";
                                     }
                                     gone.push_back(key);
                                 }));
            }
            change(children);
            gone.resize(std::min(gone.size(), std::size_t{3}));
            EXPECT_EQ(gone, expected);
        }
    }
}

TEST(Set, KeepsEachKeyOnceAndTakesKeysThatReferIntoIt) {
    Set<std::string> set;
    for (unsigned i = 0; i < 20; ++i) {
        EXPECT_TRUE(set.insert(keyOf<std::string>(i)));
    }
    unsigned visited = 0;
    for (std::string const &key : set) {
        EXPECT_EQ(key, keyOf<std::string>(visited++));
        EXPECT_FALSE(set.insert(key));
        EXPECT_EQ(set.remove(key), key);
        EXPECT_EQ(set.remove(key), std::nullopt);
        EXPECT_FALSE(set.contains(key));
    }
    EXPECT_EQ(visited, 20U);
    EXPECT_TRUE(set.empty());
}

TEST(Collection, LookupAndWalkAllocateNothing) {
    for (int const size : {5, 500}) {
        Children children;
        Set<int> set;
        for (int key = 0; key < size; ++key) {
            children.insert(key, make<Child>([] {}));
            set.insert(key);
        }
        int visited = 0;
        TestSupport::AllocationCount const allocations;
        for (auto const &[key, child] : children) {
            visited += children.find(key) != nullptr && children.find(key + size) == nullptr;
            for (int const other : set) {
                visited += other == key && set.contains(other);
            }
        }
        std::size_t const count = allocations.count();
        EXPECT_EQ(visited, 2 * size);
        EXPECT_EQ(count, 0U);
    }
}

TEST(CollectionWalk, KeepsTheCurrentElementThatItsBodyRemoves) {
    std::vector<int> gone;
    Children children;
    for (int const key : {1, 2, 3}) {
        children.insert(key, make<Child>([&gone, key] { gone.push_back(key); }));
    }
    std::vector<int> visited;
    for (auto const &[key, child] : children) {
        int const current = key;
        children.remove(current);
        EXPECT_EQ(gone, visited) << "released before the body ended";
        visited.push_back(current);
    }
    EXPECT_EQ(visited, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(gone, visited);
}

TEST(CollectionWalk, EndsWithTheCollection) {
    for (int const size : {2, 20}) {
        auto children = std::make_unique<Children>();
        auto set = std::make_unique<Set<int>>();
        int gone = 0;
        for (int key = 0; key < size; ++key) {
            children->insert(key, make<Child>([&gone] { ++gone; }));
            set->insert(key);
        }
        int visited = 0;
        for (auto const &outer : *children) {
            for (int const inner : *set) {
                for (auto const &nested : *children) {
                    EXPECT_EQ(nested.key, inner);
                    children.reset();
                    set.reset();
                    EXPECT_EQ(gone, size - 1) << "the walks hold their element, and only that";
                    ++visited;
                }
            }
            EXPECT_EQ(outer.value->references(), 1U);
        }
        EXPECT_EQ(visited, 1);
        EXPECT_EQ(gone, size);
    }
}

} // namespace
} // namespace Mox
