#pragma once

#include "Mox/Entered.h"
#include "UmoNat/UmoNatFlowActionSm.h"

#include <iosfwd>

/// What the sources of UmoNatFlowActionSm share for their traces.
extern Mox::TraceHandle const actionSmTrace;

/// The head of the first trace line of an operation: its name, and the machine's names.
struct ActionSmEntry {
    char const *function;
    UmoNatFlowActionSm const &machine;

    void recordIn(Mox::EntryRecord &record) const noexcept {
        record.name(machine.policy());
        record.name(machine.match());
        record.name(machine.action());
    }
};

std::ostream &operator<<(std::ostream &out, ActionSmEntry const &entry);

/// Traces that `machine` enters `Handler`: its names, then `pieces`. `More` is how the fast
/// trace shows what else it records of them.
template <Mox::Text Handler, Mox::Text More = "", class... Pieces>
void enter(UmoNatFlowActionSm const &machine, int level, Pieces const &...pieces) {
    Mox::enter<Mox::Text("UmoNatFlowActionSm::") + Handler + " policy %s match %s action %s" +
               More>(actionSmTrace, level, ActionSmEntry{Handler.chars, machine}, pieces...);
}
