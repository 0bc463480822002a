#include "Mox/Ptr.h"

#include <gtest/gtest.h>

#include <thread>

// Built with UMO_THREAD_SAFE_POINTERS, with its own copy of what the platform needs for that.

namespace {

struct Object final : Mox::PtrInterface {
    explicit Object(bool &itsEnd) : ended(itsEnd) {}
    ~Object() override { ended = true; }
    bool &ended;
};

TEST(SharedCount, OfThreadsIsExactAndTheLastReferenceDestroysTheObject) {
    static_assert(Mox::kThreadSafePointers);
    bool ended = false;
    auto object = Mox::make<Object>(ended);
    {
        auto const hammer = [own = object] {
            for (int i = 0; i < 300'000; ++i) {
                Mox::Ptr<Object const> const copy = own;
            }
        };
        std::thread one(hammer), two(hammer);
        one.join();
        two.join();
        EXPECT_EQ(object->references(), 2U); // the lambda's is one
    }
    EXPECT_EQ(object->references(), 1U);
    object = nullptr;
    EXPECT_TRUE(ended);
}

} // namespace
