#include "sim/Packets.h"

#include "sim/Broken.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace Sim {

namespace {

std::string shown(std::vector<Packets::Copy> const &copies) {
    std::ostringstream out;
    for (auto const &[intf, frame] : copies) {
        out << ' ' << intf << ' ' << std::hex << std::setfill('0');
        for (std::uint8_t const byte : frame) {
            out << std::setw(2) << unsigned{byte};
        }
        out << ';' << std::dec;
    }
    return out.str();
}

} // namespace

Packets::Packets(UmoAgent::ForwardingAgent &agent, Checker const &checker,
                 std::function<void(UmoAgent::FrameView frame)> copied)
    : agent_(agent), checker_(checker) {
    agent_.forwarder().transmitIs(
        [this, copied = std::move(copied)](Nexo::IntfId intf, UmoAgent::FrameView frame) {
            copied(frame);
            copies_.emplace_back(intf, UmoAgent::FrameBytes(frame.begin(), frame.end()));
        });
}

void Packets::sendOne(std::uint64_t seed) {
    Random random(seed);
    PlainPacket const packet = randomPacket(random, checker_.inputs());
    auto const frame = frameOf(packet);
    copies_.clear();
    agent_.forwarder().receive(packet.intf, frame);
    auto const delivery = expectedDelivery(checker_.inputs(), checker_.recircVlan(), packet);
    if (!checker_.upToDate(delivery.hits)) {
        return;
    }
    std::vector<Copy> expected;
    for (PlainPacket const &copy : delivery.copies) {
        expected.emplace_back(copy.intf, frameOf(copy));
    }
    std::sort(expected.begin(), expected.end());
    std::sort(copies_.begin(), copies_.end());
    require(copies_ == expected, "the packet", shown({{packet.intf, frame}}), " has the copies",
            shown(copies_), " and not", shown(expected));
    compared_ += expected.empty() ? 0 : 1;
}

} // namespace Sim
