#include "tests/support/VirtualSwitch.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(VirtualSwitch, FloodsABroadcastWithinItsVlanAlsoAfterARestart) {
    TestSupport::VirtualSwitch ovs;
    ovs.bridge("br0");
    ovs.port("br0", "p1", {"tag=10"});
    ovs.port("br0", "p2", {"tag=10"});
    ovs.port("br0", "p3", {"tag=20"});
    TestSupport::VirtualSwitch::Frame frame(60, 0xff);
    for (frame.back() = 0; frame.back() < 2; ++frame.back()) {
        ovs.receive("p1", frame);
        EXPECT_THAT(ovs.sent("p2"), ElementsAre(frame));
        EXPECT_THAT(ovs.sent("p1"), IsEmpty());
        EXPECT_THAT(ovs.sent("p3"), IsEmpty());
        ovs.killSwitch();
        ovs.startSwitch();
    }
}

} // namespace
