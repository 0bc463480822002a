#pragma once

#include "agent/switch/Changes.h"
#include "agent/switch/SwitchState.h"

#include <map>

namespace UmoAgent {

/// What the user's file says of a real switch: the rest the switch says itself.
struct Feeds {
    /// Splits the changes that make the file's rows.
    static Feeds of(Changes const &changes);

    Changes policies; // with their matches and actions
    std::map<Nexo::IntfId, Table::IpInterface::Value> ipInterfaces;
    Table::Tuning::Value tuning;
};

/// The changes that make the mounted policies those of `policies`, changes that make them of
/// nothing. An action that stays but changes gets the next version.
Changes differenceToPolicies(SwitchState const &mounted, Changes const &policies);

/// Changes that raise the versions of the actions whose copies `changes` may affect without
/// notifying them: a VLAN that gains or loses a member, other settings of an interface, another
/// bridge MAC address, an interface that loses its IP settings or its L3 id, a VLAN that comes or
/// goes. To be made after them.
Changes nudges(SwitchState const &mounted, Changes const &changes);

} // namespace UmoAgent
