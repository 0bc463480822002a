#include "Mox/Attributes.h"

#include <gtest/gtest.h>

using namespace Mox;

namespace {

class Port final : public Entity {
    MOX_KEY(Port, std::string, name)
};

class Device final : public Entity {
    MOX_ATTRIBUTE(std::string, alias)
    MOX_CHILDREN(std::string, Port, port)
    MOX_VALUES(std::string, std::string, label)
    MOX_SET(std::string, vlan)
};

static_assert(std::is_same_v<decltype(std::declval<Device const>().port("")), Ptr<Port const>>);

/// Hears all of a device's changes and writes down each with what a look at the device shows.
class AttributesTest : public testing::Test {
  protected:
    AttributesTest() { device->notifier().subscriberAdd(subscriber); }

    static void call(void *self, Pelo::Change const &change) {
        auto &test = *static_cast<AttributesTest *>(self);
        Device const &d = *test.device;
        auto const say = [&](std::string const *key, auto const &shown) {
            test.heard += key != nullptr ? *key + shown(*key) + "; " : "";
        };
        test.heard += change.isOf(Device::aliasAttribute) ? "alias=" + d.alias() + "; " : "";
        say(change.keyOf(Device::portAttribute), [&](auto &k) { return d.port(k) ? "" : "-"; });
        say(change.keyOf(Device::labelAttribute),
            [&](auto &k) { return d.label(k) ? "=" + *d.label(k) : "-"; });
        say(change.keyOf(Device::vlanAttribute),
            [&](auto &k) { return d.vlan().contains(k) ? "" : "-"; });
        EXPECT_TRUE(!test.held || test.held->references() > 1) << "released before published";
    }
    Ptr<Device> device = make<Device>();
    std::string heard;
    Ptr<Port const> held;
    Pelo::Subscriber subscriber{&call, this};
};

TEST_F(AttributesTest, PublishOnChangeOnlyAndAfterStoring) {
    for (char const *text : {"x", "x", "y"}) {
        device->aliasIs(text);
        device->labelIs("l", text);
        device->vlanIs("v");
    }
    for (char const *key : {"l", "l", "v", "v"}) {
        device->labelDel(key);
        device->vlanDel(key);
    }
    Ptr<Port> const port = device->portIs("et1"), filled = make<Port>("et2");
    EXPECT_EQ(device->portIs("et1"), port);
    device->portDel("et2");
    device->portIs("et2", filled);
    EXPECT_EQ(heard, "alias=x; l=x; v; alias=y; l=y; l-; v-; et1; et2; ");
    EXPECT_EQ(device->port("et2"), filled);
    EXPECT_DEATH(device->portIs("et2", filled), "children.find\\(key\\) == nullptr");
}

TEST_F(AttributesTest, RemovedElementsAreGoneWhenPublishedInOrderAndReleasedAfter) {
    std::string gone;
    for (std::string const key : {"9", "8", "7", "6", "5", "4", "3", "2", "1"}) {
        device->portIs(key);
        device->labelIs(key, "");
        device->vlanIs(key);
        gone += key + "-; ";
    }
    held = device->port("9");
    heard.clear();
    device->portDelAll();
    EXPECT_EQ(std::exchange(held, nullptr)->references(), 1U);
    for (auto const &[key, label] : device->label()) {
        device->labelDel(key); // the key is the collection's
    }
    device->vlanDelAll();
    EXPECT_EQ(heard, gone + gone + gone);
}

} // namespace
