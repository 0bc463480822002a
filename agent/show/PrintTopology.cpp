#include "UmoNat/UmoNatFlowMcastSm.h"
#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "agent/show/Printers.h"
#include "agent/show/Values.h"

#include <chrono>

namespace UmoAgent {

namespace {

void printRecircVlanText(std::ostream &out, Json const &value) {
    Json const &vlan = value.at("vlan");
    out << "recirculation VLAN: " << (vlan.is_null() ? "none" : vlan.dump());
    for (Json const &intf : value.at("interfaces")) {
        out << ", L3 interface " << intf.get_ref<std::string const &>();
    }
    out << '\n';
}

void printBacklogText(std::ostream &out, Json const &value) {
    out << "backlog: " << value.at("actions").size() << " waiting, "
        << (value.at("run-scheduled").get<bool>() ? "a" : "no") << " run is scheduled\n";
    for (Json const &action : value.at("actions")) {
        out << "  policy " << textOf(action, "policy") << ", match " << textOf(action, "match")
            << ", action " << textOf(action, "action") << '\n';
    }
}

} // namespace

void printRecircVlan(Reply const &reply, UmoNatFlowMcastSm const &root) {
    auto const &topology = *root.topologySm();
    std::uint16_t const recircVlan = topology.natFlowRecircVlan();
    std::vector<Nexo::IntfId> interfaces;
    for (auto const &[intf, vlan] : topology.intfL3Index()) {
        if (recircVlan != 0 && vlan == recircVlan) {
            interfaces.push_back(intf);
        }
    }
    reply.give(record({{"vlan", recircVlan == 0 ? Json() : Json(recircVlan)},
                       {"interfaces", namesOf(interfaces)}}),
               printRecircVlanText);
}

void printBacklog(Reply const &reply, UmoNatFlowMcastSm const &root) {
    auto const &topology = *root.topologySm();
    auto const &task = topology.actionSmUpdateBacklogTask();
    Json actions = Json::array();
    for (UmoNatFlowActionSm const *action : topology.actionSmUpdateBacklog()) {
        actions.push_back(record({{"policy", printable(action->policy())},
                                  {"match", printable(action->match())},
                                  {"action", printable(action->action())}}));
    }
    reply.give(
        record({{"run-scheduled", task && task->taskScheduled()}, {"actions", std::move(actions)}}),
        printBacklogText);
}

void printTuning(Reply const &reply, Table::Tuning::Value const &tuning) {
    auto const seconds = [](Vyr::Time time) { return std::chrono::duration<double>(time).count(); };
    reply.give(record({{"backlog-limit", tuning.backlogLimit},
                       {"backlog-interval", seconds(tuning.backlogInterval)},
                       {"retry-delay", seconds(tuning.retryDelay)}}),
               [](std::ostream &out, Json const &value) {
                   out << "backlog-limit " << value.at("backlog-limit").dump()
                       << "\nbacklog-interval " << value.at("backlog-interval").dump()
                       << "s\nretry-delay " << value.at("retry-delay").dump() << "s\n";
               });
}

} // namespace UmoAgent
