#include "UmoNat/UmoNatFlowMissingDestinations.h"

bool UmoNatFlowMissingDestinations::any(Ip::Nat::NatFlowMatchStatus const &match) {
    // An action may have come or gone of which the news is still to come.
    if (!missing_ || counted_ != static_cast<std::int32_t>(match.action().size())) {
        count(match);
    }
    bool const some = *missing_ > 0;
    if (blind_) {
        forget();
    }
    return some;
}

void UmoNatFlowMissingDestinations::count(Ip::Nat::NatFlowMatchStatus const &match) {
    missing_ = 0;
    counted_ = static_cast<std::int32_t>(match.action().size());
    for (auto const &[name, action] : match.action()) {
        *missing_ += named(*action) ? 0 : 1;
    }
}

void UmoNatFlowMissingDestinations::added(Ip::Nat::NatFlowActionStatus const &action) {
    change(+1, named(action) ? 0 : 1);
}

void UmoNatFlowMissingDestinations::removed(bool named) {
    change(-1, named ? 0 : -1);
}

void UmoNatFlowMissingDestinations::changed(bool named) {
    change(0, named ? -1 : 1);
}

/// News of what was counted already would make the count impossible sooner or later.
void UmoNatFlowMissingDestinations::change(int actions, int missing) {
    if (missing_) {
        counted_ += actions;
        *missing_ += missing;
        if (*missing_ < 0 || *missing_ > counted_) {
            forget();
        }
    }
}
