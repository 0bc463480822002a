#include "Nexo/IntfId.h"
#include "Nexo/VlanIntfId.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace Nexo;

namespace {

TEST(IntfIdTest, LongAndShortNamesAreOneInterfaceAndOrderIsOfFirstNaming) {
    IntfId previous;
    bool shortFirst = false; // either name may come first
    std::pair<char const *, char const *> const cases[] = {
        {"Ethernet72", "Et72"},
        {"Ethernet71", "Et71"},
        {"Ethernet71/1", "Et71/1"},
        {"Ethernet71/1/1", "Et71/1/1"},
        {"lo", "lo"},
        {"veth-a=br0.10,_", "veth-a=br0.10,_"},
        {"ethernet71", "ethernet71"},
        {"Ethernet9999/9999/9999", "Et9999/9999/9999"},
        {"Ethernet71/2", "Et71/2"},
        {"Port-Channel71", "Po71"},
        {"Vlan4095", "Vl4095"},
        {"Loopback0", "Lo0"},
        {"Management71", "Ma71"},
    };
    for (auto const &[longName, shortName] : cases) { // no other test names these
        IntfId const first(shortFirst ? shortName : longName);
        EXPECT_EQ(first, IntfId(shortFirst ? longName : shortName));
        EXPECT_LT(previous, first) << longName << " is taken for another";
        EXPECT_EQ(first.stringValue() + " " + first.shortName(),
                  std::string(longName) + " " + shortName);
        EXPECT_EQ(VlanIntfId::vlanId(first), longName[0] == 'V' ? 4095 : 0);
        shortFirst = !shortFirst;
        previous = first;
    }
}

TEST(IntfIdTest, MalformedNamesAreRefusedWithTheirText) {
    std::string const port = "one to three numbers 1-9999 without leading zeros after Ethernet, "
                             "separated by slashes";
    std::pair<std::string, std::string> const cases[] = {
        {" Ethernet1", "Vl, Lo or Ma"},
        {"eth1\x7f", "Vl, Lo or Ma"},
        {"\xc3\xa9th1", "Vl, Lo or Ma"},
        {"Eth1/2", "Vl, Lo or Ma"},
        {"..", "Vl, Lo or Ma"},
        {"a-name-of-16-ch.", "Vl, Lo or Ma"},
        {"Ethernet", port},
        {"Ethernet1/02", port},
        {"Et1/2/3/4", port},
        {"Et10000", port},
        {"Et1/", port},
        {"Po0", "one number 1-9999 without leading zeros after Port-Channel"},
        {"Vl4096", "one number 0-4095 without leading zeros after Vlan"},
        {"Lo0/0", "one number 0-9999 without leading zeros after Loopback"},
    };
    for (auto const &[name, expected] : cases) {
        EXPECT_THAT(([text = name] { IntfId{text}; }),
                    testing::ThrowsMessage<std::invalid_argument>(testing::AllOf(
                        testing::StartsWith("malformed interface name \"" + name + "\": "),
                        testing::EndsWith(expected))));
    }
}

} // namespace
