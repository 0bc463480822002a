#pragma once

#include "Mox/Enter.h"
#include "UmoNat/UmoNatFlowActionSm.h"

#include <iosfwd>

/// The trace handle shared by the sources of UmoNatFlowActionSm.
extern Mox::TraceHandle const actionSmTrace;

/// The start of an operation's first trace line: the operation, policy, match and action.
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

/// Traces the entry of `machine` into `Handler`: its names, then `pieces`. `More` is the format in
/// which the fast trace prints what it records of `pieces`.
template <Mox::Text Handler, Mox::Text More = "", class... Pieces>
void enterActionSm(UmoNatFlowActionSm const &machine, int level, Pieces const &...pieces) {
    Mox::enter<Mox::Text("UmoNatFlowActionSm::") + Handler + " policy %s match %s action %s" +
               More>(actionSmTrace, level, ActionSmEntry{Handler.chars, machine}, pieces...);
}
