#include "UmoNat/UmoNatFlowMcastSmCli.h"
#include "agent/base/AnswerFile.h"
#include "agent/show/Printers.h"

#include <ostream>

namespace UmoAgent {

void printTable(std::ostream &out, Mox::Ptr<Ip::Nat::HwNatFlowStatus> const &status) {
    constexpr std::size_t kPortion = 65536;
    AnswerFile const answer; // the command answers to a descriptor
    Pelo::String const command = "showNatFlowActionHw";
    umoNatFlowMcastSmCliCallbackFactory(command, "", status)
        ->handleCommand(answer.socket(), command);
    std::size_t printed = 0;
    for (std::string text = answer.read(0, kPortion); !text.empty();
         text = answer.read(printed, kPortion)) {
        out << text;
        printed += text.size();
    }
}

} // namespace UmoAgent
