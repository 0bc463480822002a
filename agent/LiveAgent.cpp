#include "agent/LiveAgent.h"

#include "agent/base/EventLoop.h"
#include "agent/base/TerminationSignals.h"
#include "agent/base/Text.h"
#include "agent/console/CommandServer.h"
#include "agent/console/Console.h"
#include "agent/live/BridgeFollower.h"
#include "agent/live/Feeds.h"
#include "agent/openflow/OpenFlowRenderer.h"
#include "agent/openflow/SwitchProgrammer.h"
#include "agent/scenario/ReadingProcess.h"
#include "agent/scenario/ScenarioReader.h"
#include "agent/show/Printers.h"
#include "agent/switch/ForwardingAgent.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <utility>
#include <variant>

namespace UmoAgent {

namespace {

constexpr std::chrono::milliseconds kLastPatience{3000};

BridgePorts portsOf(BridgeState const &state) {
    BridgePorts ports;
    for (auto const &[intf, port] : state.ports) {
        ports.emplace(intf, BridgePort{port.settings, port.number});
    }
    return ports;
}

std::string targetOf(LiveOptions const &options) {
    auto const directory = std::filesystem::path(options.ovsdb).parent_path();
    return "unix:" + (directory / (options.bridge + ".mgmt")).string();
}

class LiveAgent {
  public:
    /// Throws SocketError, or std::system_error if the system refuses.
    LiveAgent(Changes const &feeds, LiveOptions const &options, std::ostream &out,
              std::ostream &errors);
    ~LiveAgent();
    LiveAgent(LiveAgent const &) = delete;
    LiveAgent &operator=(LiveAgent const &) = delete;

    ExitStatus run();

  private:
    void say(std::string const &line) { out_ << stamp(loop_.now()) << ' ' << line << std::endl; }
    void complain(std::string const &line) {
        errors_ << stamp(loop_.now()) << ' ' << printable(line) << std::endl;
    }
    bool apply(Changes changes);
    void bridgeChanged(BridgeState const &state);
    [[nodiscard]] Changes withFileAddresses(Changes changes) const;
    void idle();
    void readAgain();
    void takeFeeds(Feeds feeds);

