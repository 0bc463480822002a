#pragma once

#include "Ip/NatStatus.h"

#include <cstdint>
#include <optional>

/// How many actions of a match name no destination: the number of groups depends on whether there
/// is one, and is asked for at each change of each action. The actions are counted once; then the
/// match's machine tells which come and go, and their machines which change. (A subscriber of the
/// inputs that is told earlier, and changes another action at once, makes that action's machine ask
/// before the news is in; it then gets the answer of before, and the news is heard after it.)
class UmoNatFlowMissingDestinations {
  public:
    /// Whether some action of the match names no destination.
    [[nodiscard]] bool any(Ip::Nat::NatFlowMatchStatus const &match);

    void added(Ip::Nat::NatFlowActionStatus const &action);
    /// `named`: whether it had a destination.
    void removed(bool named);
    void changed(bool named);

    /// Forgets the count, because a change was missed.
    void forget() { missing_.reset(); }

    /// From now on changes may be missed: each question counts anew.
    void blind() {
        blind_ = true;
        forget();
    }

    [[nodiscard]] static bool named(Ip::Nat::NatFlowActionStatus const &action) {
        return !action.dst().addr().isZero();
    }

  private:
    void count(Ip::Nat::NatFlowMatchStatus const &match);
    void change(int actions, int missing);

    std::optional<std::int32_t> missing_;
    std::int32_t counted_ = 0; // actions
    bool blind_ = false;
};
