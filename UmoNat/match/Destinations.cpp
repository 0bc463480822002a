#include "UmoNat/UmoNatFlowDestinations.h"

bool UmoNatFlowDestinations::someMissing(Ip::Nat::NatFlowMatchStatus const &match) {
    // Another subscriber may ask between the change of the match and the news of it.
    if (!missing_ || counted_ != match.action().size()) {
        count(match);
    }
    bool const some = *missing_ > 0;
    if (blind_) {
        forget();
    }
    return some;
}

void UmoNatFlowDestinations::count(Ip::Nat::NatFlowMatchStatus const &match) {
    missing_ = 0;
    counted_ = match.action().size();
    for (auto const &[name, action] : match.action()) {
        *missing_ += named(*action) ? 0 : 1;
    }
}

void UmoNatFlowDestinations::added(Ip::Nat::NatFlowActionStatus const &action) {
    if (missing_) {
        ++counted_;
        *missing_ += named(action) ? 0 : 1;
    }
}

void UmoNatFlowDestinations::removed(bool named) {
    if (missing_) {
        --counted_;
        *missing_ -= named ? 0 : 1;
    }
}

void UmoNatFlowDestinations::changed(bool named) {
    if (missing_) {
        named ? --*missing_ : ++*missing_;
    }
}
