#include "agent/Player.h"

#include "agent/base/EventLoop.h"
#include "agent/base/TerminationSignals.h"
#include "agent/base/Text.h"
#include "agent/console/Console.h"
#include "agent/explain/Silence.h"
#include "agent/show/CarryOut.h"
#include "agent/show/MetricsFile.h"
#include "agent/show/Printers.h"
#include "agent/switch/ForwardingAgent.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace UmoAgent {

namespace {

/// The interfaces that the switch has at some time of the scenario.
std::set<Nexo::IntfId> portsOf(Scenario const &scenario) {
    std::set<Nexo::IntfId> ports;
    auto const add = [&](Changes const &changes) {
        for (AnyChange const &change : changes) {
            if (auto const *const port = std::get_if<Change<Table::Interface>>(&change)) {
                ports.insert(port->key);
            }
        }
    };
    add(scenario.initial);
    for (Event const &event : scenario.events) {
        add(event.changes);
    }
    return ports;
}

class Player {
  public:
    /// Takes from the scenario only which captures to replace. Throws SocketError, or
    /// std::system_error if the system refuses.
    Player(Scenario const &scenario, PlayOptions const &options, std::ostream &out,
           std::ostream &errors);
    ~Player();
    Player(Player const &) = delete;
    Player &operator=(Player const &) = delete;

    ExitStatus play(Scenario scenario);

  private:
    void playEvents(Scenario const &scenario);
    void playFrames(std::optional<Vyr::Time> until);
    void printTotals();
    void onWallTime();
    void patienceIs(OutputQueue::Patience patience) const;

    std::ostream &out_;
    std::ostream &errors_;
    std::vector<OutputQueue *> queues_;
    EventLoop loop_;
    ForwardingAgent agent_;
    TerminationSignals signals_{loop_}; // before there is a socket file to remove
    std::optional<Console> console_;
    std::optional<Captures> captures_;
    std::optional<MetricsFile> metrics_;
};

Player::Player(Scenario const &scenario, PlayOptions const &options, std::ostream &out,
               std::ostream &errors)
    : out_(out),
      errors_(errors),
      queues_(options.queues),
      agent_(loop_, [this, &errors](std::string const &line) {
          errors << stamp(loop_.now()) << " contract error: " << line << std::endl;
      }) {
    agent_.chip().fullGroupLogIs([this, &errors](std::string const &line) {
        errors << stamp(loop_.now()) << " chip: " << line << std::endl;
    });
    if (!options.socket.empty()) {
        console_.emplace(agent_, loop_, Scope::wholeSwitch);
        console_->hindranceIs("the scenario is still being played; apply when it has ended");
        console_->listenAt(options.socket);
    }
    if (!options.captures.in.empty()) {
        captures_.emplace(options.captures, portsOf(scenario), loop_, agent_.forwarder(),
                          [this, &errors](std::string const &line) {
                              errors << stamp(loop_.now()) << ' ' << printable(line) << std::endl;
                          });
    }
    if (!options.metricsFile.empty()) {
        metrics_.emplace(options.metricsFile, agent_, nullptr, [this](std::string const &line) {
            errors_ << stamp(loop_.now()) << ' ' << line << std::endl;
        });
    }
    for (OutputQueue *const queue : queues_) {
        queue->attach(loop_, signals_.descriptor());
    }
    if (options.realTime) {
        onWallTime();
    }
    if (options.showCalls) {
        agent_.callLogIs([this](std::string const &line) {
            out_ << stamp(loop_.now()) << ' ' << line
                 << std::endl; // flushed, in case it is the last line
        });
    }
}

Player::~Player() {
    for (OutputQueue *const queue : queues_) {
        queue->detach();
    }
}

/// From now on printing does not wait for readers.
void Player::onWallTime() {
    loop_.wallTime();
    patienceIs(std::chrono::milliseconds(0));
}

void Player::patienceIs(OutputQueue::Patience patience) const {
    for (OutputQueue *const queue : queues_) {
        queue->patienceIs(patience);
    }
}

/// Plays the events and the captures, until the end of the scenario or until the loop is stopped.
void Player::playEvents(Scenario const &scenario) {
    for (Event const &event : scenario.events) {
        playFrames(event.at);
        if (!loop_.stopped()) {
            loop_.runUntil(event.at);
        }
        if (loop_.stopped()) {
            return;
        }
        carryOut(agent_, event, out_);
        out_.flush();
    }
    playFrames(scenario.end ? std::optional(*scenario.end + Vyr::Time(1)) // also those at the end
                            : std::nullopt);
    if (!loop_.stopped()) {
        loop_.runUntil(std::max(scenario.end.value_or(Vyr::Time{}), loop_.now()));
    }
}

/// Plays the frames that arrive before `until`, or all.
void Player::playFrames(std::optional<Vyr::Time> until) {
    if (captures_) {
        captures_->playBefore(until);
    }
}

/// What the captures led to, as long as it is in the chip.
void Player::printTotals() {
    if (captures_) {
        out_ << stamp(loop_.now()) << " what became of the packets"
             << (captures_->more() ? ", whose captures go on after the end" : "") << '\n';
        printTraffic(out_, agent_, Counted::something);
        printPackets({out_}, agent_, Counted::something);
    }
}

ExitStatus Player::play(Scenario scenario) {
    agent_.start(scenario.initial);
    scenario.initial = {}; // it is mounted, and may be large
    if (console_) {
        out_ << stamp(loop_.now()) << " commands are answered at " << printable(console_->socket())
             << std::endl;
    }
    playEvents(scenario);
    bool const complete = !captures_ || captures_->finish();
    warnOfSilence(errors_, agent_);
    if (console_ && !loop_.stopped()) {
        console_->hindranceIs("");
        onWallTime();
        out_ << stamp(loop_.now()) << " end of the scenario, the switch goes on" << std::endl;
        loop_.run();
    }
    char const *const signal = signals_.received();
    if (console_) {
        console_->close();
    }
    bool const waits = signal == nullptr && !loop_.onWallTime();
    if (!waits) {
        patienceIs(OutputQueue::kLastPatience); // nobody needs the switch any more
    }
    printTotals();
    if (metrics_) {
        metrics_->write();
    }
    agent_.shutDown();
    out_ << stamp(loop_.now()) << ' ' << (signal != nullptr ? signal : "end of the scenario")
         << ", NAT is shut down\n";
    printChip(out_, agent_);
    out_.flush();
    if (waits) {
        patienceIs(OutputQueue::kLastPatience); // a signal may just have ended the wait
    }
    for (OutputQueue *const queue : queues_) {
        queue->finish();
    }
    return agent_.clean() && complete ? ExitStatus::good : ExitStatus::faulty;
}

} // namespace

ExitStatus play(Scenario scenario, PlayOptions const &options, std::ostream &out,
                std::ostream &errors) {
    std::optional<Player> player;
    try {
        player.emplace(scenario, options, out, errors);
    } catch (std::runtime_error const &error) { // no socket, no capture, or a system error
        errors << "umo-agent: " << printable(error.what()) << std::endl;
        return ExitStatus::refused;
    }
    return player->play(std::move(scenario));
}

} // namespace UmoAgent
