#include "agent/explain/Picture.h"

#include "agent/show/Values.h"

#include <ostream>
#include <set>
#include <string>

namespace UmoAgent {

namespace {

constexpr char const *kRed = ", color=red, fontcolor=red";

/// In quotes, as Graphviz wants it.
std::string quoted(std::string const &text) {
    return Json(text).dump();
}

/// Draws one explanation. Nodes are named by what they stand for, so that each is drawn once: the
/// kind and the names, each in a line, since a name has no ends of lines.
class Picture {
  public:
    explicit Picture(std::ostream &out) : out_(out) {}

    void draw(Json const &explanation) {
        out_ << "digraph " << quoted(textOf(explanation, "policy"))
             << " {\n  rankdir=LR;\n  node [shape=box];\n";
        for (Json const &match : explanation.at("matches")) {
            drawMatch(match);
        }
        out_ << "}\n";
    }

  private:
    void node(std::string const &name, std::string const &label, char const *style = "") {
        if (drawn_.insert(name).second) {
            out_ << "  " << quoted(name) << " [label=" << quoted(label) << style << "];\n";
        }
    }
    void edge(std::string const &from, std::string const &to, std::string const &label = "",
              char const *style = "") {
        if (drawn_.insert(from + " -> " + to + label).second) {
            out_ << "  " << quoted(from) << " -> " << quoted(to) << " [label=" << quoted(label)
                 << style << "];\n";
        }
    }

    void drawMatch(Json const &match) {
        std::string const &matchName = textOf(match, "match");
        std::string const name = "match\n" + matchName;
        Json const &flow = match.at("flow"), &groups = match.at("groups");
        node(name, "match " + matchName + "\nfrom " + flowEndText(flow.at("source")) + "\nto " +
                       flowEndText(flow.at("destination")));
        bool const holds = textOf(groups, "state") == "programmed";
        std::string const group = "groups\n" + matchName;
        Json const &unicast = groups.at("unicast"), &multicast = groups.at("multicast");
        node(group,
             !holds                 ? textOf(groups, "state")
             : unicast == multicast ? "group " + unicast.dump()
                                    : "groups " + unicast.dump() + ", " + multicast.dump(),
             holds ? "" : kRed);
        edge(name, group);
        for (Json const &action : match.at("actions")) {
            drawAction(group, matchName + "\n" + textOf(action, "action"), action);
        }
    }

    void drawAction(std::string const &group, std::string const &names, Json const &action) {
        std::string const name = "action\n" + names;
        node(name, "action " + textOf(action, "action") + "\n" + textOf(action.at("flow"), "type") +
                       "\n" + textOf(action, "state"));
        edge(group, name);
        for (Json const &intf : action.at("egress")) {
            for (Json const &port : intf.at("ports")) {
                drawPort(name, names, port);
            }
        }
    }

    void drawPort(std::string const &action, std::string const &names, Json const &port) {
        std::string const &kind = textOf(port, "copies");
        Json const &vlan = port.at("vlan");
        std::string const portSet = "port set\n" + names + "\n" + vlan.dump() + "\n" + kind;
        node(portSet, (vlan == 0 ? "no VLAN" : "VLAN " + vlan.dump()) + "\n" + kind);
        edge(action, portSet);
        Json const &name = port.at("port"), &reason = port.at("reason");
        bool const nowhere = name.is_null() && !reason.is_null();
        std::string const label = nowhere          ? "nowhere"
                                  : name.is_null() ? "recirculation"
                                                   : name.get<std::string>();
        std::string const place = "port\n" + label + (nowhere ? portSet : "");
        node(place, label, ", shape=ellipse");
        bool const in = port.at("in-port-set").get<bool>();
        edge(portSet, place, reason.is_null() ? (in ? "" : "not yet") : reason.get<std::string>(),
             in ? "" : kRed);
    }

    std::ostream &out_;
    std::set<std::string> drawn_;
};

} // namespace

void printPicture(std::ostream &out, Json const &explanation) {
    Picture(out).draw(explanation);
}

} // namespace UmoAgent
