#pragma once

#include "agent/show/Reply.h"

#include <array>
#include <string_view>

namespace UmoAgent {

/// A command of the console: its name, its arguments, and a short description.
struct CommandText {
    char const *name;
    char const *help;
};

/// All commands of the console, by name. The agent answers them; `umo-cli help` lists them without
/// an agent.
inline constexpr std::array<CommandText, 18> kCommands{{
    {"apply", "[--dry-run] FILE.yaml: carries out the events of a file at once, all or none"},
    {"audit", "compares the switch with what it should have, and mends what differs"},
    {"events", "what happens, a line each, until you end it"},
    {"explain", "POLICY [MATCH [ACTION]]: why its copies go where they go, and nowhere else"},
    {"help", "lists the commands"},
    {"metrics", "what the agent does, in numbers, in the text format of Prometheus"},
    {"packets", "the copies of packets that were sent, by interface, VLAN and addresses"},
    {"picture", "POLICY [MATCH [ACTION]]: the same as a graph for Graphviz"},
    {"set", "[NAME VALUE]: sets the pace of the library's work, or shows it"},
    {"showBacklog", "the actions that are queued for evaluation"},
    {"showChip", "the tables of the switch chip, their contents, and packets that came to them"},
    {"showCounters", "how often each handler and each operation of the chip was called"},
    {"showLogEvents", "the catalogue of log events"},
    {"showNatFlowActionHw", "[POLICY]: the programmed actions, a line for each VLAN and interface"},
    {"showNatFlowGroup", "[POLICY]: the matches, with the groups that they want and hold"},
    {"showRecircVlan", "the recirculation VLAN, with its L3 interface"},
    {"showSkimtrace", "[N]: the last N handler entries, or all that are kept"},
    {"trace", "HANDLE/LEVELS: sets what the agent traces; off: nothing; no argument: shows it"},
}};

/// The command's help; null if there is no such command.
char const *helpOf(std::string_view name);

/// The list of the commands.
void printCommands(Reply const &reply);

} // namespace UmoAgent