    LiveOptions const &options_;
    std::ostream &out_;
    std::ostream &errors_;
    EventLoop loop_;
    ForwardingAgent agent_;
    TerminationSignals signals_; // before there is a socket file to remove
    Feeds feeds_;
    bool following_ = false; // the bridge was read
    OpenFlowRenderer renderer_;
    SwitchProgrammer programmer_;
    ReadingProcess reading_; // started while the agent is small
    Console console_;
    std::optional<CommandServer> server_;
    BridgeState bridge_;
    std::optional<BridgeFollower> follower_;
};

LiveAgent::LiveAgent(Changes const &feeds, LiveOptions const &options, std::ostream &out,
                     std::ostream &errors)
    : options_(options),
      out_(out),
      errors_(errors),
      agent_(loop_, [this](std::string const &line) { complain("contract error: " + line); }),
      signals_(loop_, [this] { readAgain(); }),
      feeds_(Feeds::of(feeds)),
      renderer_(agent_.chip(), agent_.forwarder(), options.groups,
                [this](std::string const &line) { complain(line); }),
      programmer_(loop_, renderer_, {targetOf(options), options.groups, options.audit},
                  [this](std::string const &line) { complain(line); }),
      reading_(loop_),
      console_(agent_, loop_, Scope::policies) {
    loop_.wallTime();
    for (OutputQueue *const queue : options.queues) {
        queue->attach(loop_, signals_.descriptor());
        queue->patienceIs(std::chrono::milliseconds(0));
    }
    agent_.chip().fullGroupLogIs([this](std::string const &line) { complain("chip: " + line); });
    if (options.showCalls) {
        agent_.chip().callLogIs([this](std::string const &line) { say(line); });
    }
    ChipCapacity capacity;
    capacity.groups = options.groups.size();
    agent_.start({Change<Table::Chip>{{}, capacity}});
    console_.programmerIs(&programmer_);
    console_.hindranceIs("the bridge has not been read yet; apply when it has been");
    if (!options.socket.empty()) {
        server_.emplace(
            loop_, options.socket,
            [this](std::uint32_t socket, std::string const &line, CommandServer::Done const &done) {
                console_.answer(socket, line, done);
            });
    }
    loop_.idleWorkIs([this] { idle(); });
    follower_.emplace(loop_, BridgeFollower::Options{options.bridge, options.ovsdb},
                      BridgeFollower::Callbacks{
                          [this](BridgeState const &state) { bridgeChanged(state); },
                          [this] { programmer_.switchCame(); }, [this] { programmer_.switchWent(); },
                          [this](std::string const &line) { complain(line); }});
}

LiveAgent::~LiveAgent() {
    for (OutputQueue *const queue : options_.queues) {
        queue->detach();
    }
}

/// Makes all of the changes, or none and says why.
bool LiveAgent::apply(Changes changes) {
    auto const faults = agent_.apply(changes);
    for (Fault const &fault : faults) {
        complain("a change cannot be made: expected " + fault.expected +
                 (fault.found.empty() ? "" : ", found " + fault.found));
    }
    return faults.empty();
}

/// The first time together with the policies, so that their actions see the whole switch.
void LiveAgent::bridgeChanged(BridgeState const &state) {
    Changes changes = withFileAddresses(difference(bridge_, state));
    if (!following_) {
        for (auto const &[intf, value] : feeds_.ipInterfaces) {
            changes.emplace_back(Change<Table::IpInterface>{intf, value});
        }
        changes.insert(changes.end(), feeds_.policies.begin(), feeds_.policies.end());
    } else {
        auto nudged = nudges(agent_.state(), changes);
        std::move(nudged.begin(), nudged.end(), std::back_inserter(changes));
    }
    if (!apply(std::move(changes))) {
        return;
    }
    if (!std::exchange(following_, true)) {
        console_.hindranceIs("");
        say("following bridge " + options_.bridge + ": " + std::to_string(state.ports.size()) +
            " ports, " + std::to_string(state.vlanInterfaces.size()) + " VLAN interfaces");
    }
    bridge_ = state;
    renderer_.bridgeIs(state.mac, portsOf(state));
}

/// Without what the file says otherwise.
Changes LiveAgent::withFileAddresses(Changes changes) const {
    std::erase_if(changes, [this](AnyChange const &change) {
        auto const *const address = std::get_if<Change<Table::IpInterface>>(&change);
        return address != nullptr && feeds_.ipInterfaces.count(address->key) != 0;
    });
    return changes;
}

/// Sends what has changed. The first time everything must be evaluated, because the switch then
/// loses what an earlier agent has left.
void LiveAgent::idle() {
    if (!programmer_.begun() && following_ &&
        agent_.root().topologySm()->actionSmUpdateBacklog().empty()) {
        programmer_.begin();
    }
    programmer_.send();
}

void LiveAgent::readAgain() {
    reading_.read(options_.file, [this](std::variant<Document, ScenarioFaults> read) {
        std::variant<Changes, ScenarioFaults> feeds = ScenarioFaults{};
        if (auto *const faults = std::get_if<ScenarioFaults>(&read)) {
            feeds = std::move(*faults);
        } else {
            ScenarioErrors errors(options_.file);
            feeds = readFeeds(std::get<Document>(read), errors);
        }
        if (auto const *const faults = std::get_if<ScenarioFaults>(&feeds)) {
            for (std::string const &fault : *faults) {
                complain(fault);
            }
            complain("SIGHUP: nothing was changed");
            return;
        }
        takeFeeds(Feeds::of(std::get<Changes>(feeds)));
    });
}

void LiveAgent::takeFeeds(Feeds feeds) {
    if (!following_) {
        feeds_ = std::move(feeds);
        return;
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
                intf, kernel ? std::optional(Table::IpInterface::Value{*kernel, true})
                             : std::nullopt});
        }
    }
    for (auto const &[intf, value] : feeds.ipInterfaces) {
        changes.emplace_back(Change<Table::IpInterface>{intf, value});
    }
    auto const policies = differenceToPolicies(agent_.state(), feeds.policies);
    changes.insert(changes.end(), policies.begin(), policies.end());
    if (apply(changes)) {
        feeds_ = std::move(feeds);
        say("SIGHUP: " + options_.file + " was read again, " + std::to_string(policies.size()) +
            " changes of policies, matches and actions");
    } else {
        complain("SIGHUP: nothing was changed");
    }
}

ExitStatus LiveAgent::run() {
    if (server_) {
        say("commands are answered at " + printable(server_->path()));
    }
    loop_.run();
    server_.reset();
    follower_.reset();
    for (OutputQueue *const queue : options_.queues) {
        queue->patienceIs(kLastPatience);
    }
    bool const clear = options_.leave || programmer_.removeAll();
    loop_.idleWorkIs(nullptr);
    agent_.shutDown();
    say(std::string(signals_.received()) + ", NAT is shut down; its flows are " +
        (options_.leave ? "left in the switch"
         : clear        ? "taken out of the switch"
                        : "still in the switch"));
    printChip(out_, agent_.chip());
    out_.flush();
    for (OutputQueue *const queue : options_.queues) {
        queue->finish();
    }
    return agent_.clean() && clear ? ExitStatus::good : ExitStatus::faulty;
}

} // namespace

ExitStatus follow(Changes const &feeds, LiveOptions const &options, std::ostream &out,
                  std::ostream &errors) {
    std::optional<LiveAgent> agent;
    try {
        agent.emplace(feeds, options, out, errors);
    } catch (std::runtime_error const &error) { // no socket, or a system error
        errors << "umo-agent: " << printable(error.what()) << std::endl;
        return ExitStatus::refused;
    }
    return agent->run();
}

} // namespace UmoAgent
