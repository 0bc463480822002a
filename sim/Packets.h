#pragma once

#include "agent/packet/Packet.h"
#include "sim/Checker.h"
#include "sim/Random.h"

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace Sim {

/// Sends random packets through a switch. Throws Broken if the copies are not those that follow
/// from the inputs; where they do not follow from the inputs alone, only sends.
class Packets {
  public:
    using Copy = std::pair<Nexo::IntfId, UmoAgent::FrameBytes>;

    /// The agent and the checker outlive it. `copied` receives the bytes of each copy.
    Packets(UmoAgent::ForwardingAgent &agent, Checker const &checker,
            std::function<void(UmoAgent::FrameView frame)> copied);

    /// `seed` and the inputs determine the packet.
    void sendOne(std::uint64_t seed);

    /// Packets with copies that were compared.
    [[nodiscard]] std::uint64_t compared() const { return compared_; }

  private:
    UmoAgent::ForwardingAgent &agent_;
    Checker const &checker_;
    std::vector<Copy> copies_;
    std::uint64_t compared_ = 0;
};

} // namespace Sim
