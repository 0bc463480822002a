#pragma once

#include "Nexo/EthAddr.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAndPort.h"
#include "sim/Plain.h"
#include "sim/Random.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <vector>

namespace Sim {

/// A packet or a copy as plain values, at an interface. Its payload is always the same.
struct PlainPacket {
    enum class Piece : std::uint8_t { whole, firstFragment, laterFragment };
    static constexpr std::uint8_t kIcmp = 1;
    static constexpr std::uint8_t kTcp = 6;
    static constexpr std::uint8_t kUdp = 17;

    Nexo::IntfId intf;
    std::optional<std::uint16_t> tag; // VLAN
    std::uint8_t priority = 0;
    Nexo::EthAddr destinationMac{};
    Nexo::EthAddr sourceMac{};
    std::uint8_t protocol = kUdp;
    Nexo::IpAndPort source{};
    Nexo::IpAndPort destination{};
    std::uint8_t ttl = 0;
    Piece piece = Piece::whole;

    [[nodiscard]] bool hasPorts() const { return protocol != kIcmp; }
};

/// Its Ethernet frame, with checksums that are computed over the whole datagram.
std::vector<std::uint8_t> frameOf(PlainPacket const &packet);

/// A packet with one of a few addresses and ports, which translations also have; mostly with those
/// of a flow.
PlainPacket randomPacket(Random &random, PlainSwitch const &model);

} // namespace Sim
