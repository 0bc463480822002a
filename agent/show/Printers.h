#pragma once

#include "Ip/NatHwStatus.h"
#include "agent/chip/SoftSwitch.h"
#include "agent/show/Reply.h"
#include "agent/switch/ForwardingAgent.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

class UmoNatFlowMcastSm;

namespace UmoAgent {
class SwitchProgrammer;
}

/// What an event or a command can print, for people or for programs. The same state gives the same
/// text.
namespace UmoAgent {

/// The hardware status tree: policies, their matches with flow and groups, actions with their
/// translations and port sets.
void printTree(Reply const &reply, Ip::Nat::HwNatFlowStatus const &status);
/// Of one policy, unless its name is empty.
Json treeValue(Ip::Nat::HwNatFlowStatus const &status, std::string const &policyName = "");

/// The answer to showNatFlowActionHw: a line for each programmed action, VLAN and interface;
/// nothing if nothing is programmed. `arguments` are the command's: the name of a policy, or none.
/// For programs it is the tree. Throws std::system_error if the system has no room for the answer.
void printTable(Reply const &reply, Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &status,
                std::string const &arguments = "");

/// The switch chip, as text: a line about its use, then its groups with their contents.
void printChip(std::ostream &out, ForwardingAgent const &agent);

/// Which counters of packets to show.
enum class Counted : std::uint8_t {
    everything, // all rows
    something, // a summary: rows without a packet are left out, and those after the first 50 summed
};

/// What packets came in and what became of them, by flow, group, port set and reason to drop;
/// nothing if none came. What is counted at a flow, group or port set goes with it.
Json trafficValue(ForwardingAgent &agent, Counted counted = Counted::everything);
void printTraffic(std::ostream &out, Json const &traffic);
void printTraffic(std::ostream &out, ForwardingAgent &agent, Counted counted);

/// The chip's contents and the traffic; before them the entries in use of its tables with, where
/// there is one, the capacity, if they are asked for.
void printChip(Reply const &reply, ForwardingAgent &agent, bool tables);

/// A table of the copies that were sent, a line for each interface, VLAN and addresses, by the
/// names of the interfaces.
void printPackets(Reply const &reply, ForwardingAgent const &agent,
                  Counted counted = Counted::everything);

/// A table of the matches, of all policies or of one: how many groups each wants, which it holds,
/// how many of its actions send copies and how many send none, and its state, one of
///
///  - `programmed`: it holds what it wants;
///  - `no groups`: it has no actions and wants none;
///  - `waiting`: the chip had no group for it, the retry will ask again;
///  - `stranded`: as waiting, but the removal of a policy has emptied the retry's list.
void printGroups(Reply const &reply, UmoNatFlowMcastSm const &root,
                 Ip::Nat::HwNatFlowStatus const &status, std::string const &onlyPolicy = "");

/// Whether the action has a port set in its match's groups from which copies leave.
bool sendsCopies(Ip::Nat::HwNatFlowActionStatus const &action);

/// The recirculation VLAN, with its L3 interface.
void printRecircVlan(Reply const &reply, UmoNatFlowMcastSm const &root);

/// The actions that are queued for evaluation, in order.
void printBacklog(Reply const &reply, UmoNatFlowMcastSm const &root);

/// How often each handler of the process was entered, and each operation of the chip called; what
/// was sent to the real switch by `programmer`, unless that is null, and what became of it.
void printCounters(Reply const &reply, UmoHelper::CheckedHelper const &helper,
                   SwitchProgrammer const *programmer);

/// What the agent does, in numbers: calls of the chip, matches by state, the backlog, tasks, and
/// what was sent to the real switch by `programmer`, unless that is null. As text in the format of
/// Prometheus.
void printMetrics(Reply const &reply, ForwardingAgent const &agent,
                  SwitchProgrammer const *programmer);

/// The pace of the library's work.
void printTuning(Reply const &reply, Table::Tuning::Value const &tuning);

/// The last `count` handler entries, with their names.
void printSkimtrace(Reply const &reply, std::size_t count);

/// The process's catalogue of log events, in the order of registration.
void printLogEvents(Reply const &reply);

/// The process's trace handles, with the levels that are on, after the pieces of a setting for
/// which there was no handle.
void printTraceLevels(Reply const &reply, std::vector<std::string> const &unknown);

} // namespace UmoAgent
