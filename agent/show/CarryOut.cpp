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

void print(ForwardingAgent &agent, Printout printout, std::ostream &out) {
    auto const &hwStatus = agent.state().hwStatus();
    switch (printout) {
    case Printout::tree:
        printTree(out, *hwStatus);
        break;
    case Printout::chip:
        printChip(out, agent.chip());
        printTraffic(out, agent);
        break;
    case Printout::groups:
        printGroups(out, agent.root(), *hwStatus);
        break;
    case Printout::table:
        printTable(out, hwStatus);
        break;
    case Printout::packets:
        printPackets(out, agent);
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
    for (Printout const printout : event.print) {
        try {
            print(agent, printout, out);
        } catch (std::exception const &error) {              // no memory for it
            out << "cannot print: " << error.what() << '\n'; // the event was still carried out
        }
    }
}

} // namespace UmoAgent
