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
    Json value{{"address", address.addr().stringValue()}};
    addPort(value, address.port());
    return value;
}

std::string addressText(Json const &address) {
    return textOf(address, "address") + portText(address);
}

Json valueOf(Ip::Nat::NatFlowEnd const &end) {
    Json value = Json::object();
    if (!end.addr.isZero() || end.prefixLength != 0) {
        value["address"] = end.addr.stringValue();
        value["prefix-length"] = end.prefixLength;
    }
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
    Json const &unicast = holder.at("unicast"), &multicast = holder.at("multicast");
    if (unicast == 0 && multicast == 0) {
        return "no group";
    }
    return unicast == multicast
               ? "group " + unicast.dump()
               : "unicast group " + unicast.dump() + ", multicast group " + multicast.dump();
}

} // namespace UmoAgent
