#include "Nexo/IntfId.h"
#include "Nexo/VlanIntfId.h"

#include <gmock/gmock.h>

#include <sstream>
#include <stdexcept>

using namespace Nexo;

namespace {

TEST(IntfIdTest, LongAndShortNamesAreOneInterfaceAndOrderIsOfFirstNaming) {
    std::string const cases[][3] = {
        {"Ethernet", "Et", "71 72 9998 71/1 71/2 72/1 71/1/1 71/2/3 71/2/9999"}, // named here only
        {"Port-Channel", "Po", "71 75 9999"},
        {"Vlan", "Vl", "0 71 4093 4095"},
        {"Loopback", "Lo", "0 71 9999"},
        {"Management", "Ma", "0 71 9999"},
    };
    IntfId previous("");
    EXPECT_TRUE(previous.empty() && previous.stringValue().empty());
    bool shortFirst = false; // by which name it comes first must not matter
    for (auto const &[longPrefix, shortPrefix, numbers] : cases) {
        std::istringstream in(numbers);
        for (std::string number; in >> number; shortFirst = !shortFirst) {
            std::string const longName = longPrefix + number, shortName = shortPrefix + number;
            IntfId const first(shortFirst ? shortName : longName);
            EXPECT_EQ(first, IntfId(shortFirst ? longName : shortName));
            EXPECT_LT(previous, first) << longName << " is taken for another";
            std::ostringstream printed;
            printed << first << " " << first.shortName();
            EXPECT_EQ(printed.str(), longName + " " + shortName);
            EXPECT_EQ(VlanIntfId::isVlanIntfId(first), shortPrefix == "Vl");
            EXPECT_EQ(VlanIntfId::vlanId(first), shortPrefix == "Vl" ? std::stoi(number) : 0);
            previous = first;
        }
    }
}

TEST(IntfIdTest, MalformedNamesAreRefusedWithTheirText) {
    char const *const cases[][2] = {
        // what is expected, and names separated by bars
        {"with upper and lower case as here",
         "ethernet1|ETHERNET1|et1|Port-channel5|Eth1|1|/| Ethernet1|Ethernet 1|Ethernet/1|Vlan+1"},
        {"one to three numbers 1-9999 without leading zeros after Ethernet, separated by slashes",
         "Ethernet0|Ethernet1/0|Ethernet01|Ethernet1/02|Ethernet10000|Ethernet1/|Ethernet1//2|"
         "Ethernet1/2/3/4|Ethernet1/2/3/|Et1.5|Et1 |Et1/2/x|Et4294967297"},
        {"one number 1-9999 without leading zeros after Port-Channel", "Po0|Po10000|Po05|Po1/1"},
        {"one number 0-4095 without leading zeros after Vlan", "Vlan|Vl4096|Vl00|Vl10/1|Vl10x"},
        {"one number 0-9999 without leading zeros after Loopback", "Loopback10000|Lo0/0"},
        {"one number 0-9999 without leading zeros after Management", "Ma10000|Ma1/1"},
    };
    for (auto const &[expected, names] : cases) {
        std::istringstream in(names);
        for (std::string name; std::getline(in, name, '|');) {
            EXPECT_THAT([&] { IntfId{name}; },
                        testing::ThrowsMessage<std::invalid_argument>(testing::AllOf(
                            testing::StartsWith("malformed interface name \"" + name + "\": "),
                            testing::HasSubstr(expected))));
        }
    }
}

} // namespace
