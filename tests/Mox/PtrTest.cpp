#include "Mox/Ptr.h"
#include "Mox/Assert.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <unordered_set>

using namespace Mox;

namespace {

struct Base : PtrInterface {
    ~Base() override { atEnd(*this); }
    std::function<void(Base const &)> atEnd = [](Base const &) {};
};
struct Derived final : Base {};

// What may become what is decided by the compiler.
static_assert(sizeof(Ptr<Base>) == sizeof(Base *));
static_assert(std::is_convertible_v<Ptr<Derived>, Ptr<Base const>>);
static_assert(!std::is_constructible_v<Ptr<Base>, Ptr<Base const>>);
static_assert(!std::is_constructible_v<Ptr<Derived>, Ptr<Base>>);
static_assert(!std::is_convertible_v<Base *, Ptr<Base>>);
static_assert(!std::is_convertible_v<Ptr<Base>, Base *>);
static_assert(!std::is_convertible_v<Ptr<Base>, bool>);

TEST(Ptr, CountsEveryCopyAndNoMoveInEitherModeAndBetweenThreads) {
    for (bool const threadSafe : {false, true}) {
        PtrInterface::threadSafeIs(threadSafe);
        int ends = 0;
        Ptr<Derived> first = make<Derived>();
        Ptr<Base const> reader = first;
        EXPECT_TRUE(reader == first);
        EXPECT_EQ(first->references(), 2U);
        Ptr<Derived> second = std::move(first);
        EXPECT_TRUE(first == nullptr && !first); // NOLINT: a moved pointer is null
        second = *&second;
        EXPECT_EQ(reader->references(), 2U);
        std::unordered_set<Ptr<Derived>> const set{second, second};
        EXPECT_EQ(reader->references(), 3U);
        Ptr<Base> last = make<Base>();
        last->atEnd = [&](Base const &dying) {
            Ptr<Base const>{&dying}, Ptr<Base const>{&dying}; // a clean-up may take and drop them
            EXPECT_EQ(last, reader) << "shows the old object when it is released";
            ++ends;
        };
        last = second;
        EXPECT_EQ(ends, 1);
        EXPECT_EQ(reader->references(), 4U);
    }
    // Thread-safe mode is on.
    Ptr<Base> const shared = make<Base>();
    auto const hammer = [own = shared] {
        for (int i = 0; i < 300'000; ++i) {
            Ptr<Base const> const copy = own;
        }
    };
    std::thread one(hammer), two(hammer);
    one.join();
    two.join();
    EXPECT_EQ(shared->references(), 2U); // ours and the lambda's
    PtrInterface::threadSafeIs(false);
}

TEST(AssertDeathTest, StopsWithTheTextAndThePlace) {
    auto const place = ", file .*PtrTest.cpp, line " + std::to_string(__LINE__ + 1);
    EXPECT_DEATH(assertThat(false, "groups.size() <= limit"), "groups.size\\(\\) <= limit" + place);
}

} // namespace
