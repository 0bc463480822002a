#pragma once

#include <cstddef>
#include <cstdint>

namespace UmoAgent {

/// What has passed a place, since that place was made. Bytes are those of whole Ethernet frames,
/// without the frame check sequence.
struct Traffic {
    std::uint64_t packets = 0;
    std::uint64_t bytes = 0;

    void add(std::size_t frameBytes) {
        packets += 1;
        bytes += frameBytes;
    }
    bool operator==(Traffic const &) const = default;
};

} // namespace UmoAgent
