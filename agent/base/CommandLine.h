#pragma once

#include <CLI/CLI.hpp>

namespace UmoAgent {

/// Prints what the command line requested, such as the help, or its error. Returns whether it was a
/// request and could be written.
bool explain(CLI::App const &app, CLI::ParseError const &error);

} // namespace UmoAgent
