#pragma once

#include <CLI/CLI.hpp>

namespace UmoAgent {

/// Prints what the command line asked for, such as the help, or what is wrong with it. Returns
/// whether it was asked for and could be written.
bool explain(CLI::App const &app, CLI::ParseError const &error);

} // namespace UmoAgent
