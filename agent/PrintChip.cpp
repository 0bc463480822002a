#include "agent/PrintText.h"
#include "agent/Printers.h"

#include <ostream>
#include <string_view>

namespace UmoAgent {

namespace {

void printCount(std::ostream &out, std::uint64_t count, std::string_view one) {
    out << ", " << count << ' ' << one << (count == 1 ? "" : "s");
}

void printTranslation(std::ostream &out, std::string_view which,
                      SoftSwitch::Translation const &translation) {
    out << "      " << which << ' ';
    printFlowEnd(out, {translation.flow.addr(), translation.prefixLength, translation.flow.port()});
    if (translation.nat.addr().isZero()) {
        out << " stays";
    } else {
        out << " becomes ";
        printAddress(out, translation.nat);
    }
    if (!translation.dmac.isZero()) {
        out << ", dmac " << translation.dmac;
    }
    out << '\n';
}

void printPortSet(std::ostream &out, std::uint32_t id, SoftSwitch::PortSet const &portSet) {
    out << "    port set " << id << ": VLAN " << portSet.vlan << ", dmac " << portSet.dmac
        << ", interfaces";
    for (Nexo::IntfId const intf : portSet.interfaces) {
        out << ' ';
        printInterface(out, intf);
    }
    out << '\n';
    if (portSet.source) {
        printTranslation(out, "source", *portSet.source);
    }
    if (portSet.destination) {
        printTranslation(out, "destination", *portSet.destination);
    }
}

} // namespace

void printChipUse(std::ostream &out, SoftSwitch const &chip) {
    out << "chip: " << chip.groupsInUse() << " of " << chip.capacity().groups << " groups in use";
    printCount(out, chip.refusals(), "refusal");
    printCount(out, chip.contractErrors(), "contract error");
    out << '\n';
}

void printChip(std::ostream &out, SoftSwitch const &chip) {
    printChipUse(out, chip);
    for (auto const &[id, group] : chip.groups()) {
        out << "  group " << id << " of policy " << group.policy << ", match " << group.match
            << (group.unicast ? ", unicast" : "") << '\n';
        for (auto const &[portSetId, portSet] : group.portSets) {
            printPortSet(out, portSetId, portSet);
        }
    }
}

} // namespace UmoAgent
