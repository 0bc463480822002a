#pragma once

#include "Vyr/Clock.h"
#include "agent/capture/CaptureError.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

struct pcap;

namespace UmoAgent {

/// Reads the Ethernet frames of one capture, pcap or pcapng. One frame is in memory at a time, so a
/// capture may be of any length.
class CaptureReader {
  public:
    struct Frame {
        /// Since the capture's first frame; at most 100 years of 365 days. Never goes back: a frame
        /// with an earlier time stamp than the frame before it has that one's time.
        Vyr::Time at;
        /// From the destination MAC on, without the checksum, as far as the capture has it: a
        /// capture may cut long frames off. Valid until the next call of `next`.
        std::span<std::uint8_t const> bytes;
    };

    /// Throws CaptureError if `file` cannot be read, is no regular file, is no capture, or is one
    /// of another link type.
    explicit CaptureReader(std::string file);

    /// The next frame; none at the end. Throws CaptureError, which gives the number of the frame
    /// (the first is 1), if the capture is damaged there or breaks off. Then there is no next one.
    [[nodiscard]] std::optional<Frame> next();

  private:
    struct Close {
        void operator()(pcap *capture) const;
    };

    [[nodiscard]] Vyr::Time since(Vyr::Time stamp);

    std::string file_;
    std::unique_ptr<pcap, Close> capture_; // none after its end
    std::uint64_t frames_ = 0;
    std::optional<Vyr::Time> first_; // time stamp of the first frame
    Vyr::Time last_{0};              // time of the frame before
};

} // namespace UmoAgent
