#include "agent/packet/Checksum.h"
#include "agent/packet/Packet.h"
#include "sim/fuzz/FuzzedAgent.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <variant>

namespace {

constexpr std::size_t kUntagged = 14;
constexpr std::size_t kTagged = 18;
constexpr std::size_t kIpHeader = 20;

/// Makes the IPv4 checksum right, which random bytes hardly ever have.
void mend(std::span<std::uint8_t> frame, std::size_t ipAt) {
    if (frame.size() < ipAt + kIpHeader) {
        return;
    }
    auto const packet = frame.subspan(ipAt);
    std::size_t const length = std::size_t{4} * (packet[0] & 0xfU);
    if (length >= kIpHeader && length <= packet.size()) {
        UmoAgent::ipChecksumIs(packet.first(length));
    }
}

} // namespace

/// Any frame is dropped and counted, or copied; a copy is a good packet that has come one or two
/// hops further. The first byte says where the frame comes in, and whether its IPv4 checksum is
/// right.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *bytes, std::size_t size) {
    static Sim::FuzzedAgent fuzzed;
    static std::array const interfaces{Nexo::IntfId("Ethernet1"), Nexo::IntfId("Ethernet2"),
                                       Nexo::IntfId("Ethernet3"), Nexo::IntfId("Ethernet9")};
    if (size == 0) {
        return 0;
    }
    UmoAgent::FrameBytes frame(bytes + 1, bytes + size);
    if ((bytes[0] & 4U) != 0) {
        mend(frame, (bytes[0] & 8U) != 0 ? kTagged : kUntagged);
    }
    auto &forwarder = fuzzed.agent.forwarder();
    auto const parsed = UmoAgent::Packet::parse(frame);
    auto const *const packet = std::get_if<UmoAgent::Packet>(&parsed);
    forwarder.transmitIs([&](Nexo::IntfId intf, UmoAgent::FrameView sent) {
        auto const again = UmoAgent::Packet::parse(sent);
        auto const *const copy = std::get_if<UmoAgent::Packet>(&again);
        bool const good = packet != nullptr && copy != nullptr && !intf.empty() &&
                          copy->ttl() < packet->ttl() && copy->ttl() + 2 >= packet->ttl() &&
                          copy->isFragment() == packet->isFragment();
        good ? (void)0 : std::abort();
    });
    forwarder.receive(interfaces.at(bytes[0] & 3U), frame);
    return 0;
}
