#pragma once

#include "Nexo/IpAddr.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace UmoAgent {

/// Whether the Internet checksum in an IPv4 header is right.
bool ipChecksumHolds(std::span<std::uint8_t const> header);

/// Computes the Internet checksum of an IPv4 header and writes it there.
void ipChecksumIs(std::span<std::uint8_t> header);

/// How an Internet checksum changes with the data that it covers. A checksum that was wrong stays
/// so: a packet that was damaged on its way must not look whole afterwards. The data need not be
/// there, as those of later fragments are not.
class ChecksumChange {
  public:
    void word(std::uint16_t before, std::uint16_t after) {
        difference_ += static_cast<std::uint16_t>(~before);
        difference_ += after;
    }
    void address(Nexo::IpAddr before, Nexo::IpAddr after);

    /// The checksum after the change.
    [[nodiscard]] std::uint16_t applied(std::uint16_t checksum) const;

  private:
    std::uint32_t difference_ = 0; // in ones' complement, the carries above 16 bits
};

} // namespace UmoAgent
