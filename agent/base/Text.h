#pragma once

#include "Ip/NatFlow.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAndPort.h"
#include "Vyr/Clock.h"

#include <iosfwd>
#include <string>
#include <string_view>

/// Texts that several printouts share.
namespace UmoAgent {

/// `[   10.000 s]`, as lines begin that say what happens when.
std::string stamp(Vyr::Time time);

/// Whether the character is one that steers a terminal; a tab is not.
bool isControl(char c);

/// The text in quotes, its control characters as `\xHH`: text from outside must not steer the
/// terminal of whoever reads it.
std::string inQuotes(std::string_view text);

/// `10.1.0.0/16 port 5000`; without a port if it is 0, and `any` without an address.
void printFlowEnd(std::ostream &out, Ip::Nat::NatFlowEnd const &end);

/// `10.9.9.9 port 5000`; without a port if it is 0.
void printAddress(std::ostream &out, Nexo::IpAndPort const &address);

/// The interface's name; `recirculation` for the port without a name that copies recirculate by.
void printInterface(std::ostream &out, Nexo::IntfId intf);

} // namespace UmoAgent
