#pragma once

#include "Nexo/EthAddr.h"
#include "Nexo/IpAddr.h"
#include "Nexo/IpAndPort.h"
#include "agent/packet/DropReason.h"

#include <tins/ip.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

namespace UmoAgent {

/// The bytes of an Ethernet frame, without the frame check sequence.
using FrameView = std::span<std::uint8_t const>;
using FrameBytes = std::vector<std::uint8_t>;

/// An 802.1Q tag.
struct VlanTag {
    std::uint16_t vlan = 0; // 0: a priority only
    std::uint8_t priority = 0;
    bool dropEligible = false;
};

/// The source or the destination of a packet.
enum class Side : std::uint8_t { source, destination };

/// An IPv4 packet: what the chip looks at, and what it rewrites in copies. Everything else in the
/// packet stays as it came. Padding behind the packet is not part of it.
class Packet {
  public:
    /// The packet in a frame, with the tag that the frame had, or why the chip does not forward
    /// the frame.
    static std::variant<Packet, DropReason> parse(FrameView frame);

    /// The tag the packet came with; none if it was untagged.
    [[nodiscard]] std::optional<VlanTag> const &tag() const { return tag_; }

    [[nodiscard]] Nexo::IpAddr address(Side side) const;
    [[nodiscard]] std::uint8_t ttl() const { return header_.ttl(); }

    /// Whether the packet's transport has ports, as UDP and TCP do. A fragment may not hold them.
    [[nodiscard]] bool hasPorts() const;
    [[nodiscard]] bool isFragment() const { return header_.is_fragmented(); }
    /// 0 if there is none in this packet.
    [[nodiscard]] std::uint16_t port(Side side) const;

    /// Replaces the whole address, unless the new one is zero, and with it the port, unless the
    /// new one is 0 or the transport has none. The transport's checksum follows the change, so a
    /// packet that came with a wrong one, or a UDP packet with none, keeps that. Returns false,
    /// and leaves the packet in an unknown state, if it is a fragment that lacks what is to be
    /// replaced.
    [[nodiscard]] bool translate(Side side, Nexo::IpAndPort const &to);

    /// REQUIRES: a TTL above 0.
    void decrementTtl() { header_.ttl(static_cast<std::uint8_t>(header_.ttl() - 1)); }

    /// The packet in an Ethernet frame, padded to the minimum length. The IPv4 checksum is right.
    [[nodiscard]] FrameBytes frame(Nexo::EthAddr destination, Nexo::EthAddr source,
                                   std::optional<VlanTag> const &tag) const;

  private:
    Packet(std::optional<VlanTag> const &tag, Tins::IP const &header, FrameView options,
           FrameView transport);

    [[nodiscard]] bool isLaterFragment() const;
    [[nodiscard]] bool holds(std::size_t transportBytes) const;
    [[nodiscard]] std::uint16_t word(std::size_t at) const;
    void wordIs(std::size_t at, std::uint16_t value);

    std::optional<VlanTag> tag_;
    Tins::IP header_; // without options
    FrameBytes options_;
    FrameBytes transport_; // header and payload, or a fragment of them
};

} // namespace UmoAgent
