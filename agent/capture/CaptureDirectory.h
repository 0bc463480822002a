#pragma once

#include "Nexo/IntfId.h"
#include "Vyr/Clock.h"
#include "agent/capture/CaptureError.h"
#include "agent/capture/CaptureWriter.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace UmoAgent {

/// A folder that receives what the interfaces of a switch send: one capture per interface, made at
/// its first frame and named by the long name, `eth1.pcap`, or `Ethernet1_2.pcap` for Ethernet1/2;
/// nothing else can have that name, because it would be a mistake as an interface's. See
/// CaptureWriter for the format.
class CaptureDirectory {
  public:
    /// Makes the folder, with its parents, if it does not exist. Removes the captures of an earlier
    /// run, so that an interface that sends nothing has no file. These are the regular files that
    /// are named by one of `ports`, the interfaces of the switch, or by any interface whose name
    /// has a short form; any other `NAME.pcap` may be the user's. Everything else stays; frames are
    /// written through a symbolic link of such a name.
    ///
    /// Throws CaptureError if the folder cannot be made or written, or if a file of such a name is
    /// one of `inputs`, the captures that are being read; then nothing has been removed.
    CaptureDirectory(std::filesystem::path directory, std::vector<std::string> const &inputs,
                     std::set<Nexo::IntfId> const &ports);

    /// Adds a frame that `interface` sends at `at`, from 0 to 130 years. Times never go back.
    /// REQUIRES: `interface` is not empty.
    void write(Nexo::IntfId interface, Vyr::Time at, std::span<std::uint8_t const> frame);

    /// Flushes and closes all captures; nothing may be written after it.
    void finish();

    /// Why frames were lost, as found since the last call: `FILE: REASON` with the name as given,
    /// once for an interface. The others have all their frames.
    [[nodiscard]] std::vector<std::string> takeErrors() { return std::exchange(errors_, {}); }

  private:
    std::filesystem::path directory_;
    std::map<Nexo::IntfId, CaptureWriter> writers_; // those that can still be written
    std::set<Nexo::IntfId> failed_;
    std::vector<std::string> errors_;
};

} // namespace UmoAgent
