#include "agent/explain/ExplanationText.h"

#include "agent/show/Values.h"

#include <cstddef>
#include <ostream>

namespace UmoAgent {

namespace {

std::string portText(Json const &port) {
    bool const in = port.at("in-port-set").get<bool>(), wanted = port.at("wanted").get<bool>();
    Json const &reason = port.at("reason"), &name = port.at("port"), &vlan = port.at("vlan");
    std::string const text = (in ? "" : "no ") + textOf(port, "copies") + " copies" +
                             (vlan == 0 ? "" : " in VLAN " + vlan.dump());
    if (reason.is_null()) {
        std::string const self =
            vlan == 0 ? "the switch itself, but no VLAN can recirculate them" : "the switch itself";
        return text + (in ? "" : " yet") + " to " +
               (name.is_null() ? self : name.get<std::string>());
    }
    auto const remedy = port.find("remedy");
    return text +
           (!in      ? ""
            : wanted ? " because of another egress interface"
                     : " still") +
           ": " + reason.get<std::string>() +
           (remedy == port.end() ? "" : " (" + remedy->get<std::string>() + ")");
}

void printAction(std::ostream &out, Json const &action) {
    Json const &flow = action.at("flow"), &by = flow.at("decided-by");
    out << "  action " << textOf(action, "action") << ", version " << action.at("version") << ": "
        << textOf(flow, "type")
        << (by.is_null() ? ", since neither it nor the flow has a destination"
                         : ", by " + by.get<std::string>())
        << '\n';
    if (char const *const remark = remarkOf(textOf(action, "state")); *remark != '\0') {
        out << "    " << remark << '\n';
    }
    for (Json const &intf : action.at("egress")) {
        Json const &name = intf.at("interface");
        out << "    " << (name.is_null() ? "nowhere" : name.get<std::string>()) << '\n';
        for (Json const &port : intf.at("ports")) {
            out << "      " << portText(port) << '\n';
        }
    }
}

} // namespace

std::string groupsText(Json const &groups) {
    std::string const &state = textOf(groups, "state");
    if (state == "waiting") {
        return "the chip has no group for it; " +
               counted(groups.at("waiting-before").get<std::size_t>(), "match waits",
                       "matches wait") +
               " before it, and " +
               (groups.at("retry-scheduled").get<bool>() ? "a retry is scheduled"
                                                         : "it is retried when groups are freed");
    }
    if (state == "stranded") {
        return "the chip had no group for it, and the removal of a policy ended its waiting; "
               "change its number of groups, or make it anew";
    }
    if (state != "programmed") {
        return "no groups, since it has no actions";
    }
    return groupIdsText(groups);
}

char const *remarkOf(std::string const &state) {
    return state == "incomplete"       ? "its version is 0, so it is incomplete and nothing is done"
           : state == "without groups" ? "nothing is programmed until the match has its groups"
           : state == "queued"         ? "it is queued: the next run of the backlog evaluates it"
           : state == "out of date"
               ? "it is out of date, and no change has notified it: raise its version"
               : "";
}

void printExplanation(std::ostream &out, Json const &explanation) {
    if (explanation.at("matches").empty()) {
        out << "policy " << textOf(explanation, "policy") << ": no matches\n";
    }
    for (Json const &match : explanation.at("matches")) {
        out << "policy " << textOf(explanation, "policy") << ", match " << textOf(match, "match")
            << ": " << groupsText(match.at("groups")) << '\n';
        for (Json const &action : match.at("actions")) {
            printAction(out, action);
        }
    }
}

} // namespace UmoAgent
