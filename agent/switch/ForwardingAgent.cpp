#include "agent/switch/ForwardingAgent.h"

#include "agent/base/Text.h"
#include "agent/show/Printers.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ostream>
#include <string_view>
#include <system_error>
#include <utility>

namespace UmoAgent {

std::string stamp(Vyr::Time time) {
    std::array<char, 64> text{};
    double const seconds = std::chrono::duration<double>(time).count();
    std::snprintf(text.data(), text.size(), "[%9.3f s]", seconds);
    return text.data();
}

namespace {
/// In one line: a note that is written as a block ends in newlines.
std::string noteText(std::string_view note) {
    return printable(note.substr(0, note.find_last_not_of('\n') + 1));
}
} // namespace

ForwardingAgent::ForwardingAgent(EventLoop const &loop, SoftSwitch::LineSink errors)
    : loop_(loop), chip_(Mox::make<SoftSwitch>(ChipCapacity{}, std::move(errors))) {}

void ForwardingAgent::start(SwitchModel const &initial) {
    mount(initial);
    root_ = umoNatFlowMcastSmFactory(state_.natStatus(), state_.hwStatus(), state_.bridgingConfig(),
                                     state_.bridgingStatus(), state_.vlanStatusDir(),
                                     state_.topologyConfig(), state_.l3Table(), state_.ipStatus(),
                                     chip_);
}

void ForwardingAgent::carryOut(Event const &event, std::ostream &out) {
    if (!event.note.empty() || !event.print.empty()) {
        out << stamp(loop_.now()) << (event.note.empty() ? "" : " ") << noteText(event.note)
            << std::endl; // before the traces of what the event does, which go their own way
    }
    if (event.refuseGroups != 0) {
        chip_->refuseGroups(event.refuseGroups);
    }
    if (event.state) {
        mount(*event.state);
    }
    for (Printout const printout : event.print) {
        try {
            print(printout, out);
        } catch (std::system_error const &error) {
            out << "cannot print: " << error.what()
                << '\n'; // the event is carried out all the same
        }
    }
}

bool ForwardingAgent::clean() const {
    return chip_->contractErrors() == 0 && (root_ || chip_->groupsInUse() == 0);
}

void ForwardingAgent::mount(SwitchModel const &model) {
    chip_->capacityIs(model.chip);
    state_.become(model);
}

void ForwardingAgent::print(Printout printout, std::ostream &out) const {
    switch (printout) {
    case Printout::tree:
        printTree(out, *state_.hwStatus());
        break;
    case Printout::chip:
        printChip(out, *chip_);
        break;
    case Printout::groups:
        printGroups(out, *root_, *state_.hwStatus());
        break;
    case Printout::table:
        printTable(out, state_.hwStatus());
        break;
    }
}

} // namespace UmoAgent
