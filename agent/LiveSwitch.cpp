#include "agent/LiveSwitch.h"

#include "agent/base/Text.h"
#include "agent/live/RunDirectory.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>
#include <variant>

namespace UmoAgent {

namespace {

BridgePorts bridgePorts(BridgeState const &state) {
    BridgePorts ports;
    for (auto const &[intf, port] : state.ports) {
        ports.emplace(intf, BridgePort{port.settings, port.number});
    }
    return ports;
}

/// How many copies a match may have. Open vSwitch would take more, but they are too many for one
/// packet already.
constexpr std::uint32_t kPortSetsPerGroup = 16'384;

/// What a change concerns, in words.
std::string_view tableOf(AnyChange const &change) {
    return std::visit([]<class T>(Change<T> const & /*change*/) { return T::kOne; }, change);
}

std::string targetOf(LiveSwitch::Options const &options) {
    return "unix:" + runDirectoryOf(options.ovsdb) + '/' + options.bridge + ".mgmt";
}

} // namespace

LiveSwitch::LiveSwitch(EventLoop &loop, Options options, Feeds feeds, Log log)
    : loop_(loop),
      options_(std::move(options)),
      log_(std::move(log)),
      feeds_(std::move(feeds)),
      agent_(loop_, [this](std::string const &line) { log_.trouble("contract error: " + line); }),
      renderer_(agent_.chip(), agent_.forwarder(), options_.groups, log_.trouble),
      programmer_(loop_, renderer_, {targetOf(options_), options_.groups, options_.audit},
                  log_.trouble) {
    agent_.chip().fullGroupLogIs(
        [this](std::string const &line) { log_.trouble("chip: " + line); });
    ChipCapacity const capacity{options_.groups.size(), kPortSetsPerGroup};
    agent_.start({Change<Table::Chip>{{}, capacity}});
    loop_.idleWorkIs([this] { idle(); });
    follower_.emplace(
        loop_, BridgeFollower::Options{options_.bridge, options_.ovsdb},
        BridgeFollower::Callbacks{[this](BridgeState const &state) { bridgeChanged(state); },
                                  [this] { programmer_.switchCame(); },
                                  [this] { programmer_.switchWent(); }, log_.trouble,
                                  [this] { programmer_.tryAgain(); }});
}

/// Makes all of the changes, or none and says why. Actions that are not notified of a change are
/// evaluated, too.
bool LiveSwitch::apply(Changes changes) {
    auto nudged = nudges(agent_.state(), changes);
    std::move(nudged.begin(), nudged.end(), std::back_inserter(changes));
    auto const faults = agent_.apply(changes);
    for (Fault const &fault : faults) {
        log_.trouble("a change of " + std::string(tableOf(changes[fault.change])) +
                     " cannot be made: expected " + fault.expected +
                     (fault.found.empty() ? "" : ", found " + fault.found));
    }
    return faults.empty();
}

/// The first time together with the policies, so that their actions see the whole switch.
void LiveSwitch::bridgeChanged(BridgeState const &state) {
    Changes changes = withoutFileAddresses(difference(bridge_, state));
    if (!following_) {
        for (auto const &[intf, value] : feeds_.ipInterfaces) {
            changes.emplace_back(Change<Table::IpInterface>{intf, value});
        }
        changes.insert(changes.end(), feeds_.policies.begin(), feeds_.policies.end());
        changes.emplace_back(Change<Table::Tuning>{{}, feeds_.tuning});
    }
    if (!apply(std::move(changes))) {
        return;
    }
    if (!std::exchange(following_, true)) {
        log_.news("following bridge " + options_.bridge + ": " +
                  counted(state.ports.size(), "port", "ports") + ", " +
                  counted(state.vlanInterfaces.size(), "VLAN interface", "VLAN interfaces"));
    }
    bridge_ = state;
    renderer_.bridgeIs(state.mac, state.inKernel ? Datapath::kernel : Datapath::userspace,
                       bridgePorts(state));
}

/// Without what the file says otherwise.
Changes LiveSwitch::withoutFileAddresses(Changes changes) const {
    std::erase_if(changes, [this](AnyChange const &change) {
        auto const *const address = std::get_if<Change<Table::IpInterface>>(&change);
        return address != nullptr && feeds_.ipInterfaces.count(address->key) != 0;
    });
    return changes;
}

/// Sends what has changed. The first time everything must be evaluated, because the switch then
/// loses what an earlier agent has left.
void LiveSwitch::idle() {
    if (!programmer_.begun() && following_ &&
        agent_.root().topologySm()->actionSmUpdateBacklog().empty()) {
        programmer_.begin();
    }
    programmer_.send();
}

std::optional<std::size_t> LiveSwitch::feedsAre(Feeds feeds) {
    if (!following_) {
        feeds_ = std::move(feeds);
        return feeds_.policies.size();
    }
    Changes changes;
    auto const addressOf = [](auto const &addresses, Nexo::IntfId intf) {
        auto const at = addresses.find(intf);
        return at == addresses.end() ? std::nullopt : std::optional(at->second);
    };
    for (auto const &[intf, value] : feeds_.ipInterfaces) { // as the kernel says from now on
        if (feeds.ipInterfaces.count(intf) == 0) {
            auto const kernel = addressOf(bridge_.addresses, intf);
            changes.emplace_back(Change<Table::IpInterface>{
                intf,
                kernel ? std::optional(Table::IpInterface::Value{*kernel, true}) : std::nullopt});
        }
    }
    for (auto const &[intf, value] : feeds.ipInterfaces) {
        auto const there = agent_.state().find<Table::IpInterface>(intf);
        if (!there || there->address != value.address || there->routing != value.routing) {
            changes.emplace_back(Change<Table::IpInterface>{intf, value});
        }
    }
    auto const policies = differenceToPolicies(agent_.state(), feeds.policies);
    changes.insert(changes.end(), policies.begin(), policies.end());
    if (agent_.state().find<Table::Tuning>({}) != feeds.tuning) {
        changes.emplace_back(Change<Table::Tuning>{{}, feeds.tuning});
    }
    std::size_t const count = changes.size();
    if (!apply(std::move(changes))) {
        return std::nullopt;
    }
    feeds_ = std::move(feeds);
    return count;
}

bool LiveSwitch::shutDown(bool leave) {
    follower_.reset();
    loop_.idleWorkIs(nullptr);
    bool const asWanted = leave || programmer_.removeAll();
    agent_.shutDown();
    return asWanted;
}

} // namespace UmoAgent
