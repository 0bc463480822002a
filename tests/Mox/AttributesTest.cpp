#include "Mox/Attributes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Mox {
namespace {

class Port final : public Entity {
    MOX_KEY(Port, std::string, name)
    MOX_ATTRIBUTE(int, speed)
};

class Device final : public Entity {
    MOX_ATTRIBUTE(std::string, alias)
    MOX_CHILDREN(std::string, Port, port)
    MOX_VALUES(int, std::string, label)
    MOX_SET(unsigned, vlan)
};

/// Hears all of a device's changes and writes down each with what a look at the device shows.
class AttributesTest : public testing::Test {
  protected:
    AttributesTest() { device->notifier().subscriberAdd(subscriber); }

    static void call(void *self, Pelo::Change const &change) {
        auto &test = *static_cast<AttributesTest *>(self);
        Device const &d = *test.device;
        std::string said;
        if (change.isOf(Device::aliasAttribute)) {
            said = "alias=" + d.alias();
        }
        if (auto const *name = change.keyOf(Device::portAttribute)) {
            said += "port " + *name + (d.port(*name) ? " there" : " gone");
        }
        if (auto const *number = change.keyOf(Device::labelAttribute)) {
            auto const *label = d.label(*number);
            said += "label " + std::to_string(*number) + (label ? "=" + *label : " gone");
        }
        if (auto const *vlan = change.keyOf(Device::vlanAttribute)) {
            said += "vlan " + std::to_string(*vlan) + (d.vlan().contains(*vlan) ? "" : " gone");
        }
        test.heard.push_back(said);
        test.heldReferences = test.held ? test.held->references() : 0;
    }
    std::vector<std::string> heardSince() { return std::exchange(heard, {}); }
    using Said = std::vector<std::string>;

    Ptr<Device> device = make<Device>();
    Said heard;
    Ptr<Port const> held;
    std::uint32_t heldReferences = 0; // when the last change was heard
    Pelo::Subscriber subscriber{&call, this};
};

TEST_F(AttributesTest, PublishesOnChangeOnlyAndAfterStoring) {
    device->aliasIs("");
    EXPECT_EQ(heardSince(), Said{});
    device->aliasIs("x");
    device->aliasIs("x");
    EXPECT_EQ(heardSince(), Said{"alias=x"});

    device->labelIs(7, "a");
    device->labelIs(7, "a");
    device->labelIs(7, "b");
    device->labelDel(8);
    device->labelDel(7);
    EXPECT_EQ(heardSince(), (Said{"label 7=a", "label 7=b", "label 7 gone"}));

    device->vlanIs(10);
    device->vlanIs(10);
    device->vlanDel(11);
    device->vlanDel(10);
    device->vlanDel(10);
    EXPECT_EQ(heardSince(), (Said{"vlan 10", "vlan 10 gone"}));

    Ptr<Port> const port = device->portIs("et1");
    EXPECT_EQ(device->portIs("et1"), port);
    EXPECT_EQ(port->name(), "et1");
    port->speedIs(100); // a change of the child is the child's to publish
    device->portDel("et2");
    EXPECT_EQ(heardSince(), Said{"port et1 there"});
}

TEST_F(AttributesTest, RemovedElementIsGoneWhenPublishedAndReleasedAfter) {
    for (bool const all : {false, true}) {
        held = device->portIs("et1");
        heard.clear();
        all ? device->portDelAll() : device->portDel(held->name()); // the key is the element's
        EXPECT_EQ(heardSince(), Said{"port et1 gone"});
        EXPECT_GE(heldReferences, 2U) << "released before it was published";
        EXPECT_EQ(held->references(), 1U);
    }
    device->labelIs(7, "a");
    for (auto const &[number, label] : device->label()) {
        device->labelDel(number); // the key is the collection's
    }
    EXPECT_EQ(heard.back(), "label 7 gone");
}

TEST_F(AttributesTest, DelAllPublishesEveryKeyInOrder) {
    Said ports, labels, vlans;
    for (unsigned i = 20; i > 0; --i) {
        std::string const number = std::to_string(i);
        device->portIs("et" + number);
        device->labelIs(static_cast<int>(i), number);
        device->vlanIs(i);
        ports.push_back("port et" + number + " gone");
        labels.push_back("label " + number + " gone");
        vlans.push_back("vlan " + number + " gone");
    }
    heard.clear();
    device->portDelAll();
    EXPECT_EQ(heardSince(), ports);
    device->labelDelAll();
    EXPECT_EQ(heardSince(), labels);
    device->vlanDelAll();
    EXPECT_EQ(heardSince(), vlans);
    device->vlanDelAll();
    EXPECT_EQ(heardSince(), Said{});
}

} // namespace
} // namespace Mox
