#pragma once

#include "Bridging/Config.h"
#include "Ip/NatHwStatus.h"
#include "Mox/Ptr.h"
#include "Nexo/IntfId.h"
#include "agent/chip/SoftSwitch.h"
#include "agent/packet/Classifier.h"
#include "agent/packet/Packet.h"
#include "agent/packet/PacketCounters.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace UmoAgent {

/// The chip's forwarding of frames. A packet that a flow selects is copied as the port sets of the
/// match's group say; every other packet is dropped and counted, since the chip does not bridge.
///
/// It reads what the library has programmed: the groups in the chip, and in the status tree the
/// flows and their group ids. Of the switch's settings it reads the interfaces' modes and native
/// VLANs, and the bridge's MAC address.
class Forwarder {
  public:
    /// Receives each copy, in the order in which they leave. The frame is valid during the call.
    /// It must not change the switch.
    using Transmit = std::function<void(Nexo::IntfId intf, FrameView frame)>;

    /// `chip` outlives the forwarder.
    Forwarder(SoftSwitch &chip, Mox::Ptr<Ip::Nat::HwNatFlowStatus const> const &tree,
              Mox::Ptr<Bridging::Config const> bridging);

    void transmitIs(Transmit transmit) { transmit_ = std::move(transmit); }

    /// Forwards a frame that comes in at `intf`.
    void receive(Nexo::IntfId intf, FrameView frame);

    [[nodiscard]] PacketCounters const &counters() const { return counters_; }
    /// The flows of all matches, with what they selected. Valid until the next call.
    [[nodiscard]] std::vector<Rule> const &rules() { return classifier_.rules(); }
    /// Changes when the rules did.
    [[nodiscard]] std::uint64_t rulesVersion() const { return classifier_.version(); }

  private:
    /// How often a packet has been classified before.
    enum class Pass : std::uint8_t { first, recirculated };

    void classify(Packet const &packet, std::size_t bytes, Pass pass);
    void replicate(Packet const &packet, std::uint32_t portSetId, UmoHelper::PortSet const &portSet,
                   std::size_t bytes, Pass pass);
    /// Returns the length of the frame, or none if the copy was dropped.
    std::optional<std::size_t> send(Packet const &copy, UmoHelper::PortSet const &portSet,
                                    Nexo::IntfId intf, std::size_t bytes);

    SoftSwitch &chip_;
    Classifier classifier_;
    Mox::Ptr<Bridging::Config const> bridging_;
    Transmit transmit_;
    PacketCounters counters_;
};

} // namespace UmoAgent
