#pragma once

#include "Nexo/IntfId.h"
#include "Vyr/Clock.h"
#include "agent/capture/CaptureError.h"
#include "agent/capture/CaptureWriter.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace UmoAgent {

/// A folder that receives what the interfaces of a switch send: one capture per interface, made at
/// its first frame and named by the long name, `Ethernet1.pcap`, or `Ethernet1_2.pcap` for
/// Ethernet1/2. See CaptureWriter for the format.
class CaptureDirectory {
  public:
    /// Makes the folder, with its parents, if it does not exist. Removes the captures of an earlier
    /// run, which are the regular files of such a name, so that an interface that sends nothing has
    /// no file. Everything else stays; frames are written through a symbolic link or a pipe of such
    /// a name.
    ///
    /// Throws CaptureError if the folder cannot be made or written, or if a file of such a name is
    /// one of `inputs`, the captures that are being read; then nothing has been removed.
    CaptureDirectory(std::filesystem::path directory, std::vector<std::string> const &inputs);

    /// Adds a frame that `interface` sends at `at`, from 0 to 100 years. Times never go back.
    /// REQUIRES: `interface` is not empty.
    void write(Nexo::IntfId interface, Vyr::Time at, std::span<std::uint8_t const> frame);

    /// Hands to the system what is still in memory, so that others can read it.
    void flush();

    /// Flushes and closes all captures; nothing may be written after it. Returns why frames were
    /// lost, `FILE: REASON` with the name as given, from the first interface that lost any; empty
    /// if none did. Other interfaces have all their frames, or losses of their own.
    std::string finish();

  private:
    std::filesystem::path directory_;
    std::map<Nexo::IntfId, CaptureWriter> writers_;
};

} // namespace UmoAgent
