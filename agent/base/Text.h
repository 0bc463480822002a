#pragma once

#include "Ip/NatFlow.h"
#include "Nexo/IntfId.h"
#include "Nexo/IpAndPort.h"
#include "Vyr/Clock.h"

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

/// Texts that several printouts share.
namespace UmoAgent {

/// `[   10.000 s]`, as lines begin that say what happens when.
std::string stamp(Vyr::Time time);

/// Whether the character is one that steers a terminal; a tab is not.
bool isControl(char c);

/// Text from outside, such as a name, to be printed: it must neither steer the terminal of whoever
/// reads it nor break a row of a table. Each byte of a control character (U+0000 to U+001F and
/// U+007F to U+009F) and each that is no UTF-8 becomes `\xHH`; control characters of `kept` stay.
std::string printable(std::string_view text, std::string_view kept = "");

/// The columns that text takes on a terminal whose characters all take one.
std::size_t width(std::string_view text);

/// The text in quotes, printable.
std::string inQuotes(std::string_view text);

/// `10.1.0.0/16 port 5000`; without a port if it is 0, and `any` without an address.
void printFlowEnd(std::ostream &out, Ip::Nat::NatFlowEnd const &end);

/// `10.9.9.9 port 5000`; without a port if it is 0.
void printAddress(std::ostream &out, Nexo::IpAndPort const &address);

/// The interface's name; `recirculation` for the port without a name that copies recirculate by.
void printInterface(std::ostream &out, Nexo::IntfId intf);

} // namespace UmoAgent
