#include "agent/packet/Checksum.h"

namespace UmoAgent {

namespace {

constexpr std::size_t kIpChecksumAt = 10;

std::uint16_t folded(std::uint32_t sum) {
    while (sum >> 16U != 0) {
        sum = (sum & 0xffffU) + (sum >> 16U);
    }
    return static_cast<std::uint16_t>(sum);
}

/// Of an even number of bytes.
std::uint16_t sumOf(std::span<std::uint8_t const> bytes) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        sum += static_cast<std::uint32_t>(bytes[i] << 8U | bytes[i + 1]);
    }
    return folded(sum);
}

} // namespace

bool ipChecksumHolds(std::span<std::uint8_t const> header) {
    return sumOf(header) == 0xffff;
}

void ipChecksumIs(std::span<std::uint8_t> header) {
    header[kIpChecksumAt] = header[kIpChecksumAt + 1] = 0;
    auto const checksum = static_cast<std::uint16_t>(~sumOf(header));
    header[kIpChecksumAt] = static_cast<std::uint8_t>(checksum >> 8U);
    header[kIpChecksumAt + 1] = static_cast<std::uint8_t>(checksum);
}

void ChecksumChange::address(Nexo::IpAddr before, Nexo::IpAddr after) {
    word(static_cast<std::uint16_t>(before.value() >> 16U),
         static_cast<std::uint16_t>(after.value() >> 16U));
    word(static_cast<std::uint16_t>(before.value()), static_cast<std::uint16_t>(after.value()));
}

std::uint16_t ChecksumChange::applied(std::uint16_t checksum) const {
    return static_cast<std::uint16_t>(~folded(static_cast<std::uint16_t>(~checksum) + difference_));
}

} // namespace UmoAgent
