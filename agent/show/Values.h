#pragma once

#include "Ip/NatFlow.h"
#include "Ip/NatPortSets.h"
#include "Nexo/IpAndPort.h"
#include "agent/base/Text.h"
#include "agent/show/Record.h"
#include "agent/show/Reply.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <sstream>
#include <string>

/// Values that several printouts share, and their texts.
namespace UmoAgent {

/// An address with its port, if it has one; null without an address.
Json valueOf(Nexo::IpAndPort const &address);
/// `10.9.9.9 port 5000`.
std::string addressText(Json const &address);

/// Without an address if it is any, without a port if it is any.
Json valueOf(Ip::Nat::NatFlowEnd const &end);
/// `10.1.0.0/16 port 5000`; `any`.
std::string flowEndText(Json const &end);

/// Their names.
template <class Interfaces>
Json namesOf(Interfaces const &interfaces) {
    Json::array_t names;
    names.reserve(interfaces.size());
    for (Nexo::IntfId const intf : interfaces) {
        names.emplace_back(interfaceName(intf));
    }
    return names;
}

/// Each after a blank.
std::string namesText(Json const &names);

/// The groups whose ids are the members `unicast` and `multicast`; `no group`.
std::string groupIdsText(Json const &holder);

/// Whether the chip has the port set, in one of its match's groups.
inline bool isInAGroup(Ip::Nat::NatFlowPortSet const &portSet) {
    return portSet.portSetId() != 0 || portSet.portSetId2() != 0;
}

/// The text of a member that is a string.
inline std::string const &textOf(Json const &value, char const *member) {
    return value.at(member).get_ref<std::string const &>();
}

/// A member that is a number, not negative and without fraction.
inline std::uint64_t numberOf(Json const &value, char const *member) {
    return value.at(member).get<std::uint64_t>();
}

/// Printed by the output stream as it is.
template <class T>
std::string streamed(T const &value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

} // namespace UmoAgent
