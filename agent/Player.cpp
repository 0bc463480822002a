#include "agent/Player.h"

#include "UmoNat/UmoNatFlowMcastSm.h"
#include "agent/Printers.h"
#include "agent/SoftSwitch.h"
#include "agent/SwitchState.h"
#include "agent/Timeline.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <ostream>
#include <string>

namespace UmoAgent {

namespace {

/// `[   10.000 s]`
std::string stamp(Vyr::Time time) {
    std::array<char, 64> text{};
    double const seconds = std::chrono::duration<double>(time).count();
    std::snprintf(text.data(), text.size(), "[%9.3f s]", seconds);
    return text.data();
}

std::unique_ptr<Timeline> timelineOf(PlayOptions options) {
    if (options.realTime) {
        return std::make_unique<RealTimeline>();
    }
    return std::make_unique<VirtualTimeline>();
}

class Player {
  public:
    Player(PlayOptions options, std::ostream &out, std::ostream &errors);

    ExitStatus play(Scenario const &scenario);

  private:
    void mount(SwitchModel const &model);
    void createRoot();
    void carryOut(Event const &event);
    void print(Printout printout);

    std::ostream &out_;
    std::unique_ptr<Timeline> time_; // before the root, which takes its scheduler
    Mox::Ptr<SoftSwitch> chip_;
    SwitchState state_;
    Mox::Ptr<UmoNatFlowMcastSm> root_;
};

Player::Player(PlayOptions options, std::ostream &out, std::ostream &errors)
    : out_(out),
      time_(timelineOf(options)),
      chip_(Mox::make<SoftSwitch>(ChipCapacity{}, [this, &errors](std::string const &line) {
          errors << stamp(time_->now()) << " contract error: " << line << '\n';
      })) {
    if (options.showCalls) {
        chip_->callLogIs([this](std::string const &line) {
            out_ << stamp(time_->now()) << ' ' << line << std::endl; // seen even if it is the last
        });
    }
}

ExitStatus Player::play(Scenario const &scenario) {
    mount(scenario.initial);
    createRoot();
    for (Event const &event : scenario.events) {
        time_->playUntil(event.at);
        carryOut(event);
    }
    time_->playUntil(std::max(scenario.end.value_or(Vyr::Time{}), time_->now()));
    root_ = nullptr;
    out_ << stamp(time_->now()) << " end of the scenario, NAT is shut down\n";
    printChip(out_, *chip_); // with what is left in it
    out_.flush();
    bool const clean = chip_->contractErrors() == 0 && chip_->groupsInUse() == 0;
    return clean ? ExitStatus::good : ExitStatus::faulty;
}

void Player::mount(SwitchModel const &model) {
    chip_->capacityIs(model.chip);
    state_.become(model);
}

void Player::createRoot() {
    root_ = umoNatFlowMcastSmFactory(state_.natStatus(), state_.hwStatus(), state_.bridgingConfig(),
                                     state_.bridgingStatus(), state_.vlanStatusDir(),
                                     state_.topologyConfig(), state_.l3Table(), state_.ipStatus(),
                                     chip_);
}

void Player::carryOut(Event const &event) {
    if (!event.note.empty() || !event.print.empty()) {
        out_ << stamp(event.at) << (event.note.empty() ? "" : " ") << event.note << '\n';
    }
    if (event.state) {
        mount(*event.state);
    }
    for (Printout const printout : event.print) {
        print(printout);
    }
    out_.flush();
}

void Player::print(Printout printout) {
    switch (printout) {
    case Printout::tree:
        printTree(out_, *state_.hwStatus());
        break;
    case Printout::chip:
        printChip(out_, *chip_);
        break;
    case Printout::groups:
        printGroups(out_, *root_, *state_.hwStatus());
        break;
    case Printout::table:
        printTable(out_, state_.hwStatus());
        break;
    }
}

} // namespace

ExitStatus play(Scenario const &scenario, PlayOptions options, std::ostream &out,
                std::ostream &errors) {
    return Player(options, out, errors).play(scenario);
}

} // namespace UmoAgent
