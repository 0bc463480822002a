#pragma once

#include "Vyr/Clock.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

struct pcap_dumper;

namespace UmoAgent {

/// Writes one capture: a pcap file of Ethernet frames with times in nanoseconds. Errors do not
/// throw: after the first one nothing more is written, and `loss` and `finish` give it.
class CaptureWriter {
  public:
    /// The most bytes of a frame that are kept; the rest is cut off.
    static constexpr std::size_t kMostBytes = 262'144;

    /// Makes `file`, or empties it if it exists.
    explicit CaptureWriter(std::string file);

    /// Adds a frame. `at` is from 0 to 100 years; its time stamp is that much after 1970-01-01.
    void write(Vyr::Time at, std::span<std::uint8_t const> frame);

    /// Hands to the system what is still in memory, so that others can read it.
    void flush();

    /// Flushes and closes the file; writing to it after that does nothing. Returns `loss()`.
    std::string finish();

    /// Why frames were lost, `FILE: REASON` with the name as given; empty if none were so far.
    [[nodiscard]] std::string const &loss() const { return loss_; }

  private:
    struct Close {
        void operator()(pcap_dumper *dump) const;
    };

    void fails(int error);

    std::string file_;
    std::unique_ptr<pcap_dumper, Close> dump_; // none when finished or failed
    std::string loss_;
};

} // namespace UmoAgent
