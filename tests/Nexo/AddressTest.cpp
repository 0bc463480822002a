#include "Nexo/EthAddr.h"
#include "Nexo/IpAddr.h"
#include "Nexo/IpAddrWithMask.h"
#include "Nexo/IpAndPort.h"

#include <gmock/gmock.h>

#include <optional>
#include <sstream>

using namespace Nexo;

namespace {

/// Each of `texts`, separated by blanks, is printed as it was read; they ascend from the default.
/// Each of `refused`, separated by bars, is quoted in the error together with what was expected.
template <class T>
void check(std::string const &texts, std::string const &what, std::string const &expected,
           std::string const &refused) {
    std::istringstream in(texts), inRefused(refused);
    std::optional<T> previous;
    for (std::string text; in >> text; previous = T::parse(text)) {
        std::ostringstream printed;
        printed << T::parse(text);
        EXPECT_EQ(printed.str(), text);
        EXPECT_TRUE(previous ? *previous < T::parse(text) : T() == T::parse(text)) << text;
    }
    for (std::string text; std::getline(inRefused, text, '|');) {
        EXPECT_THAT([&] { T::parse(text); },
                    testing::ThrowsMessage<std::invalid_argument>(
                        "malformed " + what + " \"" + text + "\": expected " + expected));
    }
}

TEST(Address, IsReadStrictlyPrintedAndComparedInEveryPart) {
    check<IpAddr>("0.0.0.0 9.255.255.255 10.0.0.1 255.254.100.99", "IPv4 address",
                  "four decimal numbers 0-255 separated by dots",
                  "|10.0.0|10.0.0.1.|10..0.1|10.0.0.256|10.0.0.010|+1.0.0.1|10.0.0.1 ");
    check<IpAndPort>("0.0.0.0:0 0.0.0.0:1 9.255.255.255:65535 10.0.0.1:0", "IPv4 address and port",
                     "a port 0-65535 without leading zeros after the colon",
                     "10.0.0.1:|10.0.0.1:65536|10.0.0.1:05|10.0.0.1:1:2");
    check<IpAddrWithMask>("0.0.0.0/0 0.0.0.0/32 9.255.255.255/24 10.0.0.1/0",
                          "IPv4 address with mask",
                          "a slash and a mask length 0-32 after the address",
                          "10.0.0.1|10.0.0.1/|10.0.0.1/33|10.0.0.1/024");
    check<EthAddr>("00:00:00:00:00:00 00:ff:ff:ff:ff:ff 01:00:5e:00:00:00 aa:bb:0c:dd:09:ff",
                   "MAC address", "six octets of two hexadecimal digits separated by colons",
                   "|aa:bb:cc:dd:ee|aa:bb:cc:dd:ee:ff:00|aa:bb:cc:dd:ee:f|aa:bb:cc:dd:ee:0x");
    EXPECT_EQ(IpAndPort::parse("10.0.1.2"), IpAndPort(IpAddr(0x0a000102), 0));
    EXPECT_EQ(EthAddr::parse("Aa:bB:0c:DD:09:fF"), EthAddr(0xaabb0cdd09ff));
    EXPECT_THROW(IpAddrWithMask(IpAddr(), 33), std::invalid_argument);
    EXPECT_THROW(EthAddr(0x1000000000000), std::invalid_argument);
    EXPECT_FALSE(IpAddr(0xdfffffff).isMulticast() || IpAddr(0xf0000000).isMulticast());
    EXPECT_TRUE(IpAddr(0xe0000000).isMulticast() && IpAddr(0xefffffff).isMulticast());
    EXPECT_TRUE(EthAddr(0x010000000000).isMulticast() && !EthAddr(0xfe0101010101).isMulticast());
}

} // namespace
