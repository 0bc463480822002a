#include "agent/show/CarryOut.h"

#include "Base/Assert.h"
#include "agent/base/Text.h"
#include "agent/show/Printers.h"

#include <exception>
#include <ostream>
#include <string>
#include <string_view>

namespace UmoAgent {

namespace {

/// In one line: a YAML block note ends in newlines.
std::string noteText(std::string_view note) {
    return printable(note.substr(0, note.find_last_not_of('\n') + 1));
}

void print(ForwardingAgent &agent, Printout const &printout, std::ostream &out) {
    Reply const reply{out, printout.json};
    auto const &hwStatus = agent.state().hwStatus();
    switch (printout.what) {
    case Printout::What::tree:
        printTree(reply, *hwStatus);
        break;
    case Printout::What::chip:
        printChip(reply, agent, false);
        break;
    case Printout::What::groups:
        printGroups(reply, agent.root(), *hwStatus);
        break;
    case Printout::What::table:
        printTable(reply, hwStatus);
        break;
    case Printout::What::packets:
        printPackets(reply, agent);
        break;
    }
}

} // namespace

void carryOut(ForwardingAgent &agent, Event const &event, std::ostream &out) {
    if (!event.note.empty() || !event.print.empty()) {
        out << stamp(agent.loop().now()) << (event.note.empty() ? "" : " ") << noteText(event.note)
            << std::endl; // flushed before the event's traces, which use another stream
    }
    if (event.refuseGroups != 0) {
        agent.chip().refuseGroups(event.refuseGroups);
    }
    auto const faults = agent.apply(event.changes);
    Base::assertThat(faults.empty(), "faults.empty()");
    for (Printout const &printout : event.print) {
        try {
            print(agent, printout, out);
        } catch (std::exception const &error) {              // no memory for it
            out << "cannot print: " << error.what() << '\n'; // the event was still carried out
        }
    }
}

} // namespace UmoAgent
