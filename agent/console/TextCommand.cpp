#include "agent/console/TextCommand.h"

#include "Agent/AgentCommands.h"
#include "agent/base/Descriptor.h"
#include "agent/base/Text.h"

#include <new>
#include <sstream>
#include <utility>

namespace UmoAgent {

std::string argumentsOf(std::string const &command) {
    std::size_t const name = command.find_first_not_of(' ');
    std::size_t const first = command.find_first_not_of(' ', command.find(' ', name));
    if (name == std::string::npos || first == std::string::npos) {
        return "";
    }
    return command.substr(first, command.find_last_not_of(' ') + 1 - first);
}

std::string markedError(std::string const &name, std::string const &error) {
    std::istringstream lines(error);
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        text.append(kErrorMark).append(name).append(": ").append(printable(line)).append("\n");
    }
    return text;
}

TextCommand::TextCommand(Pelo::String name, Pelo::String help, Function function)
    : AgentCommandCallback(std::move(name), std::move(help)), function_(std::move(function)) {}

void TextCommand::handleCommand(std::uint32_t socket, Pelo::String const &command) {
    std::ostringstream out;
    out.exceptions(std::ios::badbit); // else the stream would hide a failed allocation
    std::string text;
    try {
        function_(out, argumentsOf(command));
        text = out.str();
    } catch (CommandError const &error) {
        text = markedError(nameString(), error.what());
    } catch (std::bad_alloc const &) {
        text = markedError(nameString(), "there is not enough memory");
    }
    writeAll(static_cast<int>(socket), text);
}

} // namespace UmoAgent
