#pragma once

#include "UmoNat/UmoNatFlowMcastTopologySm.h"

/// Base of the reactors nested in the topology machine, each of which follows one entity and
/// tells its owner what changed. `Owner` is the topology machine, or for the ports of a topology
/// the topology's reactor; it outlives its nested reactors.
///
/// The start of a nested reactor tells of the entity's coming, handleDel() of its going. When
/// the topology machine itself goes nobody is told: there will be nobody to evaluate anything.
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
    [[nodiscard]] Owner &owner() const noexcept { return *inputs_.owner; }

    /// Whether the topology machine goes as a whole, not only a part of it.
    [[nodiscard]] bool teardownBegun() const noexcept { return owner().teardownBegun(); }

    void handleInitialized() override {}
    void doCleanup() final {
        if (!teardownBegun()) {
            handleDel();
        }
    }

  protected:
    virtual void handleDel() {}
    virtual void dispatch(Pelo::Change const &change) = 0;

  private:
    Inputs const inputs_;
    Mox::Subscription subscription_{*this, &NestedSm::dispatch};
};
