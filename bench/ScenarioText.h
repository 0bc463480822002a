#pragma once

#include <cstddef>
#include <string>

namespace Bench {

/// The distribution of a scenario's actions.
enum class Shape {
    policies,  // ten per match, a thousand matches per policy
    onePolicy, // ten per match, all matches in one policy
    oneMatch,  // all in one match, whose flow names a destination
};

/// The text of a scenario like BenchSwitch: 64 ports, 50 VLANs of eight ports, and that many
/// actions, half of them to a VLAN interface and half to a port, half with unicast and half with
/// multicast copies.
std::string scenarioText(std::size_t actions, Shape shape);

/// Events for it that each change the source of one action. `first` is the number of the first
/// event.
std::string oneActionEvents(std::size_t actions, Shape shape, std::size_t first,
                            std::size_t events);

} // namespace Bench
