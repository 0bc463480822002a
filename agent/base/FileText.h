#pragma once

#include <cstddef>
#include <string>
#include <variant>

namespace UmoAgent {

/// Why a text cannot be read, such as "it is a directory".
struct Unreadable {
    std::string reason;
};
using FileText = std::variant<std::string, Unreadable>;

/// All text from `descriptor` up to its end, waiting for the writer of a pipe. The caller keeps the
/// descriptor. Refused are directories, devices other than a terminal, which may have no end, and
/// texts of more than `most` bytes.
FileText readText(int descriptor, std::size_t most);

/// The same for the file at `path`.
FileText readFileText(std::string const &path, std::size_t most);

} // namespace UmoAgent
