#include "agent/Player.h"

#include "agent/base/EventLoop.h"
#include "agent/base/TerminationSignals.h"
#include "agent/base/Text.h"
#include "agent/base/TraceOutput.h"
#include "agent/console/CommandServer.h"
#include "agent/console/Console.h"
#include "agent/show/CarryOut.h"
#include "agent/show/Printers.h"
#include "agent/switch/ForwardingAgent.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <string>

namespace UmoAgent {

namespace {

/// Plays the events at their times, until the scenario's end or until the loop is stopped.
void playEvents(Scenario const &scenario, EventLoop &loop, ForwardingAgent &agent,
                std::ostream &out) {
    for (Event const &event : scenario.events) {
        loop.runUntil(event.at);
        if (loop.stopped()) {
            return;
        }
        carryOut(agent, event, out);
        out.flush();
    }
    loop.runUntil(std::max(scenario.end.value_or(Vyr::Time{}), loop.now()));
}

class Player {
  public:
    /// Throws SocketError.
    Player(PlayOptions const &options, std::ostream &out, std::ostream &errors);

    ExitStatus play(Scenario const &scenario);

  private:
    std::ostream &out_;
    EventLoop loop_;
    ForwardingAgent agent_;
    Console console_{agent_};
    std::optional<TerminationSignals> signals_; // before there is a file to take away
    std::optional<CommandServer> server_;
    std::optional<TraceOutput> traces_;
};

Player::Player(PlayOptions const &options, std::ostream &out, std::ostream &errors)
    : out_(out), agent_(loop_, [this, &errors](std::string const &line) {
          errors << stamp(loop_.now()) << " contract error: " << line << '\n';
      }) {
    if (!options.socket.empty() || options.realTime) {
        signals_.emplace(loop_);
    }
    if (!options.socket.empty()) {
        traces_.emplace();
        server_.emplace(loop_, options.socket,
                        [this](std::uint32_t socket, std::string const &line) {
                            console_.answer(socket, line);
                        });
    }
    if (options.realTime) {
        loop_.wallTime();
    }
    if (options.showCalls) {
        agent_.chip().callLogIs([this](std::string const &line) {
            out_ << stamp(loop_.now()) << ' ' << line << std::endl; // seen even if it is the last
        });
    }
}

ExitStatus Player::play(Scenario const &scenario) {
    agent_.start(scenario.initial);
    if (server_) {
        out_ << stamp(loop_.now()) << " commands are answered at " << server_->path() << std::endl;
    }
    console_.playingIs(true);
    playEvents(scenario, loop_, agent_, out_);
    console_.playingIs(false);
    if (server_ && !loop_.stopped()) {
        out_ << stamp(loop_.now()) << " end of the scenario, the switch goes on" << std::endl;
        loop_.run();
    }
    bool const stopped = signals_ && signals_->received() != nullptr;
    server_.reset();
    agent_.shutDown();
    out_ << stamp(loop_.now()) << ' ' << (stopped ? signals_->received() : "end of the scenario")
         << ", NAT is shut down\n";
    printChip(out_, agent_.chip());
    out_.flush();
    return agent_.clean() ? ExitStatus::good : ExitStatus::faulty;
}

} // namespace

ExitStatus play(Scenario const &scenario, PlayOptions const &options, std::ostream &out,
                std::ostream &errors) {
    try {
        return Player(options, out, errors).play(scenario);
    } catch (SocketError const &error) {
        errors << "umo-agent: " << error.what() << '\n';
        return ExitStatus::refused;
    }
}

} // namespace UmoAgent
