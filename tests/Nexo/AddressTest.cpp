#include "Nexo/EthAddr.h"
#include "Nexo/IpAddr.h"
#include "Nexo/IpAddrWithMask.h"
#include "Nexo/IpAndPort.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_set>

namespace Nexo {
namespace {

template <typename T>
void expectText(std::string_view text, T value, std::string_view printed) {
    std::ostringstream os;
    EXPECT_EQ(T::parse(text), value) << text;
    EXPECT_EQ(value.stringValue(), printed);
    os << value;
    EXPECT_EQ(os.str(), printed);
}

/// Each text is refused with a message that quotes it and says what was expected.
template <typename T>
void expectRefused(std::initializer_list<std::string> texts, std::string const &what,
                   std::string const &expected) {
    for (auto const &text : texts) {
        try {
            ADD_FAILURE() << text << " was read as " << T::parse(text);
        } catch (std::invalid_argument const &error) {
            EXPECT_EQ(error.what(),
                      "malformed " + what + " \"" + text + "\": expected " + expected);
        }
    }
}

TEST(IpAddrTest, ReadsAndPrintsDottedDecimal) {
    expectText("0.0.0.0", IpAddr(), "0.0.0.0");
    expectText("10.0.0.1", IpAddr(0x0a000001), "10.0.0.1");
    expectText("255.254.100.99", IpAddr(0xfffe6463), "255.254.100.99");
    EXPECT_TRUE(IpAddr().isZero());
    EXPECT_FALSE(IpAddr(1).isZero());
    expectRefused<IpAddr>({"", "10.0.0", "10.0.0.1.", "10.0.0.1.2", ".10.0.0.1", "10..0.1",
                           "10.0.0.256", "10.0.0.010", "10.0.0.00", "+1.0.0.1", "-1.0.0.1",
                           " 10.0.0.1", "10.0.0.1 ", "10.0.0.0x1", "10.0.0.4294967297", "a.b.c.d",
                           "10.0.0.1/24", "10,0,0,1"},
                          "IPv4 address", "four decimal numbers 0-255 separated by dots");
}

TEST(IpAddrTest, MulticastIsExactlyClassD) {
    EXPECT_FALSE(IpAddr::parse("223.255.255.255").isMulticast());
    EXPECT_TRUE(IpAddr::parse("224.0.0.0").isMulticast());
    EXPECT_TRUE(IpAddr::parse("239.255.255.255").isMulticast());
    EXPECT_FALSE(IpAddr::parse("240.0.0.0").isMulticast());
    EXPECT_FALSE(IpAddr().isMulticast());
}

TEST(IpAndPortTest, PortIsOptionalInTextAndAlwaysPrinted) {
    expectText("10.0.0.1:5000", IpAndPort(IpAddr(0x0a000001), 5000), "10.0.0.1:5000");
    expectText("10.0.0.1", IpAndPort(IpAddr(0x0a000001), 0), "10.0.0.1:0");
    expectText("0.0.0.0:65535", IpAndPort(IpAddr(), 65535), "0.0.0.0:65535");
    EXPECT_EQ(IpAndPort(), IpAndPort::parse("0.0.0.0:0"));
    expectRefused<IpAndPort>({"10.0.0.1:", "10.0.0.1:65536", "10.0.0.1:05", "10.0.0.1:-1",
                              "10.0.0.1:5000 ", "10.0.0.1:1:2"},
                             "IPv4 address and port",
                             "a port 0-65535 without leading zeros after the colon");
    EXPECT_THROW(IpAndPort::parse("10.0.0:5000"), std::invalid_argument);
    EXPECT_THROW(IpAndPort::parse(":5000"), std::invalid_argument);
}

TEST(IpAddrWithMaskTest, LengthIsRequiredAndBounded) {
    expectText("0.0.0.0/0", IpAddrWithMask(), "0.0.0.0/0");
    expectText("10.0.0.1/24", IpAddrWithMask(IpAddr(0x0a000001), 24), "10.0.0.1/24");
    expectText("10.0.0.1/32", IpAddrWithMask(IpAddr(0x0a000001), 32), "10.0.0.1/32");
    expectRefused<IpAddrWithMask>({"10.0.0.1", "10.0.0.1/", "10.0.0.1/33", "10.0.0.1/024",
                                   "10.0.0.1/256", "10.0.0.1/-1", "10.0.0.1/24/"},
                                  "IPv4 address with mask",
                                  "a slash and a mask length 0-32 after the address");
    EXPECT_THROW(IpAddrWithMask::parse("10.0.0/24"), std::invalid_argument);
    EXPECT_THROW(IpAddrWithMask(IpAddr(), 33), std::invalid_argument);
}

TEST(EthAddrTest, ReadsEitherCaseAndPrintsLowerCase) {
    expectText("00:00:00:00:00:00", EthAddr::ethAddrZero(), "00:00:00:00:00:00");
    expectText("Aa:bB:0c:DD:09:ff", EthAddr(0xaabb0cdd09ff), "aa:bb:0c:dd:09:ff");
    EXPECT_TRUE(EthAddr().isZero());
    EXPECT_FALSE(EthAddr(1).isZero());
    EXPECT_THROW(EthAddr(0x1000000000000), std::invalid_argument);
    expectRefused<EthAddr>(
        {"", "aa:bb:cc:dd:ee", "aa:bb:cc:dd:ee:ff:00", "aa:bb:cc:dd:ee:ff:", "aa:bb:cc:dd:ee:f",
         "a:bb:cc:dd:ee:0ff", "aa:bb:cc:dd:ee:0x", "aa:bb:cc:dd:ee:+f", "aa:bb:cc:dd:ee:gg",
         "aa-bb-cc-dd-ee-ff", " aa:bb:cc:dd:ee:ff", "aabb.ccdd.eeff"},
        "MAC address", "six octets of two hexadecimal digits separated by colons");
}

TEST(EthAddrTest, MulticastIsTheGroupBitOfTheFirstOctet) {
    EXPECT_TRUE(EthAddr::parse("01:00:5e:00:00:00").isMulticast());
    EXPECT_TRUE(EthAddr::parse("ff:ff:ff:ff:ff:ff").isMulticast());
    EXPECT_FALSE(EthAddr::parse("02:01:01:01:01:01").isMulticast());
    EXPECT_FALSE(EthAddr::ethAddrZero().isMulticast());
}

/// `values` ascend and differ: every part of a value must count in order, equality and hash.
template <typename T>
void expectAscending(std::initializer_list<T> values) {
    std::unordered_set<T> seen;
    std::unordered_set<std::size_t> hashes;
    T const *previous = nullptr;
    for (T const &value : values) {
        EXPECT_TRUE(seen.insert(value).second) << value;
        EXPECT_FALSE(seen.insert(T::parse(value.stringValue())).second) << value;
        EXPECT_TRUE(hashes.insert(std::hash<T>{}(value)).second) << value;
        EXPECT_TRUE(previous == nullptr || *previous < value) << value;
        previous = &value;
    }
}

TEST(AddressTest, OrderEqualityAndHashTakeInEveryPart) {
    IpAddr const nine(0x09ffffff), ten(0x0a000000);
    expectAscending({IpAddr(), nine, ten, IpAddr(0xffffffff)});
    expectAscending({IpAndPort(), IpAndPort({}, 1), IpAndPort(nine, 0), IpAndPort(nine, 65535),
                     IpAndPort(ten, 0)});
    expectAscending({IpAddrWithMask(), IpAddrWithMask({}, 32), IpAddrWithMask(nine, 8),
                     IpAddrWithMask(nine, 24), IpAddrWithMask(ten, 0)});
    expectAscending({EthAddr(), EthAddr(1), EthAddr(0x00ffffffffff), EthAddr(0x010000000000)});
}

} // namespace
} // namespace Nexo
