#pragma once

#include <cstddef>
#include <string>
#include <variant>

namespace UmoAgent {

/// Why a text cannot be had, such as "it is a directory".
struct Unreadable {
    std::string reason;
};
using FileText = std::variant<std::string, Unreadable>;

/// All that can be read from `descriptor`, which stays the caller's, up to its end; waits for
/// whoever writes into a pipe. Directories are refused, as are devices other than a terminal, which
/// may have no end, and texts of more than `most` bytes.
FileText readText(int descriptor, std::size_t most);

/// The same of the file at `path`.
FileText readFileText(std::string const &path, std::size_t most);

} // namespace UmoAgent
