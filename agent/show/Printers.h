#pragma once

#include "Ip/NatHwStatus.h"
#include "agent/chip/SoftSwitch.h"
#include "agent/switch/ForwardingAgent.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

class UmoNatFlowMcastSm;

namespace UmoAgent {
class SwitchProgrammer;
}

/// What an event can print, as text for people. The same state gives the same text.
namespace UmoAgent {

/// The hardware status tree: policies, their matches with flow and groups, actions with their
/// translations and port sets.
void printTree(std::ostream &out, Ip::Nat::HwNatFlowStatus const &status);

/// The answer to showNatFlowActionHw: a line for each programmed action, VLAN and interface;
/// nothing if nothing is programmed. `arguments` are the command's: the name of a policy, or none.
/// Names are made printable. Throws std::system_error if the system has no room for the answer.
void printTable(std::ostream &out, Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &status,
                std::string const &arguments = "");

/// The switch chip: a line about its use, then its groups with their contents.
void printChip(std::ostream &out, SoftSwitch const &chip);

/// Which counters of packets to show.
enum class Counted : std::uint8_t {
    everything, // all rows
    something, // a summary: rows without a packet are left out, and those after the first 50 summed
};

/// What packets came in and what became of them, by flow, group, port set and reason to drop;
/// nothing if none came. What is counted at a flow, group or port set goes with it.
void printTraffic(std::ostream &out, ForwardingAgent &agent, Counted counted = Counted::everything);

/// A table of the copies that were sent, a line for each interface, VLAN and addresses, by the
/// names of the interfaces.
void printPackets(std::ostream &out, ForwardingAgent const &agent,
                  Counted counted = Counted::everything);

/// The chip's tables: entries in use and, where there is one, the capacity.
void printChipTables(std::ostream &out, SoftSwitch const &chip);

/// A table of the matches: how many groups each wants, which it holds, and its state, one of
///
///  - `programmed`: it holds what it wants;
///  - `no groups`: it has no actions and wants none;
///  - `waiting`: the chip had no group for it, the retry will ask again;
///  - `stranded`: as waiting, but the removal of a policy has emptied the retry's list.
void printGroups(std::ostream &out, UmoNatFlowMcastSm const &root,
                 Ip::Nat::HwNatFlowStatus const &status);

/// The recirculation VLAN, with its L3 interface.
void printRecircVlan(std::ostream &out, UmoNatFlowMcastSm const &root);

/// The actions that are queued for evaluation, in order.
void printBacklog(std::ostream &out, UmoNatFlowMcastSm const &root);

/// How often each handler of the process was entered, and each operation of the chip called.
void printCounters(std::ostream &out, SoftSwitch const &chip);

/// What was sent to the real switch, and what became of it.
void printSwitchCounters(std::ostream &out, SwitchProgrammer const &programmer);

/// The last `count` handler entries, with their names.
void printSkimtrace(std::ostream &out, std::size_t count);

/// The process's catalogue of log events, in the order of registration.
void printLogEvents(std::ostream &out);

/// The process's trace handles, with the levels that are on.
void printTraceLevels(std::ostream &out);

} // namespace UmoAgent
