#include "agent/live/OvsDatabase.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <system_error>
#include <utility>

namespace UmoAgent {

using nlohmann::json;

namespace {

using namespace std::chrono_literals;

constexpr Vyr::Time kLongestPause = 5s;
constexpr Vyr::Time kSilence = 5s; // before an echo request, and again after it
constexpr char const *kMonitorId = "monitor";

/// The elements of a set. A set of one element may be the element alone.
std::vector<json> elements(json const &column) {
    if (column.is_array() && column.at(0) == "set") {
        return column.at(1).get<std::vector<json>>();
    }
    return {column};
}

/// The one element of a set of at most one; none if it is empty.
template <class Value>
std::optional<Value> optionalOf(json const &column) {
    auto const all = elements(column);
    return all.empty() ? std::nullopt : std::optional(all.front().get<Value>());
}

std::string textOf(json const &column) {
    return optionalOf<std::string>(column).value_or("");
}

std::vector<Ovs::Uuid> uuidsOf(json const &column) {
    std::vector<Ovs::Uuid> uuids;
    for (json const &one : elements(column)) {
        uuids.push_back(one.at(1).get<std::string>());
    }
    return uuids;
}

std::set<std::int64_t> numbersOf(json const &column) {
    std::set<std::int64_t> numbers;
    for (json const &one : elements(column)) {
        numbers.insert(one.get<std::int64_t>());
    }
    return numbers;
}

/// The value of a key in a map; empty if the map does not have it.
std::string valueOf(json const &column, char const *key) {
    for (json const &pair : column.at(1)) {
        if (pair.at(0) == key) {
            return pair.at(1).get<std::string>();
        }
    }
    return "";
}

void read(json const &row, Ovs::Bridge &bridge) {
    bridge.name = row.at("name").get<std::string>();
    bridge.ports = uuidsOf(row.at("ports"));
    bridge.mirrors = uuidsOf(row.at("mirrors"));
    bridge.datapathType = row.at("datapath_type").get<std::string>();
    bridge.stp = row.at("stp_enable").get<bool>();
    bridge.rstp = row.at("rstp_enable").get<bool>();
    bridge.hwaddr = valueOf(row.at("other_config"), "hwaddr");
}

void read(json const &row, Ovs::Port &port) {
    port.name = row.at("name").get<std::string>();
    port.interfaces = uuidsOf(row.at("interfaces"));
    port.vlanMode = textOf(row.at("vlan_mode"));
    port.tag = optionalOf<std::int64_t>(row.at("tag"));
    port.trunks = numbersOf(row.at("trunks"));
    port.stpState = valueOf(row.at("status"), "stp_state");
    port.rstpState = valueOf(row.at("rstp_status"), "rstp_port_state");
}

void read(json const &row, Ovs::Interface &interface) {
    interface.name = row.at("name").get<std::string>();
    interface.type = row.at("type").get<std::string>();
    interface.ofport = optionalOf<std::int64_t>(row.at("ofport"));
    interface.linkState = textOf(row.at("link_state"));
    interface.adminState = textOf(row.at("admin_state"));
    interface.mac = textOf(row.at("mac_in_use"));
}

void read(json const &row, Ovs::Mirror &mirror) {
    mirror.name = row.at("name").get<std::string>();
}

json monitorRequest() {
    auto const columns = [](std::vector<std::string> const &names) {
        return json{{"columns", names}};
    };
    json const tables{
        {"Bridge", columns({"name", "datapath_type", "ports", "mirrors", "stp_enable",
                            "rstp_enable", "other_config"})},
        {"Port",
         columns({"name", "interfaces", "vlan_mode", "tag", "trunks", "status", "rstp_status"})},
        {"Interface",
         columns({"name", "type", "ofport", "link_state", "admin_state", "mac_in_use"})},
        {"Mirror", columns({"name"})}};
    return {{"id", kMonitorId},
            {"method", "monitor"},
            {"params", json::array({"Open_vSwitch", nullptr, tables})}};
}

/// Makes the changes of one table in `rows`.
template <class Row>
void updateTable(json const &tables, char const *name, std::map<Ovs::Uuid, Row> &rows) {
    auto const table = tables.find(name);
    if (table == tables.end()) {
        return;
    }
    for (auto const &[uuid, change] : table->items()) {
        auto const row = change.find("new");
        if (row == change.end() || row->is_null()) {
            rows.erase(uuid);
        } else {
            read(*row, rows[uuid]);
        }
    }
}

void updateAll(json const &tables, Ovs::Rows &rows) {
    updateTable(tables, "Bridge", rows.bridges);
    updateTable(tables, "Port", rows.ports);
    updateTable(tables, "Interface", rows.interfaces);
    updateTable(tables, "Mirror", rows.mirrors);
}

/// A database server that was restarted has lost what ovs-vswitchd wrote about the state of ports,
/// until ovs-vswitchd writes it again. The switch forwards as before, so the old state holds.
void keepStates(Ovs::Rows const &old, Ovs::Rows &rows) {
    for (auto &[uuid, interface] : rows.interfaces) {
        auto const before = old.interfaces.find(uuid);
        if (before != old.interfaces.end() && interface.linkState.empty() &&
            interface.adminState.empty() && interface.mac.empty()) {
            interface.linkState = before->second.linkState;
            interface.adminState = before->second.adminState;
            interface.mac = before->second.mac;
        }
    }
    for (auto &[uuid, port] : rows.ports) {
        auto const before = old.ports.find(uuid);
        if (before != old.ports.end() && port.stpState.empty() && port.rstpState.empty()) {
            port.stpState = before->second.stpState;
            port.rstpState = before->second.rstpState;
        }
    }
}

} // namespace

OvsDatabase::OvsDatabase(EventLoop &loop, std::string path, Callbacks callbacks)
    : loop_(loop),
      path_(std::move(path)),
      callbacks_(std::move(callbacks)),
      retries_(kLongestPause, [this] { connect(); }),
      probing_([this] { probe(); }) {
    retries_.now();
}

void OvsDatabase::connect() {
    try {
        connection_.emplace(
            loop_, path_,
            JsonRpc::Callbacks{[this](json const &message) { receive(message); },
                               [this](std::string const &reason) { lost(reason); }});
    } catch (std::system_error const &error) {
        lost(error.code().message());
        return;
    }
    connection_->send(monitorRequest());
    probed_ = false;
    probing_.runIn(kSilence);
}

void OvsDatabase::lost(std::string const &reason) {
    connection_.reset();
    probing_.stop();
    retries_.later();
    if (!std::exchange(lossLogged_, true)) {
        callbacks_.log("ovsdb-server at " + path_ + ": " +
                       (wasRead_ ? "connection lost: " : "cannot be read: ") + reason);
    }
}

void OvsDatabase::receive(json const &message) {
    probed_ = false;
    probing_.runIn(kSilence);
    if (message.value("method", json()) == "update") {
        update(message.at("params").at(1));
    } else if (message.value("id", json()) == kMonitorId) {
        json const error = message.value("error", json());
        if (!error.is_null()) {
            lost(error.is_object() ? error.value("error", "") + ": " + error.value("details", "")
                                   : error.dump());
            return;
        }
        replace(message.at("result"));
    }
}

void OvsDatabase::replace(json const &tables) {
    Ovs::Rows rows;
    updateAll(tables, rows);
    keepStates(rows_, rows);
    retries_.reset();
    if (std::exchange(lossLogged_, false)) {
        callbacks_.log("ovsdb-server at " + path_ + ": connected");
    }
    wasRead_ = true;
    rows_ = std::move(rows);
    callbacks_.changed();
}

void OvsDatabase::update(json const &tables) {
    updateAll(tables, rows_);
    callbacks_.changed();
}

void OvsDatabase::probe() {
    if (std::exchange(probed_, true)) {
        lost("no answer for 10 s");
        return;
    }
    connection_->send({{"id", "probe"}, {"method", "echo"}, {"params", json::array()}});
    probing_.runIn(kSilence);
}

} // namespace UmoAgent
