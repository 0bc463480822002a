#include "UmoNat/UmoNatFlowMcastSmCli.h"
#include "agent/Printers.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <ostream>
#include <system_error>

namespace UmoAgent {

void printTable(std::ostream &out, Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &status) {
    // The command answers to a descriptor, as a client of the switch would be answered.
    auto const close = [](std::FILE *file) { std::fclose(file); };
    std::unique_ptr<std::FILE, decltype(close)> const file(std::tmpfile(), close);
    if (!file) {
        throw std::system_error(errno, std::generic_category(), "temporary file");
    }
    Pelo::String const command = "showNatFlowActionHw";
    umoNatFlowMcastSmCliCallbackFactory(command, "", status)
        ->handleCommand(static_cast<std::uint32_t>(fileno(file.get())), command);
    std::rewind(file.get());
    for (int c = std::fgetc(file.get()); c != EOF; c = std::fgetc(file.get())) {
        out.put(static_cast<char>(c));
    }
}

} // namespace UmoAgent
