#pragma once

#include "Nexo/IntfId.h"
#include "Vyr/Clock.h"

#include <cstddef>
#include <string>
#include <string_view>

/// Texts that several printouts share.
namespace UmoAgent {

/// `[ 10.000 s]`, the prefix of lines with a time.
std::string stamp(Vyr::Time time);

/// Whether the character controls a terminal; a tab does not count.
bool isControl(char c);

/// Makes outside text, such as a name, printable: it must neither control the reader's terminal nor
/// break a row of a table. Each byte of a control character (U+0000 to U+001F and U+007F to U+009F)
/// and of invalid UTF-8 becomes `\xHH`; control characters in `kept` stay.
std::string printable(std::string_view text, std::string_view kept = "");

/// The terminal columns that the text takes if each character takes one.
std::size_t width(std::string_view text);

/// `1 flow`, `2 flows`.
std::string counted(std::size_t count, std::string_view one, std::string_view several);

/// The text in quotes, printable.
std::string inQuotes(std::string_view text);

/// The interface's name; `recirculation` for the nameless recirculation port.
std::string const &interfaceName(Nexo::IntfId intf);

} // namespace UmoAgent
