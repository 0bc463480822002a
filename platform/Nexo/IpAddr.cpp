#include "Nexo/IpAddr.h"

#include "Nexo/detail/TextParsing.h"

#include <ostream>

namespace Nexo {

IpAddr IpAddr::parse(std::string_view text) {
    detail::Fields fields(text, '.');
    std::uint32_t value = 0;
    bool valid = true;
    for (int i = 0; i < 4; ++i) {
        auto const octet = detail::parseDecimal(fields.next(), 0, 255);
        valid = valid && octet;
        value = value << 8 | octet.value_or(0);
    }
    if (!valid || !fields.done()) {
        detail::throwMalformed("IPv4 address", text,
                               "four decimal numbers 0-255 separated by dots");
    }
    return IpAddr(value);
}

std::string IpAddr::stringValue() const {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(value_ >> shift & 0xff);
        if (shift > 0) {
            text += '.';
        }
    }
    return text;
}

std::ostream &operator<<(std::ostream &os, IpAddr addr) {
    return os << addr.stringValue();
}

} // namespace Nexo
