#include "Nexo/EthAddr.h"

#include "Nexo/detail/TextParsing.h"

#include <ostream>

namespace Nexo {

EthAddr EthAddr::parse(std::string_view text) {
    detail::Fields fields(text, ':');
    std::uint64_t value = 0;
    bool valid = true;
    for (int i = 0; i < 6; ++i) {
        auto const field = fields.next();
        auto const octet = detail::parseUnsigned(field, 16);
        valid = valid && field.size() == 2 && octet;
        value = value << 8 | (octet.value_or(0) & 0xff);
    }
    if (!valid || !fields.done()) {
        detail::throwMalformed("MAC address", text,
                               "six octets of two hexadecimal digits separated by colons");
    }
    return EthAddr(value);
}

std::string EthAddr::stringValue() const {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(17);
    for (int shift = 40; shift >= 0; shift -= 8) {
        text += kDigits[value_ >> (shift + 4) & 0xf];
        text += kDigits[value_ >> shift & 0xf];
        if (shift > 0) {
            text += ':';
        }
    }
    return text;
}

std::ostream &operator<<(std::ostream &os, EthAddr addr) {
    return os << addr.stringValue();
}

} // namespace Nexo
