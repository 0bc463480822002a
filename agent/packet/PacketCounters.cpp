#include "agent/packet/PacketCounters.h"

namespace UmoAgent {

void PacketCounters::sent(Stream const &stream, std::size_t frameBytes) {
    sent_.add(frameBytes);
    auto const known = streams_.find(stream);
    if (known != streams_.end()) {
        known->second.add(frameBytes);
    } else if (streams_.size() < kStreams) {
        streams_[stream].add(frameBytes);
    } else {
        otherStreams_.add(frameBytes);
    }
}

} // namespace UmoAgent
