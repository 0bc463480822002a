#include "Nexo/IpAndPort.h"

#include "Nexo/detail/TextParsing.h"

#include <ostream>

namespace Nexo {

IpAndPort IpAndPort::parse(std::string_view text) {
    auto const colon = text.find(':');
    auto const addr = IpAddr::parse(text.substr(0, colon));
    if (colon == std::string_view::npos) {
        return {addr, 0};
    }
    auto const port = detail::parseDecimal(text.substr(colon + 1), 0, 65535);
    if (!port) {
        detail::throwMalformed("IPv4 address and port", text,
                               "a port 0-65535 without leading zeros after the colon");
    }
    return {addr, static_cast<std::uint16_t>(*port)};
}

std::string IpAndPort::stringValue() const {
    return addr_.stringValue() + ':' + std::to_string(port_);
}

std::ostream &operator<<(std::ostream &os, IpAndPort ipAndPort) {
    return os << ipAndPort.stringValue();
}

} // namespace Nexo
