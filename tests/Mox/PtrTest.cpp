#include "Mox/Ptr.h"
#include "Mox/Assert.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <utility>

namespace Mox {
namespace {

class Base : public PtrInterface {
  public:
    std::function<void(Base const *)> atEnd = [](Base const *) {};

  protected:
    ~Base() override { atEnd(this); }
};
class Derived final : public Base {};

// What may become what is decided by the compiler.
static_assert(sizeof(Ptr<Base>) == sizeof(Base *));
static_assert(std::is_convertible_v<Ptr<Derived>, Ptr<Base const>>);
static_assert(!std::is_constructible_v<Ptr<Base>, Ptr<Base const>>);
static_assert(!std::is_constructible_v<Ptr<Derived>, Ptr<Base>>);
static_assert(!std::is_convertible_v<Base *, Ptr<Base>>);
static_assert(!std::is_convertible_v<Ptr<Base>, Base *>);
static_assert(!std::is_convertible_v<Ptr<Base>, bool>);

TEST(Ptr, CountsEveryCopyAndNoMove) {
    int ends = 0;
    {
        Ptr<Derived> first = make<Derived>();
        first->atEnd = [&ends](Base const *) { ++ends; };
        EXPECT_EQ(first->references(), 1U);
        Ptr<Base const> reader = first;
        EXPECT_EQ(first->references(), 2U);
        EXPECT_TRUE(reader == first);
        Ptr<Derived> second = std::move(first);
        EXPECT_TRUE(first == nullptr && !first); // NOLINT: a moved pointer is null
        EXPECT_EQ(second->references(), 2U);
        Ptr<Derived> const &same = second;
        second = same;
        EXPECT_EQ(second->references(), 2U);
        std::unordered_set<Ptr<Derived>> const set{second, second};
        EXPECT_EQ(second->references(), 3U);
        second = nullptr;
        EXPECT_EQ(ends, 0);
        EXPECT_EQ(reader->references(), 2U);
    }
    EXPECT_EQ(ends, 1);
}

TEST(Ptr, ShowsTheNewObjectWhenAssignmentReleasesTheOld) {
    Ptr<Base> const next = make<Derived>();
    Ptr<Base> pointer = make<Derived>();
    Base const *seen = nullptr;
    pointer->atEnd = [&](Base const *) { seen = pointer.ptr(); };
    pointer = next;
    EXPECT_EQ(seen, next.ptr());

    pointer = make<Derived>();
    pointer->atEnd = [&](Base const *) { seen = pointer.ptr(); };
    pointer = nullptr;
    EXPECT_EQ(seen, nullptr);
}

TEST(Ptr, CleanUpMayTakeAndDropReferencesToTheDyingObject) {
    for (bool const threadSafe : {false, true}) {
        PtrInterface::threadSafeIs(threadSafe);
        int ends = 0;
        Ptr<Base> pointer = make<Derived>();
        pointer->atEnd = [&ends](Base const *dying) {
            ++ends;
            for (int i = 0; i < 3; ++i) {
                Ptr<Base const> const temporary(dying);
            }
        };
        pointer = nullptr;
        EXPECT_EQ(ends, 1);
    }
    PtrInterface::threadSafeIs(false);
}

TEST(Ptr, CountIsExactBetweenThreadsInThreadSafeMode) {
    PtrInterface::threadSafeIs(true);
    int ends = 0;
    Ptr<Base> shared = make<Derived>();
    shared->atEnd = [&ends](Base const *) { ++ends; };
    auto const hammer = [own = shared] {
        for (int i = 0; i < 300'000; ++i) {
            Ptr<Base const> const copy = own;
        }
    };
    {
        std::thread one(hammer), two(hammer);
        one.join();
        two.join();
    }
    EXPECT_EQ(shared->references(), 2U); // ours and the lambda's
    PtrInterface::threadSafeIs(false);
    EXPECT_EQ(ends, 0);
}

TEST(AssertDeathTest, PrintsTheAssertedTextAndItsPlace) {
    assertThat(true, "passes");
    int const line = __LINE__ + 1;
    auto const fail = [] { assertThat(false, "groups.size() <= limit"); };
    EXPECT_DEATH(fail(),
                 "groups.size\\(\\) <= limit, file .*PtrTest.cpp, line " + std::to_string(line));
}

TEST(AssertDeathTest, ExceptionInDispatchPrintsItsText) {
    auto const stopOn = [](auto const &exception) {
        try {
            throw exception;
        } catch (...) {
            stopOnException();
        }
    };
    EXPECT_DEATH(stopOn(std::runtime_error("no such policy")), "no such policy, file .*PtrTest");
    EXPECT_DEATH(stopOn(42), "not a std::exception, file .*PtrTest");
}

} // namespace
} // namespace Mox
