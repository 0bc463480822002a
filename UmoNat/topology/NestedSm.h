#pragma once

#include "UmoNat/UmoNatFlowMcastTopologySm.h"

/// Base of the reactors nested in the topology machine. Each follows one entity and notifies its
/// owner of what changed. `Owner` is the topology machine or, for the ports of a topology, the
/// topology's reactor. It outlives its nested reactors.
///
/// Each class documents what creation and removal notify; handleDel() is for removal. Nothing is
/// notified when the topology machine itself is destroyed: no action is left to evaluate.
template <class Followed, class Owner>
class UmoNatFlowMcastTopologySm::NestedSm : public Mox::Reactor {
  public:
    struct Inputs {
        Mox::Ptr<Followed const> followed;
        Owner *owner;

        bool operator==(Inputs const &) const = default;
    };

    explicit NestedSm(Inputs const &inputs) : inputs_(inputs) {
        subscription_.follow(inputs_.followed);
    }

    [[nodiscard]] Inputs const &inputs() const noexcept { return inputs_; }
    [[nodiscard]] Followed const &followed() const noexcept { return *inputs_.followed; }
    [[nodiscard]] auto const &key() const noexcept { return followed().key(); }
    [[nodiscard]] Owner &owner() const noexcept { return *inputs_.owner; }

    /// Whether the topology machine itself is being destroyed, not only this reactor.
    [[nodiscard]] bool teardownBegun() const noexcept { return owner().teardownBegun(); }

    void handleInitialized() override {}
    void doCleanup() final {
        if (!teardownBegun()) {
            handleDel();
        }
    }

  protected:
    virtual void handleDel() {}
    virtual void dispatch(Pelo::ChangeOf<Followed> const &change) = 0;

  private:
    Inputs const inputs_;
    Mox::Subscription<Followed, &NestedSm::dispatch> subscription_{*this};
};
