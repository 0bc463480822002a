#include "Nexo/IntfId.h"
#include "Nexo/VlanIntfId.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

namespace Nexo {
namespace {

TEST(IntfIdTest, LongAndShortNamesAreOneInterface) {
    struct {
        std::string longPrefix;
        std::string shortPrefix;
        std::vector<std::string> numbers;
    } const cases[] = {
        {"Ethernet", "Et", {"1", "12", "9999", "1/1", "1/2", "2/1", "1/1/1", "1/2/3", "1/2/9999"}},
        {"Port-Channel", "Po", {"1", "5", "9999"}},
        {"Vlan", "Vl", {"0", "1", "10", "4094", "4095"}},
        {"Loopback", "Lo", {"0", "1", "9999"}},
        {"Management", "Ma", {"0", "1", "9999"}},
    };
    std::unordered_set<IntfId> seen;
    bool shortFirst = false; // the form that names the interface first must not matter
    for (auto const &[longPrefix, shortPrefix, numbers] : cases) {
        for (auto const &number : numbers) {
            std::string const longName = longPrefix + number, shortName = shortPrefix + number;
            IntfId const first(shortFirst ? shortName : longName);
            IntfId const second(shortFirst ? longName : shortName);
            shortFirst = !shortFirst;
            EXPECT_EQ(first, second);
            EXPECT_FALSE(first.empty());
            EXPECT_EQ(second.stringValue(), longName);
            EXPECT_EQ(second.shortName(), shortName);
            std::ostringstream os;
            os << second;
            EXPECT_EQ(os.str(), longName);
            EXPECT_TRUE(seen.insert(first).second) << longName << " is taken for another";

            bool const isVlan = longPrefix == "Vlan";
            EXPECT_EQ(VlanIntfId::isVlanIntfId(first), isVlan) << longName;
            EXPECT_EQ(VlanIntfId::vlanId(first), isVlan ? std::stoi(number) : 0) << longName;
        }
    }
}

TEST(IntfIdTest, EmptyNameIsTheEmptyId) {
    std::ostringstream os;
    os << IntfId();
    EXPECT_EQ(os.str(), "");
    EXPECT_EQ(IntfId(""), IntfId());
    EXPECT_TRUE(IntfId("").empty());
    EXPECT_EQ(IntfId().stringValue(), "");
    EXPECT_EQ(IntfId().shortName(), "");
    EXPECT_FALSE(VlanIntfId::isVlanIntfId(IntfId()));
    EXPECT_EQ(VlanIntfId::vlanId(IntfId()), 0);
    EXPECT_LT(IntfId(), IntfId("Ethernet1"));
}

TEST(IntfIdTest, NamesStayPutAndOrderIsOfFirstNaming) {
    IntfId const first("Ethernet77/3"); // named by no other test, likewise those below
    std::string const *const longName = &first.stringValue();
    std::string const *const shortName = &first.shortName();
    IntfId previous = first;
    for (int port = 2000; port > 0; --port) {
        IntfId const next("Ethernet77/" + std::to_string(port) + "/1");
        EXPECT_LT(previous, next);
        previous = next;
    }
    EXPECT_EQ(IntfId("Et77/3"), first);
    EXPECT_EQ(&IntfId("Et77/3").stringValue(), longName);
    EXPECT_EQ(&IntfId("Et77/3").shortName(), shortName);
    EXPECT_EQ(*longName, "Ethernet77/3");
}

TEST(IntfIdTest, MalformedNamesAreRefusedWithTheirText) {
    struct {
        char const *expected;
        std::vector<std::string> names;
    } const cases[] = {
        {"with upper and lower case as here",
         {"ethernet1", "ETHERNET1", "et1", "vlan10", "Port-channel5", "Eth1", "E1", "1", "/",
          " Ethernet1", "Ethernet 1", "Ethernet-1", "Ethernet/1", "Vlan+1"}},
        {"one to three numbers 1-9999 without leading zeros after Ethernet, separated by slashes",
         {"Ethernet0", "Ethernet1/0", "Ethernet01", "Ethernet1/02", "Ethernet10000", "Ethernet1/",
          "Ethernet1//2", "Ethernet1/2/3/4", "Ethernet1/2/3/", "Et1.5", "Et1 ", "Et1/2/x",
          "Et4294967297"}},
        {"one number 1-9999 without leading zeros after Port-Channel",
         {"Port-Channel0", "Po10000", "Po05", "Po1/1"}},
        {"one number 0-4095 without leading zeros after Vlan",
         {"Vlan", "Vlan4096", "Vl00", "Vlan010", "Vlan10/1", "Vlan10/", "Vl10x"}},
        {"one number 0-9999 without leading zeros after Loopback", {"Loopback10000", "Lo0/0"}},
        {"one number 0-9999 without leading zeros after Management", {"Ma10000", "Ma1/1"}},
    };
    for (auto const &[expected, names] : cases) {
        for (auto const &name : names) {
            try {
                ADD_FAILURE() << name << " was read as " << IntfId(name);
            } catch (std::invalid_argument const &error) {
                std::string const message(error.what());
                EXPECT_EQ(message.rfind("malformed interface name \"" + name + "\": ", 0), 0u)
                    << message;
                EXPECT_NE(message.find(expected), std::string::npos) << message;
            }
        }
    }
}

} // namespace
} // namespace Nexo
