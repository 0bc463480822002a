#include "agent/show/Values.h"

namespace UmoAgent {

namespace {

void addPort(Json &value, std::uint16_t port) {
    if (port != 0) {
        value["port"] = port;
    }
}

std::string portText(Json const &value) {
    auto const port = value.find("port");
    return port == value.end() ? "" : " port " + std::to_string(port->get<std::uint16_t>());
}

} // namespace

Json valueOf(Nexo::IpAndPort const &address) {
    if (address.addr().isZero()) {
        return nullptr;
    }
    Json value = record({{"address", address.addr().stringValue()}});
    addPort(value, address.port());
    return value;
}

std::string addressText(Json const &address) {
    return textOf(address, "address") + portText(address);
}

Json valueOf(Ip::Nat::NatFlowEnd const &end) {
    bool const any = end.addr.isZero() && end.prefixLength == 0;
    Json value =
        any ? record({})
            : record({{"address", end.addr.stringValue()}, {"prefix-length", end.prefixLength}});
    addPort(value, end.port);
    return value;
}

std::string flowEndText(Json const &end) {
    auto const address = end.find("address");
    std::string const text = address == end.end()
                                 ? "any"
                                 : address->get<std::string>() + '/' +
                                       std::to_string(end.at("prefix-length").get<unsigned>());
    return text + portText(end);
}

std::string namesText(Json const &names) {
    std::string text;
    for (Json const &name : names) {
        text.append(1, ' ').append(name.get_ref<std::string const &>());
    }
    return text;
}

std::string groupIdsText(Json const &holder) {
    std::uint64_t const unicast = numberOf(holder, "unicast");
    std::uint64_t const multicast = numberOf(holder, "multicast");
    if (unicast == 0 && multicast == 0) {
        return "no group";
    }
    return unicast == multicast ? "group " + std::to_string(unicast)
                                : "unicast group " + std::to_string(unicast) +
                                      ", multicast group " + std::to_string(multicast);
}

} // namespace UmoAgent
