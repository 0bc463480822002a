#include "agent/show/Printers.h"
#include "agent/show/Values.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace UmoAgent {

namespace {

Json translationValue(UmoHelper::Translation const &translation) {
    Json value = record(
        {{"flow", valueOf(Ip::Nat::NatFlowEnd{translation.flow.addr(), translation.prefixLength,
                                              translation.flow.port()})},
         {"becomes", valueOf(translation.nat)}});
    if (!translation.dmac.isZero()) {
        value["dmac"] = translation.dmac.stringValue();
    }
    return value;
}

Json portSetValue(std::uint32_t id, UmoHelper::PortSet const &portSet) {
    Json value = record({{"port-set", id},
                         {"vlan", portSet.vlan},
                         {"dmac", portSet.dmac.stringValue()},
                         {"interfaces", namesOf(portSet.interfaces)}});
    if (portSet.source) {
        value["source"] = translationValue(*portSet.source);
    }
    if (portSet.destination) {
        value["destination"] = translationValue(*portSet.destination);
    }
    return value;
}

Json groupValue(std::uint32_t id, UmoHelper::Group const &group) {
    Json portSets = Json::array();
    for (auto const &[portSetId, portSet] : group.portSets) {
        portSets.push_back(portSetValue(portSetId, portSet));
    }
    return record({{"group", id},
                   {"policy", printable(group.policy)},
                   {"match", printable(group.match)},
                   {"unicast", group.unicast},
                   {"port-sets", std::move(portSets)}});
}

Json tableValue(char const *name, std::size_t used, std::optional<std::uint32_t> capacity) {
    return record(
        {{"table", name}, {"in-use", used}, {"capacity", capacity ? Json(*capacity) : Json()}});
}

std::string countText(Json const &count, std::string const &one) {
    return counted(count.get<std::uint64_t>(), one, one + 's');
}

void printTranslation(std::ostream &out, Json const &portSet, char const *which) {
    auto const translation = portSet.find(which);
    if (translation == portSet.end()) {
        return;
    }
    Json const &becomes = translation->at("becomes");
    out << "      " << which << ' ' << flowEndText(translation->at("flow"))
        << (becomes.is_null() ? " stays" : " becomes " + addressText(becomes));
    if (auto const dmac = translation->find("dmac"); dmac != translation->end()) {
        out << ", dmac " << dmac->get_ref<std::string const &>();
    }
    out << '\n';
}

void printPortSet(std::ostream &out, Json const &portSet) {
    out << "    port set " << numberOf(portSet, "port-set") << ": VLAN "
        << numberOf(portSet, "vlan") << ", dmac " << textOf(portSet, "dmac") << ", interfaces"
        << namesText(portSet.at("interfaces")) << '\n';
    printTranslation(out, portSet, "source");
    printTranslation(out, portSet, "destination");
}

Json chipTablesValue(SoftSwitch const &chip) {
    std::size_t portSets = 0, fullest = 0, sources = 0, destinations = 0;
    for (auto const &[groupId, group] : chip.groups()) {
        portSets += group.portSets.size();
        fullest = std::max(fullest, group.portSets.size());
        for (auto const &[id, portSet] : group.portSets) {
            sources += portSet.source ? 1 : 0;
            destinations += portSet.destination ? 1 : 0;
        }
    }
    return Json::array(
        {tableValue("groups", chip.groupsInUse(), chip.capacity().groups),
         tableValue("port sets", portSets, std::nullopt),
         tableValue("  in the fullest group", fullest, chip.capacity().portSetsPerGroup),
         tableValue("source translations", sources, std::nullopt),
         tableValue("destination translations", destinations, std::nullopt)});
}

void printChipTables(std::ostream &out, Json const &tables) {
    out << "table                     in use  capacity\n";
    for (Json const &row : tables) {
        Json const &capacity = row.at("capacity");
        out << std::left << std::setw(24) << textOf(row, "table") << std::right << std::setw(8)
            << row.at("in-use").dump() << std::setw(10)
            << (capacity.is_null() ? "-" : capacity.dump()) << '\n';
    }
}

Json chipValue(ForwardingAgent const &agent) {
    SoftSwitch const &chip = agent.chip();
    Json groups = Json::array();
    for (auto const &[id, group] : chip.groups()) {
        groups.push_back(groupValue(id, group));
    }
    return record({{"groups-in-use", chip.groupsInUse()},
                   {"capacity", chip.capacity().groups},
                   {"refusals", chip.refusals()},
                   {"contract-errors", agent.contractErrors()},
                   {"groups", std::move(groups)}});
}

void printChipText(std::ostream &out, Json const &chip) {
    out << "chip: " << chip.at("groups-in-use") << " of " << chip.at("capacity")
        << " groups in use, " << countText(chip.at("refusals"), "refusal") << ", "
        << countText(chip.at("contract-errors"), "contract error") << '\n';
    for (Json const &group : chip.at("groups")) {
        out << "  group " << numberOf(group, "group") << " of policy " << textOf(group, "policy")
            << ", match " << textOf(group, "match")
            << (group.at("unicast").get<bool>() ? ", unicast" : "") << '\n';
        for (Json const &portSet : group.at("port-sets")) {
            printPortSet(out, portSet);
        }
    }
}

} // namespace

void printChip(std::ostream &out, ForwardingAgent const &agent) {
    printChipText(out, chipValue(agent));
}

void printChip(Reply const &reply, ForwardingAgent &agent, bool tables) {
    Json value = tables ? record({{"tables", chipTablesValue(agent.chip())}}) : record({});
    value["chip"] = chipValue(agent);
    value["traffic"] = trafficValue(agent);
    reply.give(std::move(value), [](std::ostream &out, Json const &whole) {
        if (auto const tablesOf = whole.find("tables"); tablesOf != whole.end()) {
            printChipTables(out, *tablesOf);
        }
        printChipText(out, whole.at("chip"));
        printTraffic(out, whole.at("traffic"));
    });
}

} // namespace UmoAgent
