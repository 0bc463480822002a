#include "agent/console/CommandTable.h"

#include "agent/show/Values.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <utility>

namespace UmoAgent {

char const *helpOf(std::string_view name) {
    auto const *const command =
        std::find_if(kCommands.begin(), kCommands.end(),
                     [&](CommandText const &text) { return name == text.name; });
    return command == kCommands.end() ? nullptr : command->help;
}

void printCommands(Reply const &reply) {
    Json commands = Json::array();
    for (auto const &[name, help] : kCommands) {
        commands.push_back(record({{"command", name}, {"help", help}}));
    }
    reply.give(record({{"commands", std::move(commands)}}),
               [](std::ostream &out, Json const &value) {
                   constexpr int kNameWidth = 20;
                   out << "commands:\n";
                   for (Json const &command : value.at("commands")) {
                       out << "  " << std::left << std::setw(kNameWidth)
                           << textOf(command, "command") << ' ' << textOf(command, "help") << '\n';
                   }
               });
}

} // namespace UmoAgent
