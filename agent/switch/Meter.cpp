#include "agent/switch/Meter.h"

#include "UmoNat/UmoNatFlowActionSm.h"

#include <algorithm>
#include <iterator>

namespace UmoAgent {

void Histogram::add(Vyr::Time duration) {
    auto const *const bound = std::lower_bound(kBounds.begin(), kBounds.end(), duration);
    ++counts_.at(static_cast<std::size_t>(std::distance(kBounds.begin(), bound)));
    sum_ += duration;
}

void Meter::actionQueued(UmoNatFlowActionSm const &action, UmoNatFlowCause const & /*cause*/) {
    queuedAt_.emplace(&action, loop_.now());
}

void Meter::queuedEvaluationBegins(UmoNatFlowActionSm const &action) {
    if (auto const queued = queuedAt_.find(&action); queued != queuedAt_.end()) {
        queueDelays_.add(loop_.now() - queued->second);
        queuedAt_.erase(queued);
    }
}

/// An incomplete action is not evaluated.
void Meter::evaluationBegins(UmoNatFlowActionSm const &action, UmoNatFlowCause::Kind /*cause*/) {
    evaluationsAtOnce_ += action.inputs().actionStatus->version() != 0 ? 1 : 0;
}

} // namespace UmoAgent
