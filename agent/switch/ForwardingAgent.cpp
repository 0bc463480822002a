#include "agent/switch/ForwardingAgent.h"

#include "Base/Assert.h"
#include "agent/base/Text.h"

#include <utility>

namespace UmoAgent {

using Breach = UmoHelper::CheckedHelper::Breach;

ForwardingAgent::ForwardingAgent(EventLoop const &loop, SoftSwitch::LineSink errors)
    : loop_(loop),
      chip_(Mox::make<SoftSwitch>(ChipCapacity{})),
      helper_(Mox::make<UmoHelper::CheckedHelper>(
          chip_, [errors = std::move(errors)](UmoHelper::CheckedHelper::Finding const &finding) {
              if (errors && finding.breach != Breach::refusedPortSet) {
                  errors(printable(finding.text()));
              }
          })) {
    observers_.add(meter_);
}

void ForwardingAgent::start(Changes const &initial) {
    auto const faults = apply(initial);
    Base::assertThat(faults.empty(), "faults.empty()");
    root_ = umoNatFlowMcastSmFactory(state_.natStatus(), state_.hwStatus(), state_.bridgingConfig(),
                                     state_.bridgingStatus(), state_.vlanStatusDir(),
                                     state_.topologyConfig(), state_.l3Table(), state_.ipStatus(),
                                     helper_);
    root_->topologySm()->observerIs(&observers_);
    for (UmoNatFlowMatchSm const *const match : root_->unprogrammedGroup()) {
        observers_.matchWaits(*match); // since the library was loaded
    }
    tune();
}

std::vector<Fault> ForwardingAgent::apply(Changes const &changes) {
    Draft draft(state_);
    auto faults = draft.makeAll(changes);
    if (faults.empty()) {
        chip_->capacityIs(*draft.find<Table::Chip>({}));
        state_.mount(draft);
        tune();
    }
    return faults;
}

void ForwardingAgent::tune() {
    if (!root_) {
        return;
    }
    Table::Tuning::Value const tuning = *state_.find<Table::Tuning>({});
    root_->topologySm()->actionSmUpdateBacklogTaskLimitIs(tuning.backlogLimit);
    root_->topologySm()->actionSmUpdateBacklogTaskIntervalIs(Mox::Seconds(tuning.backlogInterval));
    root_->unprogrammedGroupTaskDelayIs(Mox::Seconds(tuning.retryDelay));
}

void ForwardingAgent::callLogIs(SoftSwitch::LineSink log) {
    if (!log) {
        helper_->logIs(nullptr);
        return;
    }
    helper_->logIs([log = std::move(log)](UmoHelper::CheckedHelper::Logged const &logged) {
        log(printable(logged.text()));
    });
}

std::uint64_t ForwardingAgent::contractErrors() const {
    return helper_->found(Breach::call) + helper_->found(Breach::wrongIdentifier) +
           helper_->found(Breach::failedTranslation) + helper_->found(Breach::nestedCall);
}

bool ForwardingAgent::clean() const {
    return contractErrors() == 0 && (root_ || chip_->groupsInUse() == 0);
}

} // namespace UmoAgent
