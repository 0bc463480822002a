#include "Mox/Ptr.h"
#include "Base/Assert.h"

#include <gtest/gtest.h>

using namespace Mox;

namespace {

struct Base : PtrInterface {
    ~Base() override { atEnd(*this); }
    std::function<void(Base const &)> atEnd = [](Base const &) {};
};
struct Derived final : Base {};

// What may become what is decided by the compiler.
static_assert(!std::is_constructible_v<Ptr<Base>, Ptr<Base const>>);
static_assert(!std::is_constructible_v<Ptr<Derived>, Ptr<Base>>);
static_assert(!std::is_convertible_v<Base *, Ptr<Base>>);

TEST(Ptr, CountsEveryCopyAndNoMove) {
    Ptr<Derived> first = make<Derived>();
    Ptr<Base const> const reader = first;
    Ptr<Derived> second = std::move(first);
    second = *&second;
    EXPECT_TRUE(first == nullptr && reader == second); // NOLINT: a moved pointer is null
    EXPECT_EQ(reader->references(), 2U);
    Ptr<Base> last = make<Base>();
    last->atEnd = [&](Base const &dying) {
        Ptr<Base const>{&dying}, Ptr<Base const>{&dying}; // a clean-up may take and drop them
        EXPECT_EQ(last, reader) << "shows the old object when it is released";
    };
    last = second;
    EXPECT_EQ(reader->references(), 3U);
}

TEST(Census, CountsWhatWasMadeWhileItWasOnUntilItIsGone) {
    auto one = make<Derived>();
    Census::activeIs(true);
    auto const two = make<Derived>();
    auto three = make<Derived>();
    auto other = make<Base>();
    Census::activeIs(false);
    auto const four = make<Derived>();
    one = nullptr;
    auto const live = [] {
        std::string text;
        for (Census::Entry const &entry : Census::live()) {
            EXPECT_EQ(entry.size, sizeof(Base));
            text += entry.name.substr(entry.name.rfind(':') + 1) + std::to_string(entry.live) + " ";
        }
        return text;
    };
    EXPECT_EQ(live(), "Base1 Derived2 "); // by their names
    three = nullptr;
    other = nullptr;
    EXPECT_EQ(live(), "Derived1 ");
}

TEST(AssertDeathTest, StopsWithTheTextAndThePlace) {
    // In one line, because compilers differ in which line of a macro's call is the place.
    std::string const expected =
        "groups.size\\(\\) <= limit, file .*PtrTest.cpp, line " + std::to_string(__LINE__ + 1);
    EXPECT_DEATH(::Base::assertThat(false, "groups.size() <= limit"), expected);
}

} // namespace
