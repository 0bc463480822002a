#pragma once

#include <stdexcept>
#include <string>

namespace UmoAgent {

/// A capture, or a folder of captures, that cannot be used: `FILE: REASON`, one line if the name
/// is one. The name is as given: make the text printable before it goes to a terminal.
class CaptureError : public std::runtime_error {
  public:
    CaptureError(std::string const &file, std::string const &reason)
        : std::runtime_error(file + ": " + reason) {}
};

} // namespace UmoAgent
