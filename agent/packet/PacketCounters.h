#pragma once

#include "Nexo/IntfId.h"
#include "Nexo/IpAndPort.h"
#include "agent/chip/Traffic.h"
#include "agent/packet/DropReason.h"

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>

namespace UmoAgent {

/// Where copies went, and with which addresses.
struct Stream {
    Nexo::IntfId intf;
    std::uint16_t vlan = 0; // of the port set
    Nexo::IpAndPort source{};
    Nexo::IpAndPort destination{};

    auto operator<=>(Stream const &) const = default;
};

/// What the chip has done with packets since the start of the agent.
class PacketCounters {
  public:
    /// Streams that are counted one by one. The copies of others are counted together, since
    /// packets can come from any number of addresses.
    static constexpr std::size_t kStreams = 10'000;

    void received(std::size_t frameBytes) { received_.add(frameBytes); }
    void sent(Stream const &stream, std::size_t frameBytes);
    void dropped(DropReason reason, std::size_t frameBytes) {
        dropped_.at(static_cast<std::size_t>(reason)).add(frameBytes);
    }

    [[nodiscard]] Traffic const &received() const { return received_; }
    /// Copies that left; not those that recirculated.
    [[nodiscard]] Traffic const &sent() const { return sent_; }
    /// Packets, or single copies, that were dropped; their bytes are those of the received frame.
    [[nodiscard]] Traffic const &dropped(DropReason reason) const {
        return dropped_.at(static_cast<std::size_t>(reason));
    }
    [[nodiscard]] std::map<Stream, Traffic> const &streams() const { return streams_; }
    [[nodiscard]] Traffic const &otherStreams() const { return otherStreams_; }

  private:
    Traffic received_;
    Traffic sent_;
    std::array<Traffic, kDropReasons> dropped_{};
    std::map<Stream, Traffic> streams_;
    Traffic otherStreams_;
};

} // namespace UmoAgent
