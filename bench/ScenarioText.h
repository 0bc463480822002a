#pragma once

#include <cstddef>
#include <string>

namespace Bench {

/// How the actions of a scenario are spread.
enum class Shape {
    policies,  // ten to a match, a thousand matches to a policy
    onePolicy, // ten to a match, all matches in one policy
    oneMatch,  // all in one match, whose flow names a destination
};

/// The text of a scenario like BenchSwitch: 64 ports, 50 VLANs of eight ports, and that many
/// actions, half of them to a VLAN interface and half to a port, half with unicast and half with
/// multicast copies.
std::string scenarioText(std::size_t actions, Shape shape);

/// Events that each change one action of it: its source. `first` is the number of the first event.
std::string oneActionEvents(std::size_t actions, Shape shape, std::size_t first,
                            std::size_t events);

} // namespace Bench
