#pragma once

#include "Base/Export.h"
#include "Nexo/IpAddr.h"
#include "Pelo/String.h"

#include <cstdint>
#include <iosfwd>

namespace Ip::Nat {

/// One side of a flow: the addresses of a prefix, on one transport port.
struct NatFlowEnd {
    Nexo::IpAddr addr{};
    std::uint32_t prefixLength = 0; // 0 to 32
    std::uint16_t port = 0;

    bool operator==(NatFlowEnd const &) const = default;
};

/// The traffic that a match selects. A destination of 0.0.0.0 means that the flow names none.
struct PLATFORM_API NatFlow {
    NatFlowEnd source;
    NatFlowEnd destination;

    /// `10.1.0.0/16:5000 -> 239.1.1.1/32:5000`
    [[nodiscard]] Pelo::String stringValue() const;

    bool operator==(NatFlow const &) const = default;
};

PLATFORM_API std::ostream &operator<<(std::ostream &out, NatFlow const &flow);

} // namespace Ip::Nat
