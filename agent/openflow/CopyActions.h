#pragma once

#include "HelperKit/Contents.h"
#include "Nexo/EthAddr.h"

#include <cstdint>
#include <string>

namespace UmoAgent {

/// Which packets of a match are fragments.
enum class Fragments : std::uint8_t {
    none,  // or they get the same copies
    any,   // they lack the ports to translate
    later, // of UDP or TCP, without its header
};

/// Which packets a group serves.
struct Served {
    bool multicast = false; // those to a multicast address, else the others
    Fragments fragments = Fragments::none;

    bool operator==(Served const &) const = default;
};

/// The way out of a bridge.
struct Egress {
    std::uint32_t port = 0; // its OpenFlow number
    bool tagged = false;    // whether copies leave with a tag
};

/// Where a bridge makes its copies.
enum class Datapath : std::uint8_t {
    kernel,
    userspace, // takes the payload of a later fragment for a header with a checksum, and changes it
};

/// Whether such packets can have the port set's copies.
bool fits(Fragments fragments, UmoHelper::PortSet const &portSet, Datapath datapath);

/// The actions of a bucket that makes a port set's copy for one interface.
std::string copyActions(UmoHelper::PortSet const &portSet, Served served, Nexo::EthAddr bridgeMac,
                        Egress egress);

/// The actions of a bucket that sends a port set's copy through classification once more.
std::string recirculationActions(UmoHelper::PortSet const &portSet);

/// Recirculated packets have 1 here, all others 0.
inline constexpr char const *kRecirculatedRegister = "reg15";
/// The first group of the packet's match, or 0 in a packet to recirculate.
inline constexpr char const *kGroupRegister = "reg14";

} // namespace UmoAgent
