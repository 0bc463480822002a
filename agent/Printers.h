#pragma once

#include "Ip/NatHwStatus.h"
#include "agent/SoftSwitch.h"

#include <iosfwd>

class UmoNatFlowMcastSm;

/// What an event can have printed, as text for people. Same state, same text.
namespace UmoAgent {

/// The hardware status tree: policies, their matches with flow and groups, actions with their
/// translations and port sets.
void printTree(std::ostream &out, Ip::Nat::HwNatFlowStatus const &status);

/// What the switch answers to showNatFlowActionHw: a line for each programmed action, VLAN and
/// interface; nothing when nothing is programmed. Throws std::system_error if the system has no
/// room for a temporary file.
void printTable(std::ostream &out, Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &status);

/// The switch chip: a line about its use, then its groups with what is in them.
void printChip(std::ostream &out, SoftSwitch const &chip);

/// The first line of printChip alone.
void printChipUse(std::ostream &out, SoftSwitch const &chip);

/// A table of the matches: how many groups each wants, which it holds, and its state, one of
///
///  - `programmed`: it holds what it wants;
///  - `no groups`: it has no actions and wants none;
///  - `waiting`: the chip had no group for it, the retry will ask again;
///  - `stranded`: as waiting, but the removal of a policy has emptied the retry's list.
void printGroups(std::ostream &out, UmoNatFlowMcastSm const &root,
                 Ip::Nat::HwNatFlowStatus const &status);

} // namespace UmoAgent
