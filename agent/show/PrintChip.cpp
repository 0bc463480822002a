#include "agent/base/Text.h"
#include "agent/show/Printers.h"

#include <algorithm>
#include <iomanip>
#include <optional>
#include <ostream>
#include <string>
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

void printTableRow(std::ostream &out, std::string_view table, std::size_t used,
                   std::optional<std::uint32_t> capacity) {
    out << std::left << std::setw(24) << table << std::right << std::setw(8) << used
        << std::setw(10) << (capacity ? std::to_string(*capacity) : "-") << '\n';
}

} // namespace

void printChipTables(std::ostream &out, SoftSwitch const &chip) {
    std::size_t portSets = 0, fullest = 0, sources = 0, destinations = 0;
    for (auto const &[groupId, group] : chip.groups()) {
        portSets += group.portSets.size();
        fullest = std::max(fullest, group.portSets.size());
        for (auto const &[id, portSet] : group.portSets) {
            sources += portSet.source ? 1 : 0;
            destinations += portSet.destination ? 1 : 0;
        }
    }
    out << "table                     in use  capacity\n";
    printTableRow(out, "groups", chip.groupsInUse(), chip.capacity().groups);
    printTableRow(out, "port sets", portSets, std::nullopt);
    printTableRow(out, "  in the fullest group", fullest, chip.capacity().portSetsPerGroup);
    printTableRow(out, "source translations", sources, std::nullopt);
    printTableRow(out, "destination translations", destinations, std::nullopt);
}

void printChip(std::ostream &out, SoftSwitch const &chip) {
    out << "chip: " << chip.groupsInUse() << " of " << chip.capacity().groups << " groups in use";
    printCount(out, chip.refusals(), "refusal");
    printCount(out, chip.contractErrors(), "contract error");
    out << '\n';
    for (auto const &[id, group] : chip.groups()) {
        out << "  group " << id << " of policy " << printable(group.policy) << ", match "
            << printable(group.match) << (group.unicast ? ", unicast" : "") << '\n';
        for (auto const &[portSetId, portSet] : group.portSets) {
            printPortSet(out, portSetId, portSet);
        }
    }
}

} // namespace UmoAgent
