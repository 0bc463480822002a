#include "Nexo/IpAddrWithMask.h"

#include "Nexo/detail/TextParsing.h"

#include <ostream>

namespace Nexo {

namespace {

constexpr std::uint8_t kMaxMaskLen = 32;

} // namespace

IpAddrWithMask::IpAddrWithMask(IpAddr addr, std::uint8_t maskLen) : addr_(addr), maskLen_(maskLen) {
    if (maskLen > kMaxMaskLen) {
        detail::throwMalformed("IPv4 address with mask", stringValue(), "a mask length 0-32");
    }
}

IpAddrWithMask IpAddrWithMask::parse(std::string_view text) {
    auto const slash = text.find('/');
    auto const addr = IpAddr::parse(text.substr(0, slash));
    auto const maskText = slash == text.npos ? std::string_view{} : text.substr(slash + 1);
    auto const maskLen = detail::parseDecimal(maskText, 0, kMaxMaskLen);
    if (!maskLen) {
        detail::throwMalformed("IPv4 address with mask", text,
                               "a slash and a mask length 0-32 after the address");
    }
    return {addr, static_cast<std::uint8_t>(*maskLen)};
}

std::string IpAddrWithMask::stringValue() const {
    return addr_.stringValue() + '/' + std::to_string(maskLen_);
}

std::ostream &operator<<(std::ostream &os, IpAddrWithMask addrWithMask) {
    return os << addrWithMask.stringValue();
}

} // namespace Nexo
