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

std::string noteLine(std::string const &note) {
    return note.empty() ? "" : "note: " + printable(note) + '\n';
}

std::pair<std::string, bool> withoutJsonWord(std::string const &line) {
    std::istringstream words(line);
    std::string rest;
    bool json = false;
    for (std::string word; std::getline(words, word, ' ');) {
        if (word == kJsonWord) {
            json = true;
        } else {
            rest += (rest.empty() ? "" : " ") + word;
        }
    }
    return {json ? rest : line, json};
}

TextCommand::TextCommand(Pelo::String name, Pelo::String help, Function function, Note note,
                         char const *comment)
    : AgentCommandCallback(std::move(name), std::move(help)),
      function_(std::move(function)),
      note_(std::move(note)),
      comment_(comment) {}

void TextCommand::handleCommand(std::uint32_t socket, Pelo::String const &command) {
    std::ostringstream out;
    out.exceptions(std::ios::badbit); // else the stream would hide a failed allocation
    std::string const note = note_();
    std::string text;
    try {
        auto const [line, json] = withoutJsonWord(command);
        function_({out, json, printable(note)}, argumentsOf(line));
        text = out.str() + (json || note.empty() ? "" : comment_ + noteLine(note));
    } catch (CommandError const &error) {
        text = markedError(nameString(), error.what()) + noteLine(note);
    } catch (std::bad_alloc const &) {
        text = markedError(nameString(), "there is not enough memory") + noteLine(note);
    }
    writeAll(static_cast<int>(socket), text);
}

} // namespace UmoAgent
