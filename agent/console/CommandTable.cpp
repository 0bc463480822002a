#include "agent/console/CommandTable.h"

#include <algorithm>
#include <iomanip>
#include <ostream>

namespace UmoAgent {

char const *helpOf(std::string_view name) {
    auto const *const command =
        std::find_if(kCommands.begin(), kCommands.end(),
                     [&](CommandText const &text) { return name == text.name; });
    return command == kCommands.end() ? nullptr : command->help;
}

void printCommands(std::ostream &out) {
    constexpr int kNameWidth = 20;
    out << "commands:\n";
    for (auto const &[name, help] : kCommands) {
        out << "  " << std::left << std::setw(kNameWidth) << name << ' ' << help << '\n';
    }
}

} // namespace UmoAgent
