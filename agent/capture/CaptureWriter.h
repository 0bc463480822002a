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
    /// Makes `file`, or empties it if it exists; it may be a device, but not a pipe.
    explicit CaptureWriter(std::string file);

    /// Adds a frame of at most 262,144 bytes. `at` is from 0 to 130 years; its time stamp is that
    /// much after 1970-01-01.
    void write(Vyr::Time at, std::span<std::uint8_t const> frame);

    /// Flushes and closes the file; writing to it after that does nothing. Returns `loss()`.
    std::string finish();

    /// Why frames were lost, `FILE: REASON` with the name as given; empty if none were so far.
    [[nodiscard]] std::string const &loss() const { return loss_; }

  private:
    struct Close {
        void operator()(pcap_dumper *dump) const;
    };

    void fails(int error);
    void failsFor(std::string const &reason);

    std::string file_;
    std::unique_ptr<pcap_dumper, Close> dump_; // none when finished or failed
    std::string loss_;
};

} // namespace UmoAgent
