#include "agent/base/CommandLine.h"

#include "agent/base/Text.h"

#include <iostream>
#include <sstream>

namespace UmoAgent {

bool explain(CLI::App const &app, CLI::ParseError const &error) {
    std::ostringstream out, errors;
    bool const asked = app.exit(error, out, errors) == 0;
    std::cout << out.str() << std::flush;
    std::cerr << printable(errors.str(), "\n"); // the text repeats the arguments
    if (!std::cout) {
        std::cerr << app.get_name() << ": cannot write to standard output\n";
    }
    return asked && std::cout;
}

} // namespace UmoAgent
