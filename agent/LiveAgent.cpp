#include "agent/LiveAgent.h"

#include "agent/base/EventLoop.h"
#include "agent/base/TerminationSignals.h"
#include "agent/base/Text.h"
#include "agent/console/Console.h"
#include "agent/scenario/ReadingProcess.h"
#include "agent/scenario/ScenarioReader.h"
#include "agent/show/MetricsFile.h"
#include "agent/show/Printers.h"

#include <chrono>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <utility>
#include <variant>

namespace UmoAgent {

namespace {

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
    void say(std::string const &line) {
        out_ << stamp(loop_.now()) << ' ' << printable(line) << std::endl;
    }
    void complain(std::string const &line) {
        errors_ << stamp(loop_.now()) << ' ' << printable(line) << std::endl;
    }
    void readAgain();
    void take(std::variant<Changes, ScenarioFaults> feeds);

    LiveOptions const &options_;
    std::ostream &out_;
    std::ostream &errors_;
    EventLoop loop_;
    TerminationSignals signals_{loop_, [this] { readAgain(); }}; // before there is a socket file
    ReadingProcess reading_{loop_};                              // while the agent is small
    LiveSwitch switch_;
    Console console_{switch_.agent(), loop_, Scope::policies};
    std::optional<MetricsFile> metrics_;
};

LiveAgent::LiveAgent(Changes const &feeds, LiveOptions const &options, std::ostream &out,
                     std::ostream &errors)
    : options_(options),
      out_(out),
      errors_(errors),
      switch_(loop_, options.live, Feeds::of(feeds),
              {[this](std::string const &line) {
                   console_.hindranceIs("");
                   say(line);
               },
               [this](std::string const &line) { complain(line); }}) {
    loop_.wallTime();
    for (OutputQueue *const queue : options.queues) {
        queue->attach(loop_, signals_.descriptor());
        queue->patienceIs(std::chrono::milliseconds(0));
    }
    if (options.showCalls) {
        switch_.agent().callLogIs([this](std::string const &line) { say(line); });
    }
    console_.programmerIs(&switch_.programmer());
    if (!options.metricsFile.empty()) {
        metrics_.emplace(options.metricsFile, switch_.agent(), &switch_.programmer(),
                         [this](std::string const &line) { complain(line); });
    }
    console_.hindranceIs("the bridge has not been read yet; apply when it has been");
    if (!options.socket.empty()) {
        console_.listenAt(options.socket);
    }
}

LiveAgent::~LiveAgent() {
    for (OutputQueue *const queue : options_.queues) {
        queue->detach();
    }
}

void LiveAgent::readAgain() {
    reading_.read(options_.file, [this](std::variant<Document, ScenarioFaults> read) {
        if (auto *const faults = std::get_if<ScenarioFaults>(&read)) {
            take(std::move(*faults));
            return;
        }
        ScenarioErrors errors(options_.file);
        take(readFeeds(std::get<Document>(read), errors));
    });
}

void LiveAgent::take(std::variant<Changes, ScenarioFaults> feeds) {
    std::optional<std::size_t> changed;
    if (auto const *const faults = std::get_if<ScenarioFaults>(&feeds)) {
        for (std::string const &fault : *faults) {
            complain(fault);
        }
    } else {
        changed = switch_.feedsAre(Feeds::of(std::get<Changes>(feeds)));
    }
    if (changed) {
        say("SIGHUP: " + options_.file + " was read again, with " +
            counted(*changed, "change", "changes"));
    } else {
        complain("SIGHUP: nothing was changed");
    }
}

ExitStatus LiveAgent::run() {
    if (!console_.socket().empty()) {
        say("commands are answered at " + console_.socket());
    }
    loop_.run();
    console_.close();
    for (OutputQueue *const queue : options_.queues) {
        queue->patienceIs(OutputQueue::kLastPatience);
    }
    bool const programmed = switch_.programmer().begun();
    bool const asWanted = switch_.shutDown(options_.leave);
    say(std::string(signals_.received()) + ", NAT is shut down; " +
        (!programmed      ? "nothing was programmed, what an earlier agent left is still there"
         : options_.leave ? "its flows are left in the switch"
         : asWanted       ? "its flows are taken out of the switch"
                          : "its flows are perhaps still in the switch"));
    printChip(out_, switch_.agent());
    out_.flush();
    for (OutputQueue *const queue : options_.queues) {
        queue->finish();
    }
    return switch_.agent().clean() && asWanted ? ExitStatus::good : ExitStatus::faulty;
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
